#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QNetworkReply>
#include <QTest>
#include <QTimer>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

class TestStartUpload : public QObject
{
    Q_OBJECT

private slots:
    void choosesTheFirstPass_data();
    void choosesTheFirstPass();
    void readsTheConfigurationBeforeItPauses();
    void pausesBeforeTheFirstPass();
    void armsTheWatchdog();
    void armsTheWatchdogBeforeItReadsTheConfiguration();
    void quitsAndThenExitsWithNobodyToDescribe();
};

namespace {

/// Intervals of the timers of minutes that are exact. Qt keeps a single-shot timer as an object below the dispatcher;
/// nothing else here runs for minutes.
QList<int> exactMinutesTimers()
{
    QList<int> intervals;
    auto *dispatcher = QAbstractEventDispatcher::instance();
    for (QObject *object : dispatcher->findChildren<QObject *>()) {
        for (const auto &timer : dispatcher->registeredTimers(object)) {
            if (timer.interval >= 60000 && timer.timerType == Qt::PreciseTimer)
                intervals += timer.interval;
        }
    }
    return intervals;
}

int timersAtTheFirstMessage = -1;

void countTimers(QtMsgType, const QMessageLogContext &, const QString &)
{
    if (timersAtTheFirstMessage < 0)
        timersAtTheFirstMessage = exactMinutesTimers().count(300000);
}

} // namespace

void TestStartUpload::choosesTheFirstPass_data()
{
    QTest::addColumn<bool>("crash");
    QTest::addColumn<QByteArray>("system");
    QTest::addColumn<bool>("crashPassEntered");
    QTest::newRow("crash file, user") << true << QByteArray("[system]\nnickname=ann\n") << true;
    QTest::newRow("crash file, nobody") << true << QByteArray() << true;
    QTest::newRow("no crash file, user") << false << QByteArray("[system]\nuserId=42\n") << false;
    QTest::newRow("no crash file, room only") << false << QByteArray("[room]\n7=lobby\n") << false;
}

void TestStartUpload::choosesTheFirstPass()
{
    QFETCH(const bool, crash);
    QFETCH(const QByteArray, system);
    UploadScene scene;
    QVERIFY(scene.isValid());
    uploadini::write(system);
    scene.addGroup(QStringLiteral("log1"), scene.addFile(QStringLiteral("a.log"), "content"));
    if (crash)
        scene.uploader.setCrashPath(scene.addFile(QStringLiteral("crash.dmp"), "dump"));

    QCOMPARE(runApplication([&] { scene.uploader.startUpload(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{QStringLiteral("a.log"), scene.ownLogName()}));
    const QStringList lines = scene.lines().filter(QStringLiteral("uploadCrash: "));
    QTEST(!lines.isEmpty(), "crashPassEntered");
}

void TestStartUpload::readsTheConfigurationBeforeItPauses()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\n");
    QString inThePause;
    QTimer::singleShot(1, &scene.uploader, [&] {
        inThePause = scene.uploader.nickname;
        uploadini::write("[system]\nnickname=bob\n");
    });
    scene.uploader.startUpload();
    QCOMPARE(inThePause, QStringLiteral("ann"));
    QCOMPARE(scene.uploader.nickname, QStringLiteral("ann"));
    QCOMPARE(scene.lines().mid(0, 2), (QStringList{QStringLiteral("initIni: version: \"\" () () \"ann\" \"\""),
                                                   QStringLiteral("getFileInfo: \"\"")}));
}

void TestStartUpload::pausesBeforeTheFirstPass()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\n");
    scene.addGroup(QStringLiteral("log1"), scene.addFile(QStringLiteral("a.log"), "content"));
    QElapsedTimer timer;
    timer.start();
    int early = 0;
    QTimer watch;
    connect(&watch, &QTimer::timeout, [&] { early += scene.uploader.findChildren<QNetworkReply *>().size(); });
    watch.start(20);
    scene.uploader.startUpload();
    QVERIFY(timer.elapsed() >= 500);
    QCOMPARE(early, 0);
    QCOMPARE(scene.uploader.findChildren<QNetworkReply *>().size(), 1);
}

void TestStartUpload::armsTheWatchdog()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    const int before = exactMinutesTimers().count(300000);
    uploadini::write("[system]\nnickname=ann\n");
    scene.addGroup(QStringLiteral("log1"), scene.addFile(QStringLiteral("a.log"), "content"));
    scene.uploader.startUpload();
    QCOMPARE(exactMinutesTimers().count(300000), before + 1);
}

void TestStartUpload::armsTheWatchdogBeforeItReadsTheConfiguration()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    const int before = exactMinutesTimers().count(300000);
    uploadini::write("[system]\nnickname=ann\n");
    timersAtTheFirstMessage = -1;
    const QtMessageHandler outer = qInstallMessageHandler(countTimers);
    scene.uploader.startUpload();
    qInstallMessageHandler(outer);
    QCOMPARE(timersAtTheFirstMessage, before + 1);
}

void TestStartUpload::quitsAndThenExitsWithNobodyToDescribe()
{
    enum Status { Returned = 40, ExitedOnly, QuitBefore };
    uploadini::write("[log1]\nsdk=0\n");
    const pid_t child = ::fork();
    if (child == 0) {
        // Whatever runs at the exit sees whether the application was told to quit: no event loop starts any more.
        std::atexit([] {
            QEventLoop loop;
            QTimer::singleShot(0, &loop, &QEventLoop::quit);
            ::_exit(loop.exec() == -1 ? QuitBefore : ExitedOnly);
        });
        TestUploader uploader;
        uploader.startUpload();
        ::_exit(Returned);
    }
    QVERIFY(child > 0);
    int status = 0;
    QCOMPARE(::waitpid(child, &status, 0), child);
    uploadini::remove();
    QVERIFY(WIFEXITED(status));
    // In Qt 6 it leaves no trace: an application outside its event loop does not quit.
    QCOMPARE(WEXITSTATUS(status), int(QT_VERSION < QT_VERSION_CHECK(6, 0, 0) ? QuitBefore : ExitedOnly));
}

QTEST_GUILESS_MAIN(TestStartUpload)
#include "tst_startupload.moc"
