#include "run/bench.h"
#include "run/measurements.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <stdexcept>

namespace {

constexpr int kOldOfFive = 4;

/// A folder of dated logs, four out of five of them old; every second one is a crash log.
class LogFolder
{
public:
    explicit LogFolder(int names) : directory_(QDir::currentPath() + QStringLiteral("/kxbench")), names_(names)
    {
        const QDateTime old(QDate(2001, 1, 1), QTime(0, 0));
        const QDateTime fresh(QDate::currentDate(), QTime(0, 0));
        for (int i = 0; i < names; ++i) {
            const QDateTime stamp = (i % 5 < kOldOfFive ? old : fresh).addSecs(i % 86000);
            const QString prefix = i % 2 == 0 ? QString() : QStringLiteral("crash_");
            const QString name =
                prefix + stamp.toString(QStringLiteral("yyyy_MM_dd_hh_mm_ss")) + QStringLiteral(".%1.log").arg(i);
            QFile file(directory_.filePath(name));
            if (!file.open(QIODevice::WriteOnly))
                throw std::runtime_error("cannot make " + file.fileName().toStdString());
        }
    }

    QString path() const { return directory_.path(); }

    // Each program must have deleted the same: all that is old, nothing else.
    void expectPruned() const
    {
        const QDir directory(path());
        const auto count = [&](const QString &pattern) {
            return directory.entryList({pattern}, QDir::Files, QDir::Unsorted).size();
        };
        const int old = count(QStringLiteral("*2001_*.log"));
        const int left = count(QStringLiteral("*.log"));
        if (old != 0 || left != names_ / 5)
            throw std::runtime_error("a pass left " + std::to_string(left) + " logs, of them old " +
                                     std::to_string(old));
    }

private:
    QTemporaryDir directory_;
    int names_;
};

QStringList findCommand(const QString &directory)
{
    return {QStringLiteral("find"),      directory,
            QStringLiteral("-maxdepth"), QStringLiteral("1"),
            QStringLiteral("-type"),     QStringLiteral("f"),
            QStringLiteral("-name"),     QStringLiteral("*.*"),
            QStringLiteral("("),         QStringLiteral("-name"),
            QStringLiteral("2001_*"),    QStringLiteral("-o"),
            QStringLiteral("-name"),     QStringLiteral("crash_2001_*"),
            QStringLiteral(")"),         QStringLiteral("-delete")};
}

double timePass(int names, const std::function<QStringList(const QString &)> &command)
{
    const LogFolder folder(names);
    const Usage usage =
        runToSuccess(command(folder.path()), {QStringLiteral("PATH=/usr/bin:/bin"), QStringLiteral("LANG=C.UTF-8")});
    folder.expectPruned();
    return usage.wallSeconds;
}

} // namespace

void measureRetention(Bench &bench)
{
    const int names = bench.plan.logNames;
    const auto pruneCommand = [](const QString &directory) {
        return QStringList{builtProgram(QStringLiteral("prunelogs")), directory};
    };
    Samples ours;
    Samples peer;
    interleave(bench.plan.rounds,
               {[&] { ours.add(timePass(names, pruneCommand)); }, [&] { peer.add(timePass(names, findCommand)); }});
    bench.table.addAtMost(2, QStringLiteral("retention over %1 names, 80 % to delete (find -delete)").arg(names),
                          durationText(ours.median()), durationText(peer.median()), ours.median() / peer.median());
}
