#include "kxlog/kxlog.h"
#include "sysinfo/kxsysinfo.h"

#include <QSysInfo>
#include <QTest>
#include <limits>
#include <type_traits>

class TestKxSysInfo : public QObject
{
    Q_OBJECT

private slots:
    void hasNoState();
    void namesMacVersions_data();
    void namesMacVersions();
    void namesThisSystem();
    void logObjectNamesTheSameSystem();
    void probesAreEmpty();
    void hardwareIsAMapOfThreeEmptyEntries();
    void hardwareJsonIsTheSameOnEveryMachine();
    void isNever64Bit();
    void formatsSizes_data();
    void formatsSizes();
};

void TestKxSysInfo::hasNoState()
{
    QVERIFY(std::is_empty<KxSysInfo>::value);
    QVERIFY(!std::is_polymorphic<KxSysInfo>::value);
    QVERIFY(std::is_default_constructible<KxSysInfo>::value);
}

void TestKxSysInfo::namesMacVersions_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<QString>("text");

    QTest::newRow("smallest value") << std::numeric_limits<int>::min() << QStringLiteral("mac");
    QTest::newRow("no mac") << -1 << QStringLiteral("mac");
    QTest::newRow("unknown") << 0 << QStringLiteral("mac");
    QTest::newRow("unknown, the platform's mark") << 1 << QStringLiteral("mac");
    QTest::newRow("10.6") << 8 << QStringLiteral("mac");
    QTest::newRow("10.7") << 9 << QStringLiteral("mac10.7");
    QTest::newRow("10.8") << 10 << QStringLiteral("mac10.8");
    QTest::newRow("10.9") << 11 << QStringLiteral("mac10.9");
    QTest::newRow("10.10") << 12 << QStringLiteral("mac10.10");
    QTest::newRow("10.11") << 13 << QStringLiteral("mac");
    QTest::newRow("10.12") << 14 << QStringLiteral("mac");
    QTest::newRow("largest value") << std::numeric_limits<int>::max() << QStringLiteral("mac");
}

void TestKxSysInfo::namesMacVersions()
{
    QFETCH(int, version);
    QFETCH(QString, text);
    QCOMPARE(macVersionText(version), text);
}

void TestKxSysInfo::namesThisSystem()
{
    // The one system of the table that the Qt of today runs on.
    const bool isYosemite =
        QSysInfo::kernelType() == QLatin1String("darwin") && QSysInfo::productVersion() == QLatin1String("10.10");
    QCOMPARE(KxSysInfo::getSysVersion(), isYosemite ? QStringLiteral("mac10.10") : QStringLiteral("mac"));
}

void TestKxSysInfo::logObjectNamesTheSameSystem()
{
    KxLog log;
    QCOMPARE(log.getSystemInfo(), KxSysInfo::getSysVersion());
}

void TestKxSysInfo::probesAreEmpty()
{
    QCOMPARE(KxSysInfo::getCpuInfo(), QString());
    QCOMPARE(KxSysInfo::getNetInfo(), QList<QVariant>());
    QCOMPARE(KxSysInfo::getDiskInfo(), QList<QVariant>());
    QCOMPARE(KxSysInfo::getMemoryInfo(), (QMap<QString, QVariant>()));
}

void TestKxSysInfo::hardwareIsAMapOfThreeEmptyEntries()
{
    const QVariant hardware = KxSysInfo::getHardWareVariant();
    QCOMPARE(hardware.userType(), static_cast<int>(QMetaType::QVariantMap));

    const QVariantMap entries = hardware.toMap();
    QCOMPARE(entries.keys(), QStringList({QStringLiteral("cpu"), QStringLiteral("mem"), QStringLiteral("net")}));
    QCOMPARE(entries.value(QStringLiteral("cpu")).userType(), static_cast<int>(QMetaType::QString));
    QCOMPARE(entries.value(QStringLiteral("cpu")).toString(), QString());
    QCOMPARE(entries.value(QStringLiteral("mem")).userType(), static_cast<int>(QMetaType::QVariantMap));
    QVERIFY(entries.value(QStringLiteral("mem")).toMap().isEmpty());
    QCOMPARE(entries.value(QStringLiteral("net")).userType(), static_cast<int>(QMetaType::QVariantList));
    QVERIFY(entries.value(QStringLiteral("net")).toList().isEmpty());
}

void TestKxSysInfo::hardwareJsonIsTheSameOnEveryMachine()
{
    QCOMPARE(KxSysInfo::getHardWareJsonData(), QByteArrayLiteral("{\"cpu\":\"\",\"mem\":{},\"net\":[]}"));
}

void TestKxSysInfo::isNever64Bit()
{
    KxLog log;
    QCOMPARE(KxSysInfo::isOs64(), false);
    QCOMPARE(log.isOs64(), false);
}

void TestKxSysInfo::formatsSizes_data()
{
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<QString>("text");

    QTest::newRow("0") << Q_UINT64_C(0) << QStringLiteral("0.0B");
    QTest::newRow("1") << Q_UINT64_C(1) << QStringLiteral("1.0B");
    QTest::newRow("last B") << Q_UINT64_C(1023) << QStringLiteral("1023.0B");
    QTest::newRow("first KB") << Q_UINT64_C(1024) << QStringLiteral("1.00KB");
    QTest::newRow("KB rounded down") << Q_UINT64_C(1029) << QStringLiteral("1.00KB");
    QTest::newRow("KB rounded up") << Q_UINT64_C(1030) << QStringLiteral("1.01KB");
    QTest::newRow("1.5 KB") << Q_UINT64_C(1536) << QStringLiteral("1.50KB");
    QTest::newRow("last KB") << Q_UINT64_C(1048575) << QStringLiteral("1024.00KB");
    QTest::newRow("first MB") << Q_UINT64_C(1048576) << QStringLiteral("1.00MB");
    QTest::newRow("1.5 MB") << Q_UINT64_C(1572864) << QStringLiteral("1.50MB");
    QTest::newRow("last MB") << Q_UINT64_C(1073741823) << QStringLiteral("1024.00MB");
    QTest::newRow("first GB") << Q_UINT64_C(1073741824) << QStringLiteral("1.00GB");
    QTest::newRow("1.5 GB") << Q_UINT64_C(1610612736) << QStringLiteral("1.50GB");
    QTest::newRow("last GB") << Q_UINT64_C(1099511627775) << QStringLiteral("1024.00GB");
    QTest::newRow("first TB") << Q_UINT64_C(1099511627776) << QStringLiteral("1048576.00TB");
    QTest::newRow("first TB and half an MB") << Q_UINT64_C(1099512152064) << QStringLiteral("1048576.50TB");
    QTest::newRow("1.5 TB") << Q_UINT64_C(1649267441664) << QStringLiteral("1572864.00TB");
    QTest::newRow("largest") << std::numeric_limits<quint64>::max() << QStringLiteral("17592186044416.00TB");
}

void TestKxSysInfo::formatsSizes()
{
    QFETCH(quint64, bytes);
    QFETCH(QString, text);
    QCOMPARE(bytes_to_human(bytes), text);
}

QTEST_GUILESS_MAIN(TestKxSysInfo)
#include "tst_kxsysinfo.moc"
