#include "hardwarestub.h"
#include "openkxlog.h"

#include <QTest>

/// What the log object makes of hardware texts that today's probes do not give.
class TestHardwareInfo : public QObject
{
    Q_OBJECT

private slots:
    void cleansTheHardwareText_data();
    void cleansTheHardwareText();
    void takesTheSystemText();
};

void TestHardwareInfo::cleansTheHardwareText_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("stored");

    QTest::newRow("null") << QByteArray() << QString();
    QTest::newRow("several") << QByteArrayLiteral("\\na\\n\\nb\\n") << QStringLiteral("ab");
    QTest::newRow("other backslashes") << QByteArrayLiteral("\\\"a\\tb\\N\\\\") << QStringLiteral("\"atbN");
    QTest::newRow("n behind a pair") << QByteArrayLiteral("a\\\\nnb") << QStringLiteral("anb");
    QTest::newRow("line feed, beyond ASCII")
        << QByteArrayLiteral("\xE7\xA1\xAC\n\xE4\xBB\xB6") << QString::fromUtf8("硬\n件");
    QTest::newRow("zero byte") << QByteArray("ab\0cd", 5) << QStringLiteral("ab");
}

void TestHardwareInfo::cleansTheHardwareText()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, stored);
    setHardware(json);
    QCOMPARE(OpenKxLog().hardwareInfo, stored);
}

void TestHardwareInfo::takesTheSystemText()
{
    QCOMPARE(OpenKxLog().systemInfo, QStringLiteral("stub"));
}

QTEST_GUILESS_MAIN(TestHardwareInfo)
#include "tst_hardwareinfo.moc"
