#include "openkxlog.h"
#include "sysinfo/kxsysinfo.h"

#include <QMetaMethod>
#include <QNetworkAccessManager>
#include <QTest>
#include <functional>
#include <type_traits>

/// The log object by itself: its meta-object, its fields and what its setters do to them.
class TestKxLog : public QObject
{
    Q_OBJECT

private slots:
    void declaresTwoSlotsAndNothingElse();
    void hasItsFieldsInOrder();
    void startsEmpty();
    void describesTheMachine();
    void instanceIsOneObjectWithoutParent();
    void takesAParent();
    void settersSetTheirFields_data();
    void settersSetTheirFields();
    void laterSettersOfTheRoomWin();
    void removesEveryUpperCaseVFromTheVersion_data();
    void removesEveryUpperCaseVFromTheVersion();
    void initReportLogDataEmptiesTheIdentity();
    void ignoresLogServers();
    void makesManagersOfItsOwn();
};

using Action = std::function<void(KxLog &)>;
Q_DECLARE_METATYPE(Action)

namespace {

/// Every field that a setter may write, as "name=value".
QStringList fieldsOf(const OpenKxLog &log)
{
    const auto number = [](int value) { return QString::number(value); };
    const auto flag = [](bool value) { return value ? QStringLiteral("true") : QStringLiteral("false"); };
    return {QStringLiteral("logFileName=") + log.logFileName,
            QStringLiteral("logPath=") + log.logPath,
            QStringLiteral("serversSet=") + flag(log.serversSet),
            QStringLiteral("appKey=") + log.appKey,
            QStringLiteral("roomId=") + log.roomId,
            QStringLiteral("userId=") + log.userId,
            QStringLiteral("logUserId=") + log.logUserId,
            QStringLiteral("logRole=") + number(log.logRole),
            QStringLiteral("userName=") + log.userName,
            QStringLiteral("signalServerInfo=") + log.signalServerInfo,
            QStringLiteral("mediaServerInfo=") + log.mediaServerInfo,
            QStringLiteral("clientVersion=") + log.clientVersion,
            QStringLiteral("systemInfo=") + log.systemInfo,
            QStringLiteral("showLog=") + flag(log.showLog),
            QStringLiteral("reporting=") + flag(log.reporting),
            QStringLiteral("clientName=") + log.clientName,
            QStringLiteral("hardwareInfo=") + log.hardwareInfo};
}

/// The fields of \a after that read otherwise in \a before.
QStringList changes(const QStringList &before, const QStringList &after)
{
    QStringList result;
    for (int i = 0; i < after.size(); ++i) {
        if (after.at(i) != before.at(i))
            result.append(after.at(i));
    }
    return result;
}

const char *addressOf(const void *field)
{
    return static_cast<const char *>(field);
}

} // namespace

void TestKxLog::declaresTwoSlotsAndNothingElse()
{
    const QMetaObject &meta = KxLog::staticMetaObject;
    QCOMPARE(QByteArray(meta.className()), QByteArrayLiteral("KxLog"));
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 0);
    QCOMPARE(meta.enumeratorCount() - meta.enumeratorOffset(), 0);
    QCOMPARE(meta.classInfoCount() - meta.classInfoOffset(), 0);
    QCOMPARE(meta.constructorCount(), 0);

    const QMetaMethod first = meta.method(meta.methodOffset());
    QCOMPARE(first.methodType(), QMetaMethod::Slot);
    QCOMPARE(first.methodSignature(), QByteArrayLiteral("onReportFinished()"));
    const QMetaMethod second = meta.method(meta.methodOffset() + 1);
    QCOMPARE(second.methodType(), QMetaMethod::Slot);
    QCOMPARE(second.methodSignature(), QByteArrayLiteral("onLog()"));
}

void TestKxLog::hasItsFieldsInOrder()
{
    QVERIFY((std::is_same<decltype(OpenKxLog::logFile), QFile *>::value));
    QVERIFY((std::is_same<decltype(OpenKxLog::mutex), QMutex>::value));
    QVERIFY((std::is_same<decltype(OpenKxLog::logRole), int>::value && sizeof(int) == 4));
    QVERIFY((std::is_same<decltype(OpenKxLog::elapsedTimer), QElapsedTimer>::value));
    QVERIFY((std::is_same<decltype(OpenKxLog::serversSet), bool>::value));
    QVERIFY((std::is_same<decltype(OpenKxLog::showLog), bool>::value));
    QVERIFY((std::is_same<decltype(OpenKxLog::reporting), bool>::value));

    const OpenKxLog log;
    const QList<const char *> fields = {
        addressOf(&log.logFileName),     addressOf(&log.logFile),       addressOf(&log.mutex),
        addressOf(&log.logPath),         addressOf(&log.serversSet),    addressOf(&log.appKey),
        addressOf(&log.roomId),          addressOf(&log.userId),        addressOf(&log.logUserId),
        addressOf(&log.logRole),         addressOf(&log.userName),      addressOf(&log.signalServerInfo),
        addressOf(&log.mediaServerInfo), addressOf(&log.clientVersion), addressOf(&log.systemInfo),
        addressOf(&log.elapsedTimer),    addressOf(&log.showLog),       addressOf(&log.reporting),
        addressOf(&log.clientName),      addressOf(&log.hardwareInfo)};
    for (int i = 1; i < fields.size(); ++i)
        QVERIFY2(fields.at(i - 1) < fields.at(i), qPrintable(QString::number(i)));
    // No further field, and none before the first.
    QCOMPARE(fields.first() - addressOf(&log), static_cast<std::ptrdiff_t>(sizeof(QObject)));
    QCOMPARE(fields.last() - addressOf(&log), static_cast<std::ptrdiff_t>(sizeof(KxLog) - sizeof(QString)));
}

void TestKxLog::startsEmpty()
{
    OpenKxLog log;
    QCOMPARE(
        fieldsOf(log),
        QStringList({QStringLiteral("logFileName="), QStringLiteral("logPath="), QStringLiteral("serversSet=false"),
                     QStringLiteral("appKey="), QStringLiteral("roomId="), QStringLiteral("userId="),
                     QStringLiteral("logUserId="), QStringLiteral("logRole=-1"), QStringLiteral("userName="),
                     QStringLiteral("signalServerInfo="), QStringLiteral("mediaServerInfo="),
                     QStringLiteral("clientVersion="), QStringLiteral("systemInfo=") + log.getSystemInfo(),
                     QStringLiteral("showLog=false"), QStringLiteral("reporting=false"), QStringLiteral("clientName="),
                     QStringLiteral("hardwareInfo={\"cpu\":\"\",\"mem\":{},\"net\":[]}")}));
    QVERIFY(log.logFile == nullptr);
    QVERIFY(log.elapsedTimer.isValid());
    QCOMPARE(log.fileName(), QString());
    QCOMPARE(log.getPath(), QString());
    QVERIFY(!log.isSetServers());

    // The mutex is free, and not a recursive one.
    QVERIFY(log.mutex.tryLock());
    QVERIFY(!log.mutex.tryLock());
    log.mutex.unlock();
}

void TestKxLog::describesTheMachine()
{
    OpenKxLog log;
    QCOMPARE(log.systemInfo, KxSysInfo::getSysVersion());
    QCOMPARE(log.hardwareInfo, QString::fromUtf8(KxSysInfo::getHardWareJsonData()));
}

void TestKxLog::instanceIsOneObjectWithoutParent()
{
    KxLog *const log = KxLog::instance();
    QVERIFY(log != nullptr);
    QCOMPARE(KxLog::instance(), log);
    QVERIFY(log->parent() == nullptr);
}

void TestKxLog::takesAParent()
{
    QObject parent;
    const auto *const log = new KxLog(&parent);
    QCOMPARE(log->parent(), &parent);
    QVERIFY(KxLog::instance() != log);
}

void TestKxLog::settersSetTheirFields_data()
{
    QTest::addColumn<Action>("set");
    QTest::addColumn<QStringList>("changed");

    const auto row = [](const char *name, const Action &set, const QStringList &changed) {
        QTest::newRow(name) << set << changed;
    };
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    const QString c = QStringLiteral("c");
    row("setShowLog", [](KxLog &log) { log.setShowLog(true); }, {QStringLiteral("showLog=true")});
    row("setShowLog off again",
        [](KxLog &log) {
            log.setShowLog(true);
            log.setShowLog(false);
        },
        {});
    row("startReport", [](KxLog &log) { log.startReport(); }, {QStringLiteral("reporting=true")});
    row("stopReport",
        [](KxLog &log) {
            log.startReport();
            log.stopReport();
        },
        {});
    row("setClientName", [=](KxLog &log) { log.setClientName(a); }, {QStringLiteral("clientName=a")});
    row("setClientVersion", [=](KxLog &log) { log.setClientVersion(a); }, {QStringLiteral("clientVersion=a")});
    row("setRoomId", [=](KxLog &log) { log.setRoomId(a); }, {QStringLiteral("roomId=a")});
    row("setUserId", [=](KxLog &log) { log.setUserId(a); }, {QStringLiteral("userId=a")});
    row("setRoomInfo", [=](KxLog &log) { log.setRoomInfo(a, b, c); },
        {QStringLiteral("appKey=a"), QStringLiteral("roomId=b"), QStringLiteral("userId=c")});
    row("setSignalServerInfo", [=](KxLog &log) { log.setSignalServerInfo(a); }, {QStringLiteral("signalServerInfo=a")});
    row("setMediaServerInfo", [=](KxLog &log) { log.setMediaServerInfo(a); }, {QStringLiteral("mediaServerInfo=a")});
    row("setUserName", [=](KxLog &log) { log.setUserName(a); }, {QStringLiteral("userName=a")});
    row("setLogInfo", [=](KxLog &log) { log.setLogInfo(a, b, 3); },
        {QStringLiteral("roomId=a"), QStringLiteral("logUserId=b"), QStringLiteral("logRole=3")});
    row("setLogServers", [=](KxLog &log) { log.setLogServers({a, 1}); }, {});
}

void TestKxLog::settersSetTheirFields()
{
    QFETCH(Action, set);
    QFETCH(QStringList, changed);
    OpenKxLog log;
    const QStringList before = fieldsOf(log);
    set(log);
    QCOMPARE(changes(before, fieldsOf(log)), changed);
}

void TestKxLog::laterSettersOfTheRoomWin()
{
    OpenKxLog log;
    log.setRoomId(QStringLiteral("x"));
    log.setLogInfo(QStringLiteral("a"), QStringLiteral("b"), 3);
    QCOMPARE(log.roomId, QStringLiteral("a"));
    log.setRoomInfo(QStringLiteral("k"), QStringLiteral("r"), QStringLiteral("u"));
    QCOMPARE(log.roomId, QStringLiteral("r"));
    QCOMPARE(log.logUserId, QStringLiteral("b"));
    log.setRoomId(QStringLiteral("y"));
    QCOMPARE(log.roomId, QStringLiteral("y"));
}

void TestKxLog::removesEveryUpperCaseVFromTheVersion_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("stored");

    QTest::newRow("in front") << QStringLiteral("V1.0.0") << QStringLiteral("1.0.0");
    QTest::newRow("inside") << QStringLiteral("1.0V2") << QStringLiteral("1.02");
    QTest::newRow("several") << QStringLiteral("VV2V.3V") << QStringLiteral("2.3");
    QTest::newRow("alone") << QStringLiteral("V") << QString();
    QTest::newRow("lower case") << QStringLiteral("v2.3.1") << QStringLiteral("v2.3.1");
    QTest::newRow("both") << QStringLiteral("Vv1") << QStringLiteral("v1");
    QTest::newRow("none") << QStringLiteral("2.3.1") << QStringLiteral("2.3.1");
    QTest::newRow("empty") << QString() << QString();
}

void TestKxLog::removesEveryUpperCaseVFromTheVersion()
{
    QFETCH(QString, version);
    QFETCH(QString, stored);
    OpenKxLog log;
    log.setClientVersion(QStringLiteral("9"));
    log.setClientVersion(version);
    QCOMPARE(log.clientVersion, stored);
}

void TestKxLog::initReportLogDataEmptiesTheIdentity()
{
    OpenKxLog log;
    const QStringList fresh = fieldsOf(log);
    const QString a = QStringLiteral("a");
    log.setRoomInfo(a, a, a);
    log.setSignalServerInfo(a);
    log.setMediaServerInfo(a);
    log.setLogInfo(a, a, 1);
    log.setUserName(a);
    log.setClientName(a);
    log.setClientVersion(a);
    log.setShowLog(true);
    log.startReport();

    log.initReportLogData();
    QCOMPARE(changes(fresh, fieldsOf(log)),
             QStringList({QStringLiteral("logUserId=a"), QStringLiteral("logRole=1"), QStringLiteral("userName=a"),
                          QStringLiteral("clientVersion=a"), QStringLiteral("showLog=true"),
                          QStringLiteral("reporting=true"), QStringLiteral("clientName=a")}));
}

void TestKxLog::ignoresLogServers()
{
    KxLog log;
    log.setLogServers({QStringLiteral("http://127.0.0.1"), QVariantMap()});
    QCOMPARE(log.isSetServers(), false);
    log.setLogServers({});
    QCOMPARE(log.isSetServers(), false);
}

void TestKxLog::makesManagersOfItsOwn()
{
    KxLog log;
    const QNetworkAccessManager *const first = log.getManager();
    const QNetworkAccessManager *const second = log.getManager();
    QVERIFY(first != second);
    QCOMPARE(first->parent(), &log);
    QCOMPARE(second->parent(), &log);
}

QTEST_GUILESS_MAIN(TestKxLog)
#include "tst_kxlog.moc"
