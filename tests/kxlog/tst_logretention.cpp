#include "kxlog/kxlog.h"
#include "kxlog/logretention.h"
#include "support/files/fileio.h"
#include "support/files/folder.h"
#include "support/process/waitfor.h"

#include <QDateTime>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include <ctime>

/// Passes over folders. Which names are old enough is a matter of its own.
class TestLogRetention : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void prunesWhatItConsiders_data();
    void prunesWhatItConsiders();
    void anyFileAtTheMarkersPathEndsThePass();
    void missingDirectoryStaysMissing();
    void logObjectPrunesByTheClock_data();
    void logObjectPrunesByTheClock();
    void logObjectsPassesDeleteEachOthersMarker();
};

namespace {

using Pass = void (KxLog::*)(const QString &);

const QDate kToday(2024, 5, 4);

/// What is in a folder, and which of the two passes deletes it.
struct Entry
{
    const char *name;
    bool byOwn;
    bool bySdk;
};

constexpr Entry kFiles[] = {
    {"2024_05_01_09_30_00.log", true, false},
    {"2024_05_01_09_30_00.txt", true, false},
    {"crash_2024_05_01_09_30_00.dmp", true, false},
    {"20240501093000.log", false, true},
    {"20240501235959.LOG", false, true},
    {"20240501093001.DAT", false, true},
    {"20240501093000.txt", false, false},
    {"2024_05_02_09_30_00.log", false, false},
    {"20240502093000.log", false, false},
    {"2024_05_03.dat", true, true},
    {"update.log", true, true},
    {"update_2024.txt", true, false},
    {"client.log", false, false},
    // Without a dot.
    {"2024_05_01_09_30_00", false, false},
    {"20240501093000", false, false},
    {"data", false, false},
    // Hidden.
    {".2024_05_01_09_30_00.log", false, false},
    {".old.dat", false, false},
};

const char *const kFolders[] = {"2023_01_01_00_00_00.log", "20230101000000.log", "old.dat"};

// A pass that begins before midnight and is judged behind it would be judged by another date.
bool isClearOfMidnight()
{
    return waitFor([] { return QTime::currentTime() < QTime(23, 59, 50); }, 15000);
}

} // namespace

/// It is never the same day here as in UTC.
void TestLogRetention::initTestCase()
{
    qputenv("TZ", QDateTime::currentDateTimeUtc().time().hour() < 12 ? "WEST+12" : "EAST-12");
    ::tzset();
}

void TestLogRetention::prunesWhatItConsiders_data()
{
    QTest::addColumn<bool>("own");
    QTest::addColumn<QString>("marker");
    QTest::newRow("own") << true << QStringLiteral("2024_05_04.dat");
    QTest::newRow("sdk") << false << QStringLiteral("20240504.dat");
}

void TestLogRetention::prunesWhatItConsiders()
{
    QFETCH(bool, own);
    QFETCH(QString, marker);
    QTemporaryDir dir;
    QStringList left(marker);
    for (const Entry &entry : kFiles) {
        const QString name = QLatin1String(entry.name);
        QVERIFY(addFiles(dir.path(), {name}));
        if (!(own ? entry.byOwn : entry.bySdk))
            left.append(name);
    }
    const QStringList inside = {QStringLiteral("2023_01_01_00_00_00.log"), QStringLiteral("20230101000000.log")};
    for (const char *folder : kFolders) {
        left.append(QLatin1String(folder));
        QVERIFY(QDir(dir.path()).mkdir(left.last()));
        QVERIFY(addFiles(dir.filePath(left.last()), inside));
    }

    pruneLogDirectory(dir.path(), own ? ownLogRule() : sdkLogRule(), kToday);
    QCOMPARE(entries(dir.path()), sorted(left));
    for (const char *folder : kFolders)
        QCOMPARE(entries(dir.filePath(QLatin1String(folder))), sorted(inside));
    QCOMPARE(readFile(dir.filePath(marker)), QByteArrayLiteral("1"));
}

void TestLogRetention::anyFileAtTheMarkersPathEndsThePass()
{
    QTemporaryDir dir;
    const QString marker = QStringLiteral("2024_05_04.dat");
    const QString expired = QStringLiteral("2024_05_01_09_30_00.log");
    QVERIFY(addFiles(dir.path(), {expired}));
    QVERIFY(writeFile(dir.filePath(marker), QByteArrayLiteral("something else")));

    pruneLogDirectory(dir.path(), ownLogRule(), kToday);
    QCOMPARE(entries(dir.path()), sorted({marker, expired}));
    QCOMPARE(readFile(dir.filePath(marker)), QByteArrayLiteral("something else"));
}

void TestLogRetention::missingDirectoryStaysMissing()
{
    QTemporaryDir root;
    const QString missing = root.filePath(QStringLiteral("missing"));
    pruneLogDirectory(missing, ownLogRule(), kToday);
    pruneLogDirectory(missing, sdkLogRule(), kToday);
    QCOMPARE(entries(root.path()), QStringList());

    // Nothing was remembered: the pass runs as soon as there is a directory.
    QVERIFY(QDir(root.path()).mkdir(QStringLiteral("missing")));
    QVERIFY(addFiles(missing, {QStringLiteral("old.dat")}));
    pruneLogDirectory(missing, ownLogRule(), kToday);
    QCOMPARE(entries(missing), QStringList(QStringLiteral("2024_05_04.dat")));
}

void TestLogRetention::logObjectPrunesByTheClock_data()
{
    QTest::addColumn<bool>("sdk");
    QTest::addColumn<QString>("dateFormat");
    QTest::addColumn<QString>("lastSecond");
    QTest::addColumn<QString>("firstSecond");
    QTest::newRow("own") << false << QStringLiteral("yyyy_MM_dd") << QStringLiteral("_23_59_59.log")
                         << QStringLiteral("_00_00_00.log");
    QTest::newRow("sdk") << true << QStringLiteral("yyyyMMdd") << QStringLiteral("235959.log")
                         << QStringLiteral("000000.log");
}

void TestLogRetention::logObjectPrunesByTheClock()
{
    QFETCH(bool, sdk);
    QFETCH(QString, dateFormat);
    QFETCH(QString, lastSecond);
    QFETCH(QString, firstSecond);
    QVERIFY(isClearOfMidnight());
    const QDate today = QDate::currentDate();
    const QString expired = today.addDays(-3).toString(dateFormat) + lastSecond;
    const QString kept = today.addDays(-2).toString(dateFormat) + firstSecond;
    const QString marker = today.toString(dateFormat) + QStringLiteral(".dat");
    const QString earlierMarker = today.addDays(-1).toString(dateFormat) + QStringLiteral(".dat");
    QTemporaryDir dir;
    QVERIFY(addFiles(dir.path(), {expired, kept, earlierMarker}));

    KxLog log;
    const Pass pass = sdk ? &KxLog::removeSdkLogs : &KxLog::removeLogs;
    (log.*pass)(dir.path());
    QCOMPARE(entries(dir.path()), sorted({kept, marker}));
    QCOMPARE(readFile(dir.filePath(marker)), QByteArrayLiteral("1"));

    QVERIFY(addFiles(dir.path(), {expired}));
    (log.*pass)(dir.path());
    QCOMPARE(entries(dir.path()), sorted({expired, kept, marker}));
}

void TestLogRetention::logObjectsPassesDeleteEachOthersMarker()
{
    QVERIFY(isClearOfMidnight());
    const QString ownMarker = QDate::currentDate().toString(QStringLiteral("yyyy_MM_dd")) + QStringLiteral(".dat");
    const QString sdkMarker = QDate::currentDate().toString(QStringLiteral("yyyyMMdd")) + QStringLiteral(".dat");
    QTemporaryDir dir;
    KxLog log;

    for (int round = 0; round < 2; ++round) {
        QVERIFY(addFiles(dir.path(), {QStringLiteral("old.dat")}));
        log.removeLogs(dir.path());
        QCOMPARE(entries(dir.path()), QStringList(ownMarker));

        QVERIFY(addFiles(dir.path(), {QStringLiteral("old.dat")}));
        log.removeSdkLogs(dir.path());
        QCOMPARE(entries(dir.path()), QStringList(sdkMarker));
    }
}

QTEST_GUILESS_MAIN(TestLogRetention)
#include "tst_logretention.moc"
