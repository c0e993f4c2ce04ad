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
    QTest::newRow("empty") << QByteArrayLiteral("") << QString();
    QTest::newRow("nothing to clean") << QByteArrayLiteral("{\"cpu\":\"x\"}") << QStringLiteral("{\"cpu\":\"x\"}");
    QTest::newRow("backslash and n") << QByteArrayLiteral("a\\nb") << QStringLiteral("ab");
    QTest::newRow("several") << QByteArrayLiteral("\\na\\n\\nb\\n") << QStringLiteral("ab");
    QTest::newRow("other backslashes") << QByteArrayLiteral("\\\"a\\tb\\\\") << QStringLiteral("\"atb");
    QTest::newRow("upper-case N") << QByteArrayLiteral("a\\Nb") << QStringLiteral("aNb");
    QTest::newRow("n behind a pair") << QByteArrayLiteral("a\\\\nnb") << QStringLiteral("anb");
    QTest::newRow("line feed") << QByteArrayLiteral("a\nb") << QStringLiteral("a\nb");
    QTest::newRow("beyond ASCII") << QByteArrayLiteral("\xE7\xA1\xAC\xE4\xBB\xB6") << QString::fromUtf8("硬件");
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
