#include "kxlog/kxlog.h"
#include "kxlog/logretention.h"
#include "support/files/fileio.h"
#include "support/files/folder.h"
#include "support/process/waitfor.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTime>

class TestLogRetention : public QObject
{
    Q_OBJECT

private slots:
    void prunesADirectoryOfEveryKindOfName_data();
    void prunesADirectoryOfEveryKindOfName();
    void markerHoldsOneByte_data();
    void markerHoldsOneByte();
    void secondPassOfADayDoesNothing_data();
    void secondPassOfADayDoesNothing();
    void anyFileAtTheMarkersPathEndsThePass();
    void nextDaysPassReplacesTheMarker_data();
    void nextDaysPassReplacesTheMarker();
    void missingDirectoryStaysMissing();
    void logObjectPrunesByTheClock_data();
    void logObjectPrunesByTheClock();
    void logObjectsPassesDeleteEachOthersMarker();
};

namespace {

using Pass = void (KxLog::*)(const QString &);

const QDate kToday(2024, 5, 4);

RetentionRule ruleCalled(const QString &name)
{
    return name == QLatin1String("own") ? ownLogRule() : sdkLogRule();
}

void addRuleRows()
{
    QTest::addColumn<QString>("rule");
    QTest::addColumn<QString>("marker");
    QTest::addColumn<QString>("expired");
    QTest::newRow("own") << QStringLiteral("own") << QStringLiteral("2024_05_04.dat")
                         << QStringLiteral("2024_05_01_09_30_00.log");
    QTest::newRow("sdk") << QStringLiteral("sdk") << QStringLiteral("20240504.dat")
                         << QStringLiteral("20240501093000.log");
}

// A pass that begins before midnight and is judged behind it would be judged by another date.
bool isClearOfMidnight()
{
    return waitFor([] { return QTime::currentTime() < QTime(23, 59, 50); }, 15000);
}

} // namespace

void TestLogRetention::prunesADirectoryOfEveryKindOfName_data()
{
    QTest::addColumn<QString>("rule");
    QTest::addColumn<QStringList>("deleted");
    QTest::addColumn<QString>("marker");

    QTest::newRow("own") << QStringLiteral("own")
                         << QStringList(
                                {QStringLiteral("2024_05_01_09_30_00.log"), QStringLiteral("2024_05_01_23_59_59.log"),
                                 QStringLiteral("crash_2024_05_01_09_30_00.log"),
                                 QStringLiteral("crash_crash_2024_05_01_09_30_01.dmp"),
                                 QStringLiteral("crash_2024_05_04_09_30_00.dat"), QStringLiteral("2024_05_03.dat"),
                                 QStringLiteral("2024_05_05.dat"), QStringLiteral("20240503.dat"),
                                 QStringLiteral("20240504.dat"), QStringLiteral("update.log"),
                                 QStringLiteral("update_2024.txt"), QStringLiteral("20240504093000.dat")})
                         << QStringLiteral("2024_05_04.dat");
    // 2024_05_04.dat is not there before: it would end the other pass before it begins.
    QTest::newRow("sdk") << QStringLiteral("sdk")
                         << QStringList({QStringLiteral("20240501093000.log"), QStringLiteral("20240501235959.LOG"),
                                         QStringLiteral("20240501093001.DAT"),
                                         QStringLiteral("crash_2024_05_04_09_30_00.dat"),
                                         QStringLiteral("2024_05_03.dat"), QStringLiteral("2024_05_05.dat"),
                                         QStringLiteral("20240503.dat"), QStringLiteral("update.log"),
                                         QStringLiteral("20240504093000.dat"), QStringLiteral("2024_05_04.dat")})
                         << QStringLiteral("20240504.dat");
}

void TestLogRetention::prunesADirectoryOfEveryKindOfName()
{
    QFETCH(QString, rule);
    QFETCH(QStringList, deleted);
    QFETCH(QString, marker);

    QStringList files = {
        QStringLiteral("2024_05_01_09_30_00.log"),
        QStringLiteral("2024_05_01_23_59_59.log"),
        QStringLiteral("2024_05_02_09_30_00.log"),
        QStringLiteral("2024_05_04_09_30_00.log"),
        QStringLiteral("2024_05_01_09_30_00_1.log"),
        QStringLiteral("2024_05_01_09_30_00"),
        QStringLiteral("upload_2024_05_01_09_30_00.log"),
        QStringLiteral("crash_2024_05_01_09_30_00.log"),
        QStringLiteral("crash_2024_05_02_09_30_00.log"),
        QStringLiteral("crash_crash_2024_05_01_09_30_01.dmp"),
        QStringLiteral("crash_2024_05_04_09_30_00.dat"),
        QStringLiteral("crash_20240501093000.log"),
        QStringLiteral("20240501093000.log"),
        QStringLiteral("20240501235959.LOG"),
        QStringLiteral("20240501093001.DAT"),
        QStringLiteral("20240502093000.log"),
        QStringLiteral("20240501093000.txt"),
        QStringLiteral("20240501093000"),
        QStringLiteral("20240504093000.dat"),
        QStringLiteral("2024_05_03.dat"),
        QStringLiteral("2024_05_05.dat"),
        QStringLiteral("20240503.dat"),
        QStringLiteral("update.log"),
        QStringLiteral("update_2024.txt"),
        QStringLiteral("DATA.txt"),
        QStringLiteral("X.DAT"),
        QStringLiteral("README"),
        QStringLiteral("data"),
        QStringLiteral("client.log"),
        QStringLiteral(".history"),
        QStringLiteral(".2024_05_01_09_30_00.log"),
        QStringLiteral(".20240501093000.log"),
        QStringLiteral(".old.dat"),
    };
    const QString otherMarker =
        rule == QLatin1String("own") ? QStringLiteral("20240504.dat") : QStringLiteral("2024_05_04.dat");
    files.append(otherMarker);
    const QStringList folders = {QStringLiteral("2023_01_01_00_00_00.log"), QStringLiteral("20230101000000.log"),
                                 QStringLiteral("old.dat"), QStringLiteral("crash")};

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QVERIFY(addFiles(dir.path(), files));
    for (const QString &folder : folders) {
        QVERIFY(QDir(dir.path()).mkdir(folder));
        QVERIFY(addFiles(dir.filePath(folder), {QStringLiteral("2023_01_01_00_00_00.log"),
                                                QStringLiteral("20230101000000.log"), QStringLiteral("x.dat")}));
    }

    pruneLogDirectory(dir.path(), ruleCalled(rule), kToday);

    QStringList expected = files + folders + QStringList(marker);
    for (const QString &name : deleted)
        QVERIFY2(expected.removeOne(name), qPrintable(name));
    QCOMPARE(entries(dir.path()), sorted(expected));
    for (const QString &folder : folders)
        QCOMPARE(entries(dir.filePath(folder)).size(), 3);
}

void TestLogRetention::markerHoldsOneByte_data()
{
    addRuleRows();
}

void TestLogRetention::markerHoldsOneByte()
{
    QFETCH(QString, rule);
    QFETCH(QString, marker);
    QTemporaryDir dir;
    pruneLogDirectory(dir.path(), ruleCalled(rule), kToday);
    QCOMPARE(entries(dir.path()), QStringList(marker));
    QCOMPARE(readFile(dir.filePath(marker)), QByteArrayLiteral("1"));
}

void TestLogRetention::secondPassOfADayDoesNothing_data()
{
    addRuleRows();
}

void TestLogRetention::secondPassOfADayDoesNothing()
{
    QFETCH(QString, rule);
    QFETCH(QString, marker);
    QFETCH(QString, expired);
    QTemporaryDir dir;
    pruneLogDirectory(dir.path(), ruleCalled(rule), kToday);

    QVERIFY(addFiles(dir.path(), {expired, QStringLiteral("old.dat")}));
    pruneLogDirectory(dir.path(), ruleCalled(rule), kToday);
    QCOMPARE(entries(dir.path()), sorted({marker, expired, QStringLiteral("old.dat")}));
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

void TestLogRetention::nextDaysPassReplacesTheMarker_data()
{
    QTest::addColumn<QString>("rule");
    QTest::addColumn<QString>("nextMarker");
    QTest::newRow("own") << QStringLiteral("own") << QStringLiteral("2024_05_05.dat");
    QTest::newRow("sdk") << QStringLiteral("sdk") << QStringLiteral("20240505.dat");
}

void TestLogRetention::nextDaysPassReplacesTheMarker()
{
    QFETCH(QString, rule);
    QFETCH(QString, nextMarker);
    // Two days old today, three tomorrow.
    const QStringList aging = {QStringLiteral("2024_05_02_09_30_00.log"), QStringLiteral("20240502093000.log")};
    const QString keptByThisRule = rule == QLatin1String("own") ? aging.at(1) : aging.at(0);
    QTemporaryDir dir;
    QVERIFY(addFiles(dir.path(), aging));

    pruneLogDirectory(dir.path(), ruleCalled(rule), kToday);
    QCOMPARE(entries(dir.path()).size(), 3);
    pruneLogDirectory(dir.path(), ruleCalled(rule), kToday.addDays(1));
    QCOMPARE(entries(dir.path()), sorted({keptByThisRule, nextMarker}));
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
