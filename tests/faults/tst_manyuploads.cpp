#include "support/tool/processfacts.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QSettings>
#include <QTest>
#include <QThread>
#include <atomic>

namespace {

constexpr int kUploads = 1000;
/// The first sample: by then everything that is set up once is there.
constexpr int kFewUploads = 10;

struct Use
{
    int descriptors = -1;
    int threads = -1;

    bool operator==(const Use &other) const { return descriptors == other.descriptors && threads == other.threads; }
};

/// What \a process uses while it waits for an answer. The thread of the upload before may be about to end: only what
/// stays for a while counts.
Use steadyUse(qint64 process)
{
    constexpr int kSteadyMs = 200;
    constexpr int kPatienceMs = 20000;
    const QDeadlineTimer deadline(kPatienceMs);
    Use use;
    QElapsedTimer unchanged;
    while (!deadline.hasExpired() && !(unchanged.isValid() && unchanged.hasExpired(kSteadyMs))) {
        const Use now = {descriptorCount(process), threadCount(process)};
        if (!(now == use))
            unchanged.start();
        use = now;
        QThread::msleep(5);
    }
    return use;
}

} // namespace

/// A thousand files in one run, under the limit of 256 descriptors that is usual on a desktop.
class TestManyUploads : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        Sandbox sandbox(Sandbox::builtTool(), fastFolder());
        QVERIFY(addUser(sandbox));
        QVERIFY(sandbox.writeIni([&](QSettings &ini) {
            for (int i = 0; i < kUploads; ++i) {
                const QString name = QStringLiteral("log%1").arg(i, 4, 10, QLatin1Char('0'));
                names_.append(name + QStringLiteral(".log"));
                sandbox.addFile(QStringLiteral("logs/") + names_.last(), name.toLatin1());
                ini.setValue(name + QStringLiteral("/sdk"), 0);
            }
        }));
        std::atomic<qint64> process{0};
        std::atomic<int> received{0};
        const Reply reply = Reply::json().onRequest([&] {
            const int count = ++received;
            if (count != kFewUploads && count != kUploads)
                return;
            while (process == 0)
                QThread::msleep(1);
            Use &use = count == kUploads ? usedByMany_ : usedByFew_;
            use = steadyUse(process);
        });
        const ScriptedServer server(servicePort(), {}, reply);
        QVERIFY(server.isListening());

        const auto run = sandbox.startTool({}, byShell(QStringLiteral("ulimit -n 256 && exec \"$0\" \"$@\"")));
        process = run->processId();
        const ToolResult result = run->finish(10 * kPromptMs);
        QVERIFY2(result.isSuccess(), result.describe().left(10000));
        qInfo("%d uploads in %lld ms", kUploads, result.elapsedMs);
        arrived_ = arrivals(server);
        groups_ = sandbox.groups();
    }

    void arriveInOrderEachOnce()
    {
        QCOMPARE(arrived_.size(), kUploads + 1);
        for (int i = 0; i < kUploads; ++i) {
            QCOMPARE(arrived_.at(i).name, names_.at(i));
            QCOMPARE(arrived_.at(i).bytes + ".log", names_.at(i).toLatin1());
        }
        QCOMPARE(arrived_.last().name, QStringLiteral("own log"));
        QCOMPARE(groups_, QStringList{QStringLiteral("system")});
    }

    void needNoMoreDescriptorsAndThreadsThanTen()
    {
        if (!knowsProcesses())
            QSKIP("this system does not tell about the descriptors of a process");
        qInfo("%d descriptors and %d threads", usedByFew_.descriptors, usedByFew_.threads);
        QVERIFY(usedByFew_.descriptors > 0 && usedByFew_.threads > 0);
        QCOMPARE(usedByMany_.descriptors, usedByFew_.descriptors);
        QCOMPARE(usedByMany_.threads, usedByFew_.threads);
    }

private:
    QStringList names_;
    QList<Arrival> arrived_;
    QStringList groups_;
    Use usedByFew_;
    Use usedByMany_;
};

QTEST_GUILESS_MAIN(TestManyUploads)
#include "tst_manyuploads.moc"
