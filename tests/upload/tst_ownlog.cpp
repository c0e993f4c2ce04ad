#include "kxlog/kxlog.h"
#include "support/files/fileio.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTest>
#include <QTimer>

Q_DECLARE_METATYPE(Reply)
Q_DECLARE_METATYPE(RunEnd)

class TestOwnLog : public QObject
{
    Q_OBJECT

private slots:
    void sendsTheOwnLogByteForByte();
    void sendsAnEmptyOwnLog();
    void attachesOnlyTheFileToTheReply();
    void closesTheLogBeforeItIsSent();
    void pausesBeforeItSends();
    void processesEventsWhileItPauses();
    void endsTheProgramByTheAnswer_data();
    void endsTheProgramByTheAnswer();
    void quitsWhenTheLogCannotBeOpened_data();
    void quitsWhenTheLogCannotBeOpened();
    void quitsInTheEventLoopWhenTheLogCannotBeOpened();
    void logsNothingAboutTheAnswer_data();
    void logsNothingAboutTheAnswer();
    void changesNeitherTheConfigurationNorTheLog();
};

void TestOwnLog::sendsTheOwnLogByteForByte()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=\xC3\xA4nn\nuserId=42\nnamespace=sp\xC3\xA4"
                     "ce\nlogfiles=other.log\n"
                     "[room]\n9=talk\n7=lobby\n");
    KxLog::instance()->write_log(text("a record \xE4\xB8\xAD\r\n"));
    const QByteArray content = readFile(KxLog::instance()->fileName());
    QVERIFY(content.startsWith("a record"));

    QCOMPARE(scene.run([&] { scene.uploader.uploadLogs(); }), RunEnd::Quit);
    const QList<RecordedRequest> requests = scene.server.requests();
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.first().method, QByteArray("POST"));
    QCOMPARE(requests.first().path, kLogFilePath);
    QCOMPARE(requests.first().header("Content-Type"), formType());
    QCOMPARE(requests.first().body, logForm(text("nickname-\xC3\xA4nn.userid-42.roomid-7.roomname-lobby,"
                                                 "nickname-\xC3\xA4nn.userid-42.roomid-9.roomname-talk"),
                                            text("sp\xC3\xA4"
                                                 "ce"),
                                            scene.ownLogName(), content));
}

void TestOwnLog::sendsAnEmptyOwnLog()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    QCOMPARE(readFile(KxLog::instance()->fileName()).size(), 0);
    QCOMPARE(scene.run([&] { scene.uploader.uploadLogs(); }), RunEnd::Quit);
    QCOMPARE(scene.server.requests().size(), 1);
    QCOMPARE(scene.server.requests().first().body, logForm(QString(), QString(), scene.ownLogName(), QByteArray()));
}

void TestOwnLog::attachesOnlyTheFileToTheReply()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    QCOMPARE(scene.run([&] { scene.uploader.uploadLogs(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);
    const QNetworkReply *reply = scene.replyInFlight();
    QVERIFY(reply != nullptr);
    QCOMPARE(reply->dynamicPropertyNames(), QList<QByteArray>{"file"});
    QCOMPARE(reply->property("file").value<QFile *>()->fileName(), KxLog::instance()->fileName());
    QCOMPARE(reply->manager()->parent(), static_cast<QObject *>(&scene.uploader));
}

void TestOwnLog::closesTheLogBeforeItIsSent()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\n");
    scene.uploader.initIni();
    const QtMessageHandler before = qInstallMessageHandler(outputMessage);
    const RunEnd end = runApplication([&] {
        qDebug() << "before the pass";
        QTimer::singleShot(1, &scene.uploader, [] { qDebug() << "in the pause"; });
        scene.uploader.uploadLogs();
        qDebug() << "behind the pass";
    });
    qInstallMessageHandler(before);
    QCOMPARE(end, RunEnd::Quit);

    const QByteArray log = readFile(KxLog::instance()->fileName());
    QVERIFY(log.endsWith("before the pass\r\n\n"));
    QCOMPARE(log.count("]["), 4);
    QCOMPARE(scene.server.requests().first().body, logForm(text("nickname-ann."), QString(), scene.ownLogName(), log));
}

void TestOwnLog::pausesBeforeItSends()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    QElapsedTimer timer;
    timer.start();
    int early = 0;
    QTimer watch;
    connect(&watch, &QTimer::timeout, [&] { early += scene.uploader.findChildren<QNetworkReply *>().size(); });
    watch.start(20);
    scene.uploader.uploadLogs();
    watch.stop();
    QVERIFY2(timer.elapsed() >= 500, "returns behind the pause");
    QCOMPARE(early, 0);
    QCOMPARE(scene.uploader.findChildren<QNetworkReply *>().size(), 1);
}

void TestOwnLog::processesEventsWhileItPauses()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    bool timerFired = false;
    QTimer startedByQueuedCall;
    startedByQueuedCall.setInterval(60000);
    QTimer::singleShot(100, &scene.uploader, [&] { timerFired = true; });
    QMetaObject::invokeMethod(&startedByQueuedCall, "start", Qt::QueuedConnection);
    scene.uploader.uploadLogs();
    QVERIFY(timerFired);
    QVERIFY(startedByQueuedCall.isActive());
}

void TestOwnLog::endsTheProgramByTheAnswer_data()
{
    QTest::addColumn<Reply>("answer");
    QTest::addColumn<RunEnd>("end");
    const QByteArray json = QByteArrayLiteral("{\"Code\":0}");
    QTest::newRow("Code 0") << Reply::json(json) << RunEnd::Quit;
    QTest::newRow("Code 1") << Reply::json("{\"Code\":1}") << RunEnd::Quit;
    QTest::newRow("Code 5") << Reply::json("{\"Code\":5}") << RunEnd::Quit;
    QTest::newRow("no Code") << Reply::json("{}") << RunEnd::Quit;
    QTest::newRow("Code is a text") << Reply::json("{\"Code\":\"x\"}") << RunEnd::Quit;
    QTest::newRow("array") << Reply::json("[]") << RunEnd::Quit;
    QTest::newRow("words") << Reply::http(200, "OK") << RunEnd::Stopped;
    QTest::newRow("empty") << Reply::http(200, QByteArray()) << RunEnd::Stopped;
    QTest::newRow("truncated JSON") << Reply::http(200, "{\"Code\":0") << RunEnd::Stopped;
    QTest::newRow("redirect") << Reply::http(302, QByteArray(), {{"Location", "/elsewhere"}}) << RunEnd::Stopped;
    QTest::newRow("redirect with JSON") << Reply::http(302, json, {{"Location", "/elsewhere"}}) << RunEnd::Quit;
    QTest::newRow("404 with JSON") << Reply::http(404, json) << RunEnd::Quit;
    QTest::newRow("500 with words") << Reply::http(500, "OK") << RunEnd::Quit;
    QTest::newRow("reset on connect") << Reply::resetOnConnect() << RunEnd::Quit;
    QTest::newRow("reset after the body") << Reply::resetAfterBody() << RunEnd::Quit;
    QTest::newRow("close without answer") << Reply::closeAfterBody() << RunEnd::Quit;
    QTest::newRow("garbage") << Reply::garbage() << RunEnd::Quit;
    QTest::newRow("cut answer") << Reply::cutAnswer(json) << RunEnd::Quit;
}

void TestOwnLog::endsTheProgramByTheAnswer()
{
    QFETCH(const Reply, answer);
    UploadScene scene({}, answer);
    QVERIFY(scene.isValid());
    QTEST(scene.run([&] { scene.uploader.uploadLogs(); }, [&] { return scene.isIdle(); }), "end");
    QVERIFY(scene.isIdle() || scene.uploader.findChildren<QFile *>().size() == 1);
}

void TestOwnLog::quitsWhenTheLogCannotBeOpened_data()
{
    QTest::addColumn<bool>("directory");
    QTest::newRow("missing") << false;
    QTest::newRow("directory") << true;
}

void TestOwnLog::quitsWhenTheLogCannotBeOpened()
{
    QFETCH(const bool, directory);
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString log = KxLog::instance()->fileName();
    QVERIFY(QFile::remove(log));
    if (directory)
        QVERIFY(QDir().mkpath(log));
    // Before the event loop runs, as at the end of a run without a single upload.
    scene.uploader.uploadLogs();
    QCOMPARE(runApplication({}), RunEnd::Quit);
    QVERIFY(scene.uploader.findChildren<QFile *>().isEmpty());
    QVERIFY(scene.uploader.findChildren<QNetworkReply *>().isEmpty());
    QCOMPARE(scene.server.connections(), 0);
}

void TestOwnLog::quitsInTheEventLoopWhenTheLogCannotBeOpened()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    QVERIFY(QFile::remove(KxLog::instance()->fileName()));
    QCOMPARE(scene.run([&] { scene.uploader.uploadLogs(); }), RunEnd::Quit);
    QCOMPARE(scene.server.connections(), 0);
}

void TestOwnLog::logsNothingAboutTheAnswer_data()
{
    QTest::addColumn<Reply>("answer");
    QTest::newRow("accepted") << Reply::json();
    QTest::newRow("not JSON") << Reply::http(200, "OK");
    QTest::newRow("500") << Reply::http(500, "OK");
}

void TestOwnLog::logsNothingAboutTheAnswer()
{
    QFETCH(const Reply, answer);
    UploadScene scene({}, answer);
    QVERIFY(scene.isValid());
    QVERIFY(scene.run([&] { scene.uploader.uploadLogs(); }, [&] { return scene.isIdle(); }) != RunEnd::TimedOut);
    QCOMPARE(scene.server.requests().size(), 1);
    QCOMPARE(scene.messages->texts(), QStringList{text("\"\"")});
    QCOMPARE(scene.lines(), QStringList{text("getFileInfo: \"\"")});
}

void TestOwnLog::changesNeitherTheConfigurationNorTheLog()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QByteArray ini = "; as it is\n[system]\nnickname=ann\n[http_1]\npath=/x\n";
    uploadini::write(ini);
    KxLog::instance()->write_log(text("a record"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadLogs(); }), RunEnd::Quit);
    QCOMPARE(readFile(uploadini::path()), ini);
    QCOMPARE(readFile(KxLog::instance()->fileName()), QByteArray("a record\n"));
}

QTEST_GUILESS_MAIN(TestOwnLog)
#include "tst_ownlog.moc"
