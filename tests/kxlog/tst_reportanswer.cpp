#include "logsession.h"
#include "reports.h"
#include "support/process/messagecatcher.h"
#include "support/server/scriptedserver.h"
#include "withouttimes.h"

#include <QNetworkReply>
#include <QPointer>
#include <QTest>

/// What becomes of the answer to a report.
class TestReportAnswer : public QObject
{
    Q_OBJECT

private slots:
    void logsTheAnswer_data();
    void logsTheAnswer();
    void releasesManagerAndReply();
    void reportsAnAnswerThatIsAReportMessage();
    void onlyWritesSuchAnAnswerWhenReportingIsOff();
    void ignoresOtherSenders_data();
    void ignoresOtherSenders();
    void deletesAReplyWithItsManager();
};

namespace {

/// The message that \a log logs when its one report is done, checked for where it says it comes from.
QString answerText(const KxLog &log, const MessageCatcher &catcher)
{
    if (!waitForNoManagers(log))
        return QStringLiteral("not done");
    const QList<CaughtMessage> messages = catcher.messages();
    if (messages.size() != 1)
        return QStringLiteral("not one message");
    const CaughtMessage &message = messages.constFirst();
    if (message.type != QtDebugMsg || message.file != "KxLogReport/kxlog/kxlog" || message.line != 462 ||
        message.function != "void KxLog::onReportFinished()" || message.category != "default")
        return QStringLiteral("from another place");
    return message.text;
}

} // namespace

Q_DECLARE_METATYPE(Reply)

void TestReportAnswer::logsTheAnswer_data()
{
    QTest::addColumn<Reply>("reply");
    QTest::addColumn<QString>("text");

    QTest::newRow("json") << Reply::json() << QStringLiteral("data: \"{\\\"Code\\\":0}\"");
    QTest::newRow("other bytes") << Reply::http(200, "a\n\xC3\xB6") << QStringLiteral("data: \"a\\n\\xC3\\xB6\"");
    QTest::newRow("large") << Reply::http(200, QByteArray(300000, 'x'))
                           << QStringLiteral("data: \"") + QString(300000, QLatin1Char('x')) + QLatin1Char('"');
    QTest::newRow("server error") << Reply::http(500, "oops") << QStringLiteral("data: \"oops\"");
    QTest::newRow("redirect") << Reply::http(302, "moved", {{"Location", "/elsewhere"}})
                              << QStringLiteral("data: \"moved\"");
    QTest::newRow("reset") << Reply::resetAfterBody() << QStringLiteral("data: \"\"");
}

void TestReportAnswer::logsTheAnswer()
{
    QFETCH(Reply, reply);
    QFETCH(QString, text);
    const MessageCatcher catcher;
    const ScriptedServer server(kReportPort, {}, reply);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    KxLog log;
    log.startReport();
    report(log, QStringLiteral("kx_log"));
    QCOMPARE(answerText(log, catcher), text);
    QCOMPARE(server.distinctRequests().size(), 1);
}

void TestReportAnswer::releasesManagerAndReply()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    KxLog log;
    log.startReport();
    report(log, QStringLiteral("kx_log"));
    const QPointer<QNetworkAccessManager> manager = log.findChild<QNetworkAccessManager *>();
    QVERIFY(manager);
    QCOMPARE(manager->parent(), &log);
    const QPointer<QNetworkReply> reply = manager->findChild<QNetworkReply *>();
    QVERIFY(reply);
    QVERIFY(waitFor([&] { return !manager && !reply; }));
    QVERIFY(log.children().isEmpty());
}

void TestReportAnswer::reportsAnAnswerThatIsAReportMessage()
{
    const ScriptedServer server(kReportPort, {Reply::http(200, "kx_log\n$$1$$@@3@@")});
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    const LogSession session;
    KxLog *const log = KxLog::instance();
    log->startReport();
    QMessageLogger("f", 1, "g").warning("kx_log lost");
    QVERIFY(server.waitForRequests(2));
    QVERIFY(waitForNoManagers(*log));

    const QList<RecordedRequest> requests = server.requests();
    QCOMPARE(requests.size(), 2);
    QVERIFY(requests.at(0).body.contains("\"Level\": 4,"));
    QVERIFY(requests.at(1).body.contains("\"Level\": 2,"));
    QVERIFY(requests.at(1).body.contains("\"CDesc\": \"signal_client\","));
    QVERIFY(requests.at(1).body.contains("\"ReconnCnt\": 3,"));
    QVERIFY(requests.at(1).body.contains("\"LogData\": \"[KxLogReport/kxlog/kxlog][462]"
                                         "[void KxLog::onReportFinished()]data: \\\"count:3\\\"\","));
    const QByteArray place =
        QByteArrayLiteral("[time][Debug][KxLogReport/kxlog/kxlog][462][void KxLog::onReportFinished()]");
    QCOMPARE(withoutTimes(session.bytes()), "[time][Warning][f][1][g]kx_client   kx_error   lost\r\n\n" + place +
                                                "signal_client   signal_reconnect  data: \"count:3\"\r\n\n" + place +
                                                "data: \"{\\\"Code\\\":0}\"\r\n\n");
}

void TestReportAnswer::onlyWritesSuchAnAnswerWhenReportingIsOff()
{
    const ScriptedServer server(kReportPort, {Reply::http(200, "kx_log$$2$$@@1@@")});
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    const LogSession session;
    KxLog *const log = KxLog::instance();
    log->startReport();
    QMessageLogger("f", 1, "g").warning("kx_log lost");
    log->stopReport();
    QVERIFY(waitForNoManagers(*log));
    QCOMPARE(server.requests().size(), 1);
    QCOMPARE(withoutTimes(session.bytes()),
             QByteArrayLiteral("[time][Warning][f][1][g]kx_client   kx_error   lost\r\n\n"
                               "[time][Debug][KxLogReport/kxlog/kxlog][462][void KxLog::onReportFinished()]"
                               "media_client   media_reconnect  data: \"count:1\"\r\n\n"));
}

void TestReportAnswer::ignoresOtherSenders_data()
{
    QTest::addColumn<QByteArray>("slot");
    QTest::newRow("onReportFinished") << QByteArrayLiteral("onReportFinished");
    QTest::newRow("onLog") << QByteArrayLiteral("onLog");
}

void TestReportAnswer::ignoresOtherSenders()
{
    QFETCH(QByteArray, slot);
    const MessageCatcher catcher;
    KxLog log;
    QVERIFY(QMetaObject::invokeMethod(&log, slot.constData(), Qt::DirectConnection));

    QPointer<QObject> sender = new QObject(&log);
    QVERIFY(connect(sender, SIGNAL(objectNameChanged(QString)), &log, "1" + slot + "()"));
    sender->setObjectName(QStringLiteral("no reply"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(sender);
    QCOMPARE(catcher.texts(), QStringList());
}

void TestReportAnswer::deletesAReplyWithItsManager()
{
    const MessageCatcher quiet;
    KxLog log;
    const QPointer<QNetworkAccessManager> manager = log.getManager();
    const QPointer<QNetworkReply> reply = manager->get(log.generateRequest(QStringLiteral(":21999/")));
    log.deleteReply(reply);
    // Only once the event loop has its turn.
    QVERIFY(manager);
    QVERIFY(reply);
    QVERIFY(waitFor([&] { return !manager && !reply; }));
}

QTEST_GUILESS_MAIN(TestReportAnswer)
#include "tst_reportanswer.moc"
