#include "kxendpoints.h"
#include "kxlog/kxlog.h"
#include "support/process/messagecatcher.h"
#include "support/process/waitfor.h"
#include "support/server/scriptedserver.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QScopedPointer>
#include <QTest>

/// What a gateway may see of error reports. That it sees anything is not promised: the request ends with the call.
class TestErrorReportWire : public QObject
{
    Q_OBJECT

private slots:
    void knowsRightAndWrongRequests_data();
    void knowsRightAndWrongRequests();
    void neverShowsAWrongRequest();
};

namespace {

quint16 gatewayPort()
{
    return static_cast<quint16>(QUrl(QLatin1String(kxendpoints::kErrorGatewayUrl)).port(80));
}

const QByteArray kHead = QByteArrayLiteral("POST /logsys/client/v1/error/report HTTP/1.1\r\n");
const QByteArray kDocument = QByteArrayLiteral("{\n"
                                               "    \"message\": \"lost\",\n"
                                               "    \"namespace\": \"kavri\",\n"
                                               "    \"sdk\": \"5\",\n"
                                               "    \"type\": 7\n"
                                               "}\n");

/// What is wrong with a request of which any part may be missing at its end; empty when nothing is.
QString fault(const RecordedRequest &request)
{
    const QByteArray head = request.rawHead.left(kHead.size());
    if (head != kHead.left(head.size()))
        return QStringLiteral("other head: ") + QString::fromUtf8(request.rawHead);
    if (!request.problem.isEmpty())
        return request.rawHead.contains("\r\n\r\n") ? request.problem : QString();
    if (request.header("content-type") != "application/json")
        return QStringLiteral("other content type");
    if (request.contentLength != kDocument.size())
        return QStringLiteral("other length");
    if (request.body != kDocument.left(request.body.size()))
        return QStringLiteral("other body: ") + QString::fromUtf8(request.body);
    return QString();
}

/// Sends one request that is certain to arrive, and waits until the server has it. Returns false if it has not.
bool passThrough(const ScriptedServer &server)
{
    QNetworkAccessManager manager;
    const QScopedPointer<QNetworkReply> reply(manager.get(QNetworkRequest(server.url(QStringLiteral("/last")))));
    return waitFor([&] { return reply->isFinished(); }) && reply->error() == QNetworkReply::NoError;
}

} // namespace

void TestErrorReportWire::knowsRightAndWrongRequests_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("right");
    const QString path = QStringLiteral("/logsys/client/v1/error/report");
    QTest::newRow("right") << path << kDocument << true;
    QTest::newRow("other path") << QStringLiteral("/log") << kDocument << false;
    QTest::newRow("other document") << path << QByteArray(kDocument).replace("lost", "last") << false;
    QTest::newRow("shorter document") << path << kDocument.left(20) << false;
}

/// Shows that the next test could fail, with requests that live long enough to arrive.
void TestErrorReportWire::knowsRightAndWrongRequests()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, body);
    QFETCH(bool, right);
    const ScriptedServer server(gatewayPort());
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    KxLog log;
    log.getManager()->post(log.generateNewRequest(path), body);
    QVERIFY(server.waitForRequests(1));
    QVERIFY(server.requests().constFirst().bodyComplete);
    QCOMPARE(fault(server.requests().constFirst()).isEmpty(), right);
}

void TestErrorReportWire::neverShowsAWrongRequest()
{
    const ScriptedServer server(gatewayPort());
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    constexpr int kReports = 50;
    {
        const MessageCatcher catcher;
        KxLog log;
        for (int i = 0; i < kReports; ++i) {
            log.kavriErrorLog(7, QStringLiteral("lost"));
            QCoreApplication::processEvents();
        }
        QVERIFY(log.children().isEmpty());
        QVERIFY(passThrough(server));
        // Nothing but the messages of the calls themselves: no answer is read, no failure is told.
        QCOMPARE(catcher.messages().size(), kReports);
    }

    int reports = 0;
    int whole = 0;
    for (const RecordedRequest &request : server.requests()) {
        if (request.path == "/last")
            continue;
        QCOMPARE(fault(request), QString());
        ++reports;
        whole += request.bodyComplete ? 1 : 0;
    }
    QVERIFY(reports <= kReports);
    qInfo("of %d error reports the gateway saw %d, %d of them whole", kReports, reports, whole);
}

QTEST_GUILESS_MAIN(TestErrorReportWire)
#include "tst_errorreportwire.moc"
