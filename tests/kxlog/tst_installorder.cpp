#include "openkxlog.h"
#include "support/files/fileio.h"
#include "support/process/messagecatcher.h"

#include <QDate>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <functional>
#include <unistd.h>

/// The order of what an installation does to a folder, seen from inside of it.
class TestInstallOrder : public QObject
{
    Q_OBJECT

private slots:
    void storesThePathThenSaysItThenMakesTheFolder();
    void prunesBeforeItOpensTheFile();
    void emptiesAMarkerThatIsThereByThen();
};

namespace {

std::function<void()> g_whenDeleting;
std::function<void()> g_whenSaying;

QString markerOf(const QTemporaryDir &dir)
{
    return dir.filePath(QDate::currentDate().toString(QStringLiteral("yyyy_MM_dd")) + QStringLiteral(".dat"));
}

} // namespace

// The dynamic linker takes this one for all of the process.
extern "C" int unlink(const char *path)
{
    if (g_whenDeleting)
        g_whenDeleting();
    return ::unlinkat(AT_FDCWD, path, 0);
}

void TestInstallOrder::storesThePathThenSaysItThenMakesTheFolder()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("logs"));
    OpenKxLog log;
    QStringList seen;
    g_whenSaying = [&] {
        seen.append(log.getPath());
        seen.append(QFile::exists(path) ? QStringLiteral("made") : QStringLiteral("not made"));
        seen.append(log.fileName());
    };
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) { g_whenSaying(); });
    log.install_log(path);
    QCOMPARE(seen, QStringList({path, QStringLiteral("not made"), QString()}));
}

void TestInstallOrder::prunesBeforeItOpensTheFile()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath(QStringLiteral("old.dat")), "x"));
    OpenKxLog log;
    QList<QStringList> seen;
    g_whenDeleting = [&] { seen.append(QDir(dir.path()).entryList(QDir::Files)); };
    log.install_log(dir.path());
    g_whenDeleting = nullptr;
    QCOMPARE(seen, QList<QStringList>({QStringList(QStringLiteral("old.dat"))}));
    QVERIFY(QFile::exists(log.fileName()));
}

void TestInstallOrder::emptiesAMarkerThatIsThereByThen()
{
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath(QStringLiteral("old.dat")), "x"));
    OpenKxLog log;
    g_whenDeleting = [&] { writeFile(markerOf(dir), "another process"); };
    log.removeLogs(dir.path());
    g_whenDeleting = nullptr;
    QCOMPARE(readFile(markerOf(dir)), QByteArrayLiteral("1"));
}

QTEST_GUILESS_MAIN(TestInstallOrder)
#include "tst_installorder.moc"
