#include "openkxlog.h"
#include "reports.h"
#include "support/process/messagecatcher.h"
#include "support/server/scriptedserver.h"

#include <QTest>
#include <climits>
#include <functional>

/// The document that a report message puts on the wire.
class TestRemoteReport : public QObject
{
    Q_OBJECT

private slots:
    void postsTheDocument_data();
    void postsTheDocument();
    void postsTheArgumentsInOrder();
    void forgetsTheIdentity();
};

namespace {

/// What the rows of postsTheDocument() differ in.
struct Expected
{
    int level = 2;
    int clientType = 0;
    QString description = QStringLiteral("kx_client");
    QString title = QStringLiteral("kx_error");
    QString data;
    QString server;
    int up = 0;
    int down = 0;
    int count = 0;

    QByteArray document(qint64 elapsedSeconds) const
    {
        return QStringLiteral("{\n"
                              "    \"AppKey\": \"key\",\n"
                              "    \"CDesc\": \"%1\",\n"
                              "    \"CIP\": \"0\",\n"
                              "    \"CType\": %2,\n"
                              "    \"CVer\": \"2.3.1\",\n"
                              "    \"Device\": \"{\\\"cpu\\\":\\\"\\\",\\\"mem\\\":{},\\\"net\\\":[]}\",\n"
                              "    \"ElapsedTime\": %3,\n"
                              "    \"Level\": %4,\n")
                   .arg(description)
                   .arg(clientType)
                   .arg(elapsedSeconds)
                   .arg(level)
                   .toUtf8() +
               QStringLiteral("    \"LogData\": \"%1\",\n"
                              "    \"LogTitle\": \"%2\",\n"
                              "    \"OS\": \"mac\",\n"
                              "    \"ProdDesc\": \"KxClient\",\n"
                              "    \"ReconnCnt\": %3,\n"
                              "    \"RoomId\": \"room\",\n"
                              "    \"SVer\": \"v1.0.0\",\n"
                              "    \"Server\": \"%4\",\n"
                              "    \"Timestamp\": 0,\n"
                              "    \"Trigger\": 2,\n"
                              "    \"UserSid\": \"user\",\n"
                              "    \"VDownload\": %5,\n"
                              "    \"VUpload\": %6\n"
                              "}\n")
                   .arg(data, title, QString::number(count), server, QString::number(down), QString::number(up))
                   .toUtf8();
    }
};

void introduce(KxLog &log)
{
    log.setRoomInfo(QStringLiteral("key"), QStringLiteral("room"), QStringLiteral("user"));
    log.setSignalServerInfo(QStringLiteral("signal server"));
    log.setMediaServerInfo(QStringLiteral("media server"));
    log.setClientVersion(QStringLiteral("V2.3.1"));
    log.setClientName(QStringLiteral("KxClient"));
    log.setLogInfo(QStringLiteral("room"), QStringLiteral("not this user"), 3);
    log.setUserName(QStringLiteral("not this name"));
}

} // namespace

Q_DECLARE_METATYPE(Expected)

void TestRemoteReport::postsTheDocument_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("type");
    QTest::addColumn<Expected>("expected");

    const auto row = [](const char *name, const char *message, QtMsgType type,
                        const std::function<void(Expected &)> &change) {
        Expected expected;
        change(expected);
        QTest::newRow(name) << QString::fromUtf8(message) << static_cast<int>(type) << expected;
    };
    row("warning", "kx_log lost", QtWarningMsg, [](Expected &e) {
        e.level = 4;
        e.data = QStringLiteral("[f][1][g] lost");
    });
    row("all fields", "kx_log net $#$120$#$ #$#64#$# $$1$$ @@2@@", QtDebugMsg, [](Expected &e) {
        e.clientType = 1;
        e.description = QStringLiteral("signal_client");
        e.title = QStringLiteral("signal_reconnect");
        e.data = QStringLiteral("[f][1][g] net upload speed:120KB/s download speed:64KB/s  count:2");
        e.server = QStringLiteral("signal server");
        e.up = 120;
        e.down = 64;
        e.count = 2;
    });
    row("negative fields", "kx_log$#$-1$#$ #$#-2#$# @@-3@@", QtDebugMsg, [](Expected &e) {
        e.data = QStringLiteral("[f][1][g]upload speed:-1KB/s download speed:-2KB/s count:-3");
        e.up = -1;
        e.down = -2;
        e.count = -3;
    });
    row("escapes, beyond ASCII", "kx_log \\\"größe\\n大小\\\"", QtDebugMsg,
        [](Expected &e) { e.data = QString::fromUtf8("[f][1][g] \\\"größe大小\\\""); });

    struct Client
    {
        const char *name;
        int lowByte;
        const char *description;
        const char *title;
        const char *server;
    };
    // All with a reconnect count of 1.
    const Client clients[] = {
        {"-1", 255, "", "", ""},
        {"2", 2, "media_client", "media_reconnect", "media server"},
        {"257", 1, "", "signal_reconnect", ""},
        {"258", 2, "", "media_reconnect", ""},
    };
    for (const Client &client : clients) {
        row(qPrintable(QStringLiteral("client type %1").arg(QLatin1String(client.name))),
            qPrintable(QStringLiteral("kx_log$$%1$$@@1@@").arg(QLatin1String(client.name))), QtDebugMsg,
            [&client](Expected &e) {
                e.clientType = client.lowByte;
                e.description = QLatin1String(client.description);
                e.title = QLatin1String(client.title);
                e.data = QStringLiteral("[f][1][g]count:1");
                e.server = QLatin1String(client.server);
                e.count = 1;
            });
    }
}

void TestRemoteReport::postsTheDocument()
{
    QFETCH(QString, message);
    QFETCH(int, type);
    QFETCH(Expected, expected);

    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    OpenKxLog log;
    // The table is that of any machine that is no old Mac.
    log.systemInfo = QStringLiteral("mac");
    introduce(log);
    log.startReport();
    const qint64 from = log.elapsedTimer.elapsed() / 1000;
    report(log, message, static_cast<QtMsgType>(type));
    const qint64 to = log.elapsedTimer.elapsed() / 1000;
    QVERIFY(server.waitForRequests(1));
    QVERIFY(waitForNoManagers(log));

    QCOMPARE(server.requests().size(), 1);
    const RecordedRequest request = server.requests().constFirst();
    QVERIFY2(request.problem.isEmpty() && request.bodyComplete, qPrintable(request.problem));
    QCOMPARE(request.method, QByteArrayLiteral("POST"));
    QCOMPARE(request.path, QByteArrayLiteral("/log"));
    QCOMPARE(request.countHeader("content-type"), 1);
    QCOMPARE(request.header("content-type"), QByteArrayLiteral("application/json"));
    QByteArray document = expected.document(from);
    if (request.body != document && to != from)
        document = expected.document(to);
    QCOMPARE(QString::fromUtf8(request.body), QString::fromUtf8(document));
}

void TestRemoteReport::postsTheArgumentsInOrder()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    OpenKxLog log;
    introduce(log);
    const auto text = [](const char *value) { return QString::fromLatin1(value); };
    // Reporting is off, which only matters to whoever calls.
    log.reportHttpLog(201, 202, 203, text("s4"), text("s5"), text("s6"), text("s7"), text("s8"), text("s9"),
                      text("s10"), text("s11"), text("s12"), text("s13"), text("s14"), text("s15"), INT_MAX, INT_MIN,
                      18, 19, 20);
    QVERIFY(server.waitForRequests(1));
    QVERIFY(waitForNoManagers(log));
    QCOMPARE(server.requests().constFirst().body, QByteArrayLiteral("{\n"
                                                                    "    \"AppKey\": \"s4\",\n"
                                                                    "    \"CDesc\": \"s6\",\n"
                                                                    "    \"CIP\": \"s15\",\n"
                                                                    "    \"CType\": 202,\n"
                                                                    "    \"CVer\": \"s9\",\n"
                                                                    "    \"Device\": \"s7\",\n"
                                                                    "    \"ElapsedTime\": 20,\n"
                                                                    "    \"Level\": 201,\n"
                                                                    "    \"LogData\": \"s13\",\n"
                                                                    "    \"LogTitle\": \"s12\",\n"
                                                                    "    \"OS\": \"s10\",\n"
                                                                    "    \"ProdDesc\": \"KxClient\",\n"
                                                                    "    \"ReconnCnt\": 18,\n"
                                                                    "    \"RoomId\": \"s5\",\n"
                                                                    "    \"SVer\": \"s8\",\n"
                                                                    "    \"Server\": \"s14\",\n"
                                                                    "    \"Timestamp\": 19,\n"
                                                                    "    \"Trigger\": 203,\n"
                                                                    "    \"UserSid\": \"s11\",\n"
                                                                    "    \"VDownload\": -2147483648,\n"
                                                                    "    \"VUpload\": 2147483647\n"
                                                                    "}\n"));
}

void TestRemoteReport::forgetsTheIdentity()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    OpenKxLog log;
    introduce(log);
    log.initReportLogData();
    log.startReport();
    report(log, QStringLiteral("kx_log$$1$$@@1@@"));
    report(log, QStringLiteral("kx_log$$2$$@@1@@"));
    QVERIFY(server.waitForRequests(2));
    QVERIFY(waitForNoManagers(log));
    for (const QByteArray &body : server.distinctBodies()) {
        for (const char *key : {"AppKey", "RoomId", "UserSid", "Server"})
            QVERIFY2(body.contains("\"" + QByteArray(key) + "\": \"\""), body.constData());
        QVERIFY2(body.contains("\"ProdDesc\": \"KxClient\""), body.constData());
        QVERIFY2(body.contains("\"CVer\": \"2.3.1\""), body.constData());
    }
}

QTEST_GUILESS_MAIN(TestRemoteReport)
#include "tst_remotereport.moc"
