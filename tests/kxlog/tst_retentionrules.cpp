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
    void judgesNames_data();
    void judgesNames();
    void countsCalendarDays_data();
    void countsCalendarDays();
    void readsStampsLikeTheGeneralParser_data();
    void readsStampsLikeTheGeneralParser();
};

void TestRetentionRules::initTestCase()
{
    useCentralEuropeanTime();
    QCOMPARE(QDateTime(QDate(2024, 3, 31), QTime(1, 30)).offsetFromUtc(), 3600);
    QCOMPARE(QDateTime(QDate(2024, 3, 31), QTime(3, 30)).offsetFromUtc(), 7200);
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
    row("20240501093000.log", false, true);
    row("20240502093000.log", false, false);
    // Only what stands before the first dot is the stamp.
    row("2024_05_01_09_30_00.log.1", true, false);
    row("20240501093000.DAT", false, true);
    row("a.2024_05_01_09_30_00.log", false, false);
    // The prefix, which one of the two takes away wherever it stands.
    row("crash_2024_05_01_09_30_00.log", true, false);
    row("crash_crash_2024_05_01_09_30_00.log", true, false);
    row("2024_05_01_crash_09_30_00.log", true, false);
    row("Crash_2024_05_01_09_30_00.log", false, false);
    row("crash2024_05_01_09_30_00.log", false, false);
    row("crash_20240501093000.log", false, false);
    // Text around the stamp: the program's own logs among it.
    row("upload_2024_05_01_09_30_00.log", false, false);
    row("2024_05_01_09_30_00_1.log", false, false);
    // Not whole, or no time at all.
    row("2024_05_01.log", false, false);
    row("2023_13_01_09_30_00.log", false, false);
    row("2024_02_30_09_30_00.log", false, false);
    row("2024_05_01_24_00_00.log", false, false);
    row("README.txt", false, false);
    // Markers: today's stays, whatever else has those letters goes.
    row("2024_05_04.dat", false, true);
    row("20240504.dat", true, false);
    row("2024_05_03.dat", true, true);
    row("2024_05_05.dat", true, true);
    row("crash_2024_05_04_09_30_00.dat", true, true);
    row("update_2024.txt", true, true);
    row("data.log", true, true);
    row("DATA.txt", false, false);
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
    row("nearly three times 24 hours", {2024, 5, 2}, {0, 0}, {2024, 5, 4}, false);
    row("hardly more than two times 24 hours", {2024, 5, 1}, {23, 59, 59}, {2024, 5, 4}, true);
    row("two days over a turn of the year", {2023, 12, 31}, noon, {2024, 1, 2}, false);
    row("three days over a turn of the year", {2023, 12, 30}, noon, {2024, 1, 2}, true);
    row("three days over a leap day", {2024, 2, 28}, noon, {2024, 3, 2}, true);
    row("three days ahead", {2024, 5, 7}, noon, {2024, 5, 4}, false);
    // Only the date counts.
    row("where the clocks skipped that hour", {2024, 3, 31}, {2, 30}, {2024, 4, 3}, true);
    row("where the clocks repeated that hour", {2024, 10, 27}, {2, 30}, {2024, 10, 30}, true);
}

void TestRetentionRules::countsCalendarDays()
{
    QFETCH(QDateTime, stamp);
    QFETCH(QDate, today);
    QFETCH(bool, expired);
    const QString ownStamp = stamp.toString(QStringLiteral("yyyy_MM_dd_hh_mm_ss"));
    const QString sdkStamp = stamp.toString(QStringLiteral("yyyyMMddhhmmss"));
    QCOMPARE(isExpired(ownLogRule(), ownStamp + QStringLiteral(".log"), today), expired);
    QCOMPARE(isExpired(sdkLogRule(), sdkStamp + QStringLiteral(".log"), today), expired);
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
    const RetentionRule read = rule == QLatin1String("own") ? ownLogRule() : sdkLogRule();
    // A day that has an expired and a kept stamp on either side of most changes.
    const QDate today(2024, 2, 29);
    // Without a plus sign, which the general parser takes for a part of any number.
    const QString others = QString::fromUtf8("0123456789_ -:xXyMdhmsAaPp/\té²٣１");

    int expired = 0;
    int kept = 0;
    const auto compare = [&](const QString &changed) {
        // The parser of Qt 6 knows years before the first one.
        const bool expected = !changed.startsWith(QLatin1Char('-')) &&
                              QDateTime::fromString(changed, read.stampFormat).date().daysTo(today) >= 3;
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
