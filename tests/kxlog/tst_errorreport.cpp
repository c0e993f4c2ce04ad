#include "kxendpoints.h"
#include "logsession.h"
#include "openkxlog.h"
#include "postspy.h"
#include "reports.h"
#include "support/process/messagecatcher.h"
#include "support/server/scriptedserver.h"
#include "withouttimes.h"

#include <QTest>
#include <limits>

/// The record of an error report, and the request that is made for it.
class TestErrorReport : public QObject
{
    Q_OBJECT

private slots:
    void logsACriticalReportMessage_data();
    void logsACriticalReportMessage();
    void writesItsRecord();
    void postsTheDocument_data();
    void postsTheDocument();
    void postsTheArgumentsOfLogError();
    void takesTheRoomFromAnySetter_data();
    void takesTheRoomFromAnySetter();
    void keepsTheWholeType();
    void addressesTheGateway();
    void leavesNothingBehind();
    void reportsWhileReportingIsOn();
    void deletesTheReplyOfAFinishedRequest();
};

namespace {

using Action = std::function<void(KxLog &)>;

QString gatewayUrl()
{
    return QLatin1String(kxendpoints::kErrorGatewayUrl) + QStringLiteral("/logsys/client/v1/error/report");
}

} // namespace

Q_DECLARE_METATYPE(Action)

void TestErrorReport::logsACriticalReportMessage_data()
{
    QTest::addColumn<qint64>("type");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("text");

    QTest::newRow("large") << std::numeric_limits<qint64>::max() << QStringLiteral("lost")
                           << QStringLiteral("kx_log 9223372036854775807 \"lost\"");
    QTest::newRow("to be escaped") << Q_INT64_C(1) << QString::fromUtf8("ä \"大\"\nc\\d")
                                   << QString::fromUtf8("kx_log 1 \"ä \\\"大\\\"\\nc\\\\d\"");
}

void TestErrorReport::logsACriticalReportMessage()
{
    QFETCH(qint64, type);
    QFETCH(QString, message);
    QFETCH(QString, text);
    const MessageCatcher catcher;
    KxLog log;
    log.kavriErrorLog(static_cast<long>(type), message);

    QCOMPARE(catcher.texts(), QStringList(text));
    const CaughtMessage caught = catcher.messages().constFirst();
    QCOMPARE(caught.type, QtCriticalMsg);
    QCOMPARE(caught.file, QByteArrayLiteral("KxLogReport/kxlog/kxlog"));
    QCOMPARE(caught.line, 340);
    QCOMPARE(caught.function, QByteArrayLiteral("void KxLog::kavriErrorLog(long, const QString &)"));
    QCOMPARE(caught.category, QByteArrayLiteral("default"));
}

void TestErrorReport::writesItsRecord()
{
    const LogSession session;
    KxLog::instance()->kavriErrorLog(7, QStringLiteral("a \"b\"\nc\\d"));
    QCOMPARE(withoutTimes(session.bytes()), QByteArrayLiteral("[time][Critical][KxLogReport/kxlog/kxlog][340]"
                                                              "[void KxLog::kavriErrorLog(long, const QString &)]"
                                                              "kx_client   kx_error   7 \"a \"b\"cd\"\r\n\n"));
}

void TestErrorReport::postsTheDocument_data()
{
    QTest::addColumn<Action>("introduce");
    QTest::addColumn<QByteArray>("middle");
    QTest::addColumn<QByteArray>("end");

    QTest::newRow("nothing known") << Action([](KxLog &) {}) << QByteArray() << QByteArray();
    QTest::newRow("everything known") << Action([](KxLog &log) {
        log.setLogInfo(QStringLiteral("room"), QStringLiteral("user"), 0);
        log.setUserName(QStringLiteral("name"));
    }) << QByteArrayLiteral("    \"role\": 0,\n    \"room_sdk_id\": \"room\",\n")
                                      << QByteArrayLiteral(",\n    \"user_id\": \"user\",\n    \"username\": \"name\"");
    QTest::newRow("what only reports use") << Action([](KxLog &log) {
        log.setUserId(QStringLiteral("not this user"));
        log.setClientName(QStringLiteral("not this name"));
    }) << QByteArray() << QByteArray();
}

void TestErrorReport::postsTheDocument()
{
    QFETCH(Action, introduce);
    QFETCH(QByteArray, middle);
    QFETCH(QByteArray, end);
    const MessageCatcher quiet;
    PostSpy spy;
    KxLog log;
    introduce(log);
    log.kavriErrorLog(7, QString::fromUtf8("größe \"1\""));

    QCOMPARE(spy.posted.size(), 1);
    QCOMPARE(spy.posted.constFirst().body, "{\n"
                                           "    \"message\": \"größe \\\"1\\\"\",\n"
                                           "    \"namespace\": \"kavri\",\n" +
                                               middle +
                                               "    \"sdk\": \"5\",\n"
                                               "    \"type\": 7" +
                                               end + "\n}\n");
}

void TestErrorReport::postsTheArgumentsOfLogError()
{
    PostSpy spy;
    KxLog log;
    log.setLogInfo(QStringLiteral("not this room"), QStringLiteral("not this user"), 9);
    log.setUserName(QStringLiteral("name"));
    log.logError(QStringLiteral("room"), QStringLiteral("user"), 2, QStringLiteral("text"), -5);
    QCOMPARE(spy.posted.size(), 1);
    QCOMPARE(spy.posted.constFirst().body, QByteArrayLiteral("{\n"
                                                             "    \"message\": \"text\",\n"
                                                             "    \"namespace\": \"kavri\",\n"
                                                             "    \"role\": 2,\n"
                                                             "    \"room_sdk_id\": \"room\",\n"
                                                             "    \"sdk\": \"5\",\n"
                                                             "    \"type\": -5,\n"
                                                             "    \"user_id\": \"user\",\n"
                                                             "    \"username\": \"name\"\n"
                                                             "}\n"));
}

void TestErrorReport::takesTheRoomFromAnySetter_data()
{
    QTest::addColumn<Action>("set");
    const QString room = QStringLiteral("room");
    QTest::newRow("setRoomId") << Action([=](KxLog &log) { log.setRoomId(room); });
    QTest::newRow("setRoomInfo") << Action([=](KxLog &log) { log.setRoomInfo(QString(), room, QString()); });
    QTest::newRow("setLogInfo") << Action([=](KxLog &log) { log.setLogInfo(room, QString(), -1); });
}

void TestErrorReport::takesTheRoomFromAnySetter()
{
    QFETCH(Action, set);
    const MessageCatcher quiet;
    PostSpy spy;
    KxLog log;
    set(log);
    log.kavriErrorLog(1, QStringLiteral("m"));
    QCOMPARE(spy.posted.size(), 1);
    QCOMPARE(spy.posted.constFirst().body, QByteArrayLiteral("{\n"
                                                             "    \"message\": \"m\",\n"
                                                             "    \"namespace\": \"kavri\",\n"
                                                             "    \"room_sdk_id\": \"room\",\n"
                                                             "    \"sdk\": \"5\",\n"
                                                             "    \"type\": 1\n"
                                                             "}\n"));
}

void TestErrorReport::keepsTheWholeType()
{
    const MessageCatcher quiet;
    PostSpy spy;
    KxLog log;
    // Rounded when it passes through a double.
    const long type = std::numeric_limits<long>::max() - 1;
    log.kavriErrorLog(type, QString());
    QCOMPARE(spy.posted.size(), 1);
    const QByteArray body = spy.posted.constFirst().body;
    QVERIFY2(body.endsWith("\n    \"type\": " + QByteArray::number(qlonglong(type)) + "\n}\n"), body.constData());
}

void TestErrorReport::addressesTheGateway()
{
    const MessageCatcher quiet;
    PostSpy spy;
    KxLog log;
    log.kavriErrorLog(1, QString());
    QCOMPARE(spy.posted.size(), 1);
    const QNetworkRequest request = spy.posted.constFirst().request;
    QCOMPARE(request.url().toString(), gatewayUrl());
    QCOMPARE(request.header(QNetworkRequest::ContentTypeHeader).toString(), QStringLiteral("application/json"));
    QCOMPARE(request.rawHeaderList().size(), 1);
    QCOMPARE(log.generateNewRequest(QStringLiteral("/a b%")).url().path(QUrl::FullyEncoded),
             QStringLiteral("/a%20b%25"));
}

void TestErrorReport::leavesNothingBehind()
{
    const MessageCatcher catcher;
    PostSpy spy;
    KxLog log;
    log.kavriErrorLog(1, QString());
    QCOMPARE(spy.posted.size(), 1);
    const Posted posted = spy.posted.constFirst();
    QVERIFY(posted.managersParent == nullptr);
    // Gone with the call, not with a later turn of the event loop.
    QVERIFY(!posted.manager);
    QVERIFY(!posted.reply);
    QVERIFY(log.children().isEmpty());
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(catcher.messages().size(), 1);
}

void TestErrorReport::reportsWhileReportingIsOn()
{
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    const LogSession session;
    PostSpy spy;
    KxLog *const log = KxLog::instance();
    log->startReport();
    log->kavriErrorLog(7, QStringLiteral("lost"));
    QVERIFY(server.waitForRequests(1));
    QVERIFY(waitForNoManagers(*log));

    // The message comes first, and its report with it.
    QCOMPARE(spy.posted.size(), 2);
    QCOMPARE(spy.posted.at(0).request.url().port(), static_cast<int>(kReportPort));
    QCOMPARE(spy.posted.at(1).request.url().toString(), gatewayUrl());
    QCOMPARE(server.requests().size(), 1);
    const QByteArray body = server.requests().constFirst().body;
    QCOMPARE(body, spy.posted.at(0).body);
    for (const char *member :
         {"\"Level\": 5,", "\"CType\": 0,", "\"CDesc\": \"kx_client\",", "\"LogTitle\": \"kx_error\",",
          "\"ReconnCnt\": 0,",
          "\"LogData\": \"[KxLogReport/kxlog/kxlog][340][void KxLog::kavriErrorLog(long, const QString &)] 7 "
          "\\\"lost\\\"\","})
        QVERIFY2(body.contains(member), body.constData());
}

void TestErrorReport::deletesTheReplyOfAFinishedRequest()
{
    const MessageCatcher catcher;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    KxLog log;
    QNetworkAccessManager *const manager = log.getManager();
    const QPointer<QNetworkReply> reply = manager->get(QNetworkRequest(server.url()));
    QVERIFY(connect(reply, SIGNAL(finished()), &log, SLOT(onLog())));
    QVERIFY(waitFor([&] { return !reply; }));
    QCOMPARE(log.findChildren<QNetworkAccessManager *>(), QList<QNetworkAccessManager *>({manager}));
    QCOMPARE(catcher.texts(), QStringList());
}

QTEST_GUILESS_MAIN(TestErrorReport)
#include "tst_errorreport.moc"
