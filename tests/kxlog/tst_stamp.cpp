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

QTEST_GUILESS_MAIN(TestStamp)
#include "tst_stamp.moc"
