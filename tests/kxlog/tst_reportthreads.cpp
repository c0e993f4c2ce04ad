#include "openkxlog.h"
#include "reports.h"
#include "support/files/fileio.h"
#include "support/process/messagecatcher.h"
#include "support/server/scriptedserver.h"

#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <thread>
#include <vector>

/// Report messages of other threads than that of the log object.
class TestReportThreads : public QObject
{
    Q_OBJECT

private slots:
    void sendsFromTheThreadOfTheObject();
    void sendsWhatTheClientIsWhenItIsSent();
    void sendsReportsOfManyThreads();
    void forgetsReportsOfAnObjectThatIsGone();
    void sendsNothingWhileReportingIsOff();
};

void TestReportThreads::sendsFromTheThreadOfTheObject()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    QTemporaryDir dir;
    OpenKxLog log;
    log.install_log(dir.path());
    log.startReport();
    std::thread([&log] { report(log, QStringLiteral("kx_log$$1$$ lost @@2@@"), QtCriticalMsg); }).join();
    // The record does not wait for the report.
    QCOMPARE(readFile(log.fileName()),
             QByteArrayLiteral("[time][Level][f][1][g]signal_client   signal_reconnect   lost count:2\r\n\n"));
    QVERIFY(log.findChildren<QNetworkAccessManager *>().isEmpty());

    QVERIFY(waitFor([&log] { return !log.findChildren<QNetworkAccessManager *>().isEmpty(); }));
    const auto managers = log.findChildren<QNetworkAccessManager *>();
    QCOMPARE(managers.size(), 1);
    QCOMPARE(managers.first()->thread(), QThread::currentThread());
    QVERIFY(server.waitForRequests(1));
    QVERIFY(waitForNoManagers(log));
    const QByteArray body = server.requests().constFirst().body;
    for (const char *member : {"\"Level\": 5,", "\"CType\": 1,", "\"CDesc\": \"signal_client\",",
                               "\"LogTitle\": \"signal_reconnect\",", "\"LogData\": \"[f][1][g] lost count:2\",",
                               "\"ReconnCnt\": 2,", "\"SVer\": \"v1.0.0\",", "\"CIP\": \"0\",", "\"Trigger\": 2,"})
        QVERIFY2(body.contains(member), body.constData());
}

void TestReportThreads::sendsWhatTheClientIsWhenItIsSent()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    OpenKxLog log;
    log.startReport();
    std::thread([&log] { report(log, QStringLiteral("kx_log$$2$$")); }).join();
    log.setRoomInfo(QStringLiteral("key"), QStringLiteral("room"), QStringLiteral("user"));
    log.setMediaServerInfo(QStringLiteral("media server"));
    log.setClientName(QStringLiteral("KxClient"));
    log.setClientVersion(QStringLiteral("2.3.1"));
    QVERIFY(server.waitForRequests(1));
    QVERIFY(waitForNoManagers(log));
    const QByteArray body = server.requests().constFirst().body;
    for (const char *member : {"\"AppKey\": \"key\",", "\"RoomId\": \"room\",", "\"UserSid\": \"user\",",
                               "\"Server\": \"media server\",", "\"ProdDesc\": \"KxClient\",", "\"CVer\": \"2.3.1\",",
                               "\"Device\": \"{\\\"cpu\\\":\\\"\\\",\\\"mem\\\":{},\\\"net\\\":[]}\","})
        QVERIFY2(body.contains(member), body.constData());
}

void TestReportThreads::sendsReportsOfManyThreads()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    OpenKxLog log;
    log.startReport();
    constexpr int kThreads = 4;
    constexpr int kReports = 5;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&log, thread] {
            for (int i = 0; i < kReports; ++i)
                report(log, QStringLiteral("kx_log thread %1 report %2").arg(thread).arg(i));
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QVERIFY(server.waitForRequests(kThreads * kReports));
    QVERIFY(waitForNoManagers(log));
    QCOMPARE(server.distinctBodies().size(), kThreads * kReports);
}

void TestReportThreads::forgetsReportsOfAnObjectThatIsGone()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    {
        OpenKxLog log;
        log.startReport();
        std::thread([&log] { report(log, QStringLiteral("kx_log")); }).join();
    }
    QCoreApplication::processEvents();
    QCOMPARE(server.connections(), 0);
}

void TestReportThreads::sendsNothingWhileReportingIsOff()
{
    const MessageCatcher quiet;
    OpenKxLog log;
    std::thread([&log] { report(log, QStringLiteral("kx_log")); }).join();
    QCoreApplication::processEvents();
    QVERIFY(log.findChildren<QNetworkAccessManager *>().isEmpty());
}

QTEST_GUILESS_MAIN(TestReportThreads)
#include "tst_reportthreads.moc"
