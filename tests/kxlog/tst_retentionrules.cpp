#include "centraleuropeantime.h"
#include "kxlog/logretention.h"

#include <QDateTime>
#include <QTest>

/// Names and dates only: what a pass would delete, without a directory and without a clock.
class TestRetentionRules : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void rulesOfBothDirectories();
    void namesTheDayMarker_data();
    void namesTheDayMarker();
    void judgesNames_data();
    void judgesNames();
    void countsCalendarDays_data();
    void countsCalendarDays();
    void judgesStampsOfSkippedAndRepeatedHours_data();
    void judgesStampsOfSkippedAndRepeatedHours();
    void readsStampsLikeTheGeneralParser_data();
    void readsStampsLikeTheGeneralParser();
};

namespace {

RetentionRule ruleCalled(const QString &name)
{
    return name == QLatin1String("own") ? ownLogRule() : sdkLogRule();
}

} // namespace

void TestRetentionRules::initTestCase()
{
    useCentralEuropeanTime();
    QCOMPARE(QDateTime(QDate(2024, 3, 31), QTime(1, 30)).offsetFromUtc(), 3600);
    QCOMPARE(QDateTime(QDate(2024, 3, 31), QTime(3, 30)).offsetFromUtc(), 7200);
}

void TestRetentionRules::rulesOfBothDirectories()
{
    const RetentionRule own = ownLogRule();
    QCOMPARE(own.nameFilters, QStringList({QStringLiteral("*.*")}));
    QCOMPARE(own.markerFormat, QStringLiteral("yyyy_MM_dd"));
    QCOMPARE(own.removedPrefix, QStringLiteral("crash_"));
    QCOMPARE(own.stampFormat, QStringLiteral("yyyy_MM_dd_hh_mm_ss"));

    const RetentionRule sdk = sdkLogRule();
    QCOMPARE(sdk.nameFilters, QStringList({QStringLiteral("*.log"), QStringLiteral("*.dat")}));
    QCOMPARE(sdk.markerFormat, QStringLiteral("yyyyMMdd"));
    QCOMPARE(sdk.removedPrefix, QString());
    QCOMPARE(sdk.stampFormat, QStringLiteral("yyyyMMddhhmmss"));
}

void TestRetentionRules::namesTheDayMarker_data()
{
    QTest::addColumn<QString>("rule");
    QTest::addColumn<QDate>("today");
    QTest::addColumn<QString>("name");

    QTest::newRow("own") << QStringLiteral("own") << QDate(2024, 5, 1) << QStringLiteral("2024_05_01.dat");
    QTest::newRow("own, late in the year")
        << QStringLiteral("own") << QDate(2024, 12, 31) << QStringLiteral("2024_12_31.dat");
    QTest::newRow("sdk") << QStringLiteral("sdk") << QDate(2024, 5, 1) << QStringLiteral("20240501.dat");
    QTest::newRow("sdk, late in the year")
        << QStringLiteral("sdk") << QDate(2024, 12, 31) << QStringLiteral("20241231.dat");
}

void TestRetentionRules::namesTheDayMarker()
{
    QFETCH(QString, rule);
    QFETCH(QDate, today);
    QFETCH(QString, name);
    QCOMPARE(dayMarkerName(ruleCalled(rule), today), name);
}

void TestRetentionRules::judgesNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("ownExpired");
    QTest::addColumn<bool>("sdkExpired");

    // On 2024-05-04, when the first of May is three days back.
    const auto row = [](const char *name, bool ownExpired, bool sdkExpired) {
        QTest::newRow(name) << QString::fromUtf8(name) << ownExpired << sdkExpired;
    };
    // Stamps of either form.
    row("2024_05_01_09_30_00.log", true, false);
    row("2024_05_02_09_30_00.log", false, false);
    row("2024_05_04_09_30_00.log", false, false);
    row("2024_06_01_09_30_00.log", false, false);
    row("1999_12_31_09_30_00.log", true, false);
    row("20240501093000.log", false, true);
    row("20240502093000.log", false, false);
    row("20240504093000.log", false, false);
    row("20240601093000.log", false, false);
    row("19991231093000.log", false, true);
    // Only what stands before the first dot is the stamp.
    row("2024_05_01_09_30_00.txt", true, false);
    row("2024_05_01_09_30_00.log.1", true, false);
    row("2024_05_01_09_30_00.", true, false);
    row("2024_05_01_09_30_00..log", true, false);
    row("20240501093000.log.log", false, true);
    row("20240501093000.DAT", false, true);
    row("20240502093000.DAT", false, false);
    row("a.2024_05_01_09_30_00.log", false, false);
    row(".2024_05_01_09_30_00", false, false);
    // The prefix, which one of the two takes away wherever it stands.
    row("crash_2024_05_01_09_30_00.log", true, false);
    row("crash_2024_05_02_09_30_00.log", false, false);
    row("crash_crash_2024_05_01_09_30_00.log", true, false);
    row("2024_05_01_crash_09_30_00.log", true, false);
    row("2024_05_01_09_30_00crash_.log", true, false);
    row("Crash_2024_05_01_09_30_00.log", false, false);
    row("crash2024_05_01_09_30_00.log", false, false);
    row("crash_20240501093000.log", false, false);
    row("20240501093000crash_.log", false, false);
    // Text around the stamp: the program's own logs among it.
    row("upload_2024_05_01_09_30_00.log", false, false);
    row("upload_20240501093000.log", false, false);
    row("2024_05_01_09_30_00_1.log", false, false);
    row("202405010930001.log", false, false);
    row(" 2024_05_01_09_30_00.log", false, false);
    row("2024_05_01_09_30_00 .log", false, false);
    // Not whole, or no time at all.
    row("2024_05_01_09_30.log", false, false);
    row("2024_05_01.log", false, false);
    row("202405010930.log", false, false);
    row("20240501.log", false, false);
    row("24_05_01_09_30_00.log", false, false);
    row("2024-05-01-09-30-00.log", false, false);
    row("2024_13_01_09_30_00.log", false, false);
    row("2024_02_30_09_30_00.log", false, false);
    row("2024_05_01_24_00_00.log", false, false);
    row("2024_05_01_09_60_00.log", false, false);
    row("20241301093000.log", false, false);
    row("20240230093000.log", false, false);
    row("20240501240000.log", false, false);
    row("README.txt", false, false);
    // Markers: today's stays, whatever else has those letters goes.
    row("2024_05_04.dat", false, true);
    row("2024_05_03.dat", true, true);
    row("2024_05_05.dat", true, true);
    row("20240504.dat", true, false);
    row("20240503.dat", true, true);
    row("20240505.dat", true, true);
    row("crash_2024_05_04_09_30_00.dat", true, true);
    row("2024_05_04_09_30_00.dat", true, true);
    row("20240504093000.dat", true, true);
    row("2024_05_04.dat.log", true, true);
    row("update_2024.txt", true, true);
    row("update.log", true, true);
    row("data.log", true, true);
    row("2024_05_04_09_30_00.log.dat", true, true);
    row("DATA.txt", false, false);
    row("Update.dat", true, true);
    row("UPDATE.DAT", false, false);
    row("d.at", false, false);
}

void TestRetentionRules::judgesNames()
{
    QFETCH(QString, name);
    QFETCH(bool, ownExpired);
    QFETCH(bool, sdkExpired);
    QCOMPARE(isExpired(ownLogRule(), name, QDate(2024, 5, 4)), ownExpired);
    QCOMPARE(isExpired(sdkLogRule(), name, QDate(2024, 5, 4)), sdkExpired);
}

void TestRetentionRules::countsCalendarDays_data()
{
    QTest::addColumn<QDateTime>("stamp");
    QTest::addColumn<QDate>("today");
    QTest::addColumn<bool>("expired");

    const auto row = [](const char *name, const QDate &date, const QTime &time, const QDate &today, bool expired) {
        QTest::newRow(name) << QDateTime(date, time, Qt::UTC) << today << expired;
    };
    const QTime noon(12, 0);
    const QTime first(0, 0, 0);
    const QTime last(23, 59, 59);
    row("the same day", {2024, 5, 4}, first, {2024, 5, 4}, false);
    row("the day after", {2024, 5, 3}, last, {2024, 5, 4}, false);
    row("two days", {2024, 5, 1}, {9, 30}, {2024, 5, 3}, false);
    row("three days", {2024, 5, 1}, {9, 30}, {2024, 5, 4}, true);
    row("nearly three times 24 hours", {2024, 5, 2}, first, {2024, 5, 4}, false);
    row("hardly more than two times 24 hours", {2024, 5, 1}, last, {2024, 5, 4}, true);
    row("a year later", {2023, 5, 4}, noon, {2024, 5, 4}, true);
    row("three days over a turn of the year", {2023, 12, 30}, noon, {2024, 1, 2}, true);
    row("two days over a turn of the year", {2023, 12, 31}, noon, {2024, 1, 2}, false);
    row("three days over a leap day", {2024, 2, 28}, noon, {2024, 3, 2}, true);
    row("two days where it is missing", {2023, 2, 28}, noon, {2023, 3, 2}, false);
    row("tomorrow", {2024, 5, 5}, noon, {2024, 5, 4}, false);
    row("three days ahead", {2024, 5, 7}, noon, {2024, 5, 4}, false);
}

void TestRetentionRules::countsCalendarDays()
{
    QFETCH(QDateTime, stamp);
    QFETCH(QDate, today);
    QFETCH(bool, expired);
    const QString ownStamp = stamp.toString(QStringLiteral("yyyy_MM_dd_hh_mm_ss"));
    const QString sdkStamp = stamp.toString(QStringLiteral("yyyyMMddhhmmss"));
    QCOMPARE(isExpired(ownLogRule(), ownStamp + QStringLiteral(".log"), today), expired);
    QCOMPARE(isExpired(ownLogRule(), QStringLiteral("crash_") + ownStamp + QStringLiteral(".dmp"), today), expired);
    QCOMPARE(isExpired(sdkLogRule(), sdkStamp + QStringLiteral(".log"), today), expired);
}

void TestRetentionRules::judgesStampsOfSkippedAndRepeatedHours_data()
{
    QTest::addColumn<QString>("ownName");
    QTest::addColumn<QString>("sdkName");
    QTest::addColumn<QDate>("today");
    QTest::addColumn<bool>("expired");

    // Only the date counts, even where the clocks skipped that time of day.
    const QString skipped = QStringLiteral("2024_03_31_02_30_00.log");
    const QString skippedSdk = QStringLiteral("20240331023000.log");
    QTest::newRow("skipped, two days back") << skipped << skippedSdk << QDate(2024, 4, 2) << false;
    QTest::newRow("skipped, three days back") << skipped << skippedSdk << QDate(2024, 4, 3) << true;
    const QString behind = QStringLiteral("2024_03_31_03_00_00.log");
    const QString behindSdk = QStringLiteral("20240331030000.log");
    QTest::newRow("behind the gap, three days back") << behind << behindSdk << QDate(2024, 4, 3) << true;
    const QString repeated = QStringLiteral("2024_10_27_02_30_00.log");
    const QString repeatedSdk = QStringLiteral("20241027023000.log");
    QTest::newRow("repeated, two days back") << repeated << repeatedSdk << QDate(2024, 10, 29) << false;
    QTest::newRow("repeated, three days back") << repeated << repeatedSdk << QDate(2024, 10, 30) << true;
}

void TestRetentionRules::judgesStampsOfSkippedAndRepeatedHours()
{
    QFETCH(QString, ownName);
    QFETCH(QString, sdkName);
    QFETCH(QDate, today);
    QFETCH(bool, expired);
    QCOMPARE(isExpired(ownLogRule(), ownName, today), expired);
    QCOMPARE(isExpired(sdkLogRule(), sdkName, today), expired);
}

void TestRetentionRules::readsStampsLikeTheGeneralParser_data()
{
    QTest::addColumn<QString>("rule");
    QTest::addColumn<QString>("stamp");
    QTest::newRow("own") << QStringLiteral("own") << QStringLiteral("2024_02_19_10_20_30");
    QTest::newRow("sdk") << QStringLiteral("sdk") << QStringLiteral("20240219102030");
}

void TestRetentionRules::readsStampsLikeTheGeneralParser()
{
    QFETCH(QString, rule);
    QFETCH(QString, stamp);
    const RetentionRule read = ruleCalled(rule);
    // A day that has an expired and a kept stamp on either side of most changes.
    const QDate today(2024, 2, 29);
    // Without a plus sign, which the general parser takes for a part of any number.
    const QString others = QString::fromUtf8("0123456789_ -:xXyMdhmsAaPp/\té²٣１");

    int expired = 0;
    int kept = 0;
    const auto compare = [&](const QString &changed) {
        const bool expected = QDateTime::fromString(changed, read.stampFormat).date().daysTo(today) >= 3;
        ++(expected ? expired : kept);
        if (isExpired(read, changed + QStringLiteral(".log"), today) == expected)
            return true;
        qWarning("%s should be %s", qPrintable(changed), expected ? "expired" : "kept");
        return false;
    };
    bool same = compare(stamp);
    for (int i = 0; i < stamp.size(); ++i) {
        same = compare(QString(stamp).remove(i, 1)) && same;
        for (const QChar other : others) {
            same = compare(QString(stamp).replace(i, 1, other)) && same;
            same = compare(QString(stamp).insert(i, other)) && same;
            // Two changes at once reach other days of other months.
            for (int j = i + 1; j < stamp.size(); ++j) {
                for (const QChar digit : QStringLiteral("0139 _"))
                    same = compare(QString(stamp).replace(i, 1, other).replace(j, 1, digit)) && same;
            }
        }
    }
    QVERIFY(same);
    QVERIFY(expired > 100);
    QVERIFY(kept > 100);
}

QTEST_GUILESS_MAIN(TestRetentionRules)
#include "tst_retentionrules.moc"
