#include "centraleuropeantime.h"
#include "kxlog/stamp.h"

#include <QTest>

class TestStamp : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void formatsLocalTime_data();
    void formatsLocalTime();
    void anotherSecondHasAnotherText();
    void readsWhatItWrites_data();
    void readsWhatItWrites();
    void refusesOtherTexts_data();
    void refusesOtherTexts();
};

void TestStamp::initTestCase()
{
    useCentralEuropeanTime();
}

void TestStamp::formatsLocalTime_data()
{
    QTest::addColumn<qint64>("second");
    QTest::addColumn<QString>("text");

    QTest::newRow("winter") << Q_INT64_C(1704067199) << QStringLiteral("2024-01-01 00:59:59");
    QTest::newRow("summer") << Q_INT64_C(1714548600) << QStringLiteral("2024-05-01 09:30:00");
    QTest::newRow("before the skipped hour") << Q_INT64_C(1711846799) << QStringLiteral("2024-03-31 01:59:59");
    QTest::newRow("behind the skipped hour") << Q_INT64_C(1711846800) << QStringLiteral("2024-03-31 03:00:00");
    QTest::newRow("repeated hour, first") << Q_INT64_C(1729989000) << QStringLiteral("2024-10-27 02:30:00");
    QTest::newRow("repeated hour, second") << Q_INT64_C(1729992600) << QStringLiteral("2024-10-27 02:30:00");
}

void TestStamp::formatsLocalTime()
{
    QFETCH(qint64, second);
    QFETCH(QString, text);
    QCOMPARE(QString(recordTime(second)), text);
    QCOMPARE(QString(recordTime(second)), text);
}

void TestStamp::anotherSecondHasAnotherText()
{
    QCOMPARE(QString(recordTime(1714548600)), QStringLiteral("2024-05-01 09:30:00"));
    QCOMPARE(QString(recordTime(1714548601)), QStringLiteral("2024-05-01 09:30:01"));
    // A clock that is set back, and one that jumps.
    QCOMPARE(QString(recordTime(1714548600)), QStringLiteral("2024-05-01 09:30:00"));
    QCOMPARE(QString(recordTime(1714635000)), QStringLiteral("2024-05-02 09:30:00"));
    QCOMPARE(QString(recordTime(0)), QStringLiteral("1970-01-01 01:00:00"));
    QCOMPARE(QString(recordTime(1)), QStringLiteral("1970-01-01 01:00:01"));
}

void TestStamp::readsWhatItWrites_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("text");
    QTest::newRow("record") << QStringLiteral("yyyy-MM-dd hh:mm:ss") << QStringLiteral("2024-05-01 09:03:07");
    QTest::newRow("name") << QStringLiteral("yyyy_MM_dd_hh_mm_ss") << QStringLiteral("2024_05_01_09_03_07");
    QTest::newRow("name of the SDK") << QStringLiteral("yyyyMMddhhmmss") << QStringLiteral("20240501090307");
    QTest::newRow("marker") << QStringLiteral("yyyy_MM_dd") << QStringLiteral("2024_05_01");
    QTest::newRow("marker of the SDK") << QStringLiteral("yyyyMMdd") << QStringLiteral("20240501");
}

void TestStamp::readsWhatItWrites()
{
    QFETCH(QString, format);
    QFETCH(QString, text);
    const QDate date(2024, 5, 1);
    QCOMPARE(formatStamp(format, date, QTime(9, 3, 7)), text);
    QCOMPARE(parseStamp(format, text), date);
}

void TestStamp::refusesOtherTexts_data()
{
    QTest::addColumn<QString>("stamp");
    QTest::newRow("empty") << QString();
    QTest::newRow("more") << QStringLiteral("2024_05_01_09_03_071");
    QTest::newRow("less") << QStringLiteral("2024_05_01_09_03_0");
    QTest::newRow("another mark") << QStringLiteral("2024_05_01-09_03_07");
    QTest::newRow("a sign") << QStringLiteral("+024_05_01_09_03_07");
    QTest::newRow("no such day") << QStringLiteral("2023_02_29_09_03_07");
    QTest::newRow("no such hour") << QStringLiteral("2024_05_01_24_03_07");
    QTest::newRow("digits of another script") << QString::fromUtf8("۲۰۲۴_05_01_09_03_07");
}

void TestStamp::refusesOtherTexts()
{
    QFETCH(QString, stamp);
    QVERIFY(!parseStamp(QStringLiteral("yyyy_MM_dd_hh_mm_ss"), stamp).isValid());
}

QTEST_GUILESS_MAIN(TestStamp)
#include "tst_stamp.moc"
