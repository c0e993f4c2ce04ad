#include "support/process/failingopen.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"

#include <QFile>
#include <QNetworkReply>
#include <QTest>

namespace {

using Pass = void (*)(UploadScene &scene, const QString &path);

/// Calls \a check at the first message that begins with \a begin.
QString awaitedBegin;
std::function<void()> check;

void observe(QtMsgType, const QMessageLogContext &, const QString &message)
{
    if (check && message.startsWith(awaitedBegin)) {
        check();
        check = nullptr;
    }
}

} // namespace

Q_DECLARE_METATYPE(Pass)

/// How the passes are tied together, and in which order a slot acts.
class TestConnections : public QObject
{
    Q_OBJECT

private slots:
    void areMadeByName_data();
    void areMadeByName();
    void deletesAnSdkLogBeforeItsGroup();
    void deletesARequestFileBeforeItsGroup();
};

void TestConnections::areMadeByName_data()
{
    QTest::addColumn<QByteArray>("slot");
    QTest::addColumn<Pass>("pass");
    const auto row = [](const char *slot, Pass pass) { QTest::newRow(slot) << QByteArray(slot) << pass; };
    row("onOneFile()", [](UploadScene &scene, const QString &) { scene.uploader.uploadOneFile(text("log1")); });
    row("onHttpOneFinished()",
        [](UploadScene &scene, const QString &) { scene.uploader.uploadHttpFile(text("log1")); });
    row("onHttpFinished()", [](UploadScene &scene, const QString &path) {
        scene.uploader.httpPath = path;
        scene.uploader.httpUpload();
    });
    row("onUploadLogs()", [](UploadScene &scene, const QString &) { scene.uploader.uploadLogs(); });
    row("onCrashFinished()", [](UploadScene &scene, const QString &path) {
        scene.uploader.setCrashPath(path);
        failingopen::failNext(path, 1);
        scene.uploader.uploadCrash();
    });
}

/// Whoever knows the slots by their names can take them off, which works for such connections only.
void TestConnections::areMadeByName()
{
    QFETCH(const QByteArray, slot);
    QFETCH(const Pass, pass);
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.log"), "content");
    scene.addGroup(text("log1"), path);
    scene.uploader.initIni();
    pass(scene, path);
    const QNetworkReply *reply = scene.replyInFlight();
    QVERIFY(reply != nullptr);
    QVERIFY(QObject::disconnect(reply, SIGNAL(finished()), &scene.uploader, ('1' + slot).constData()));
}

void TestConnections::deletesAnSdkLogBeforeItsGroup()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.log"), "content");
    scene.addGroup(text("log1"), path);
    uploadini::set(text("log1/sdk"), 1);
    QStringList groups;
    scene.uploader.initIni();
    awaitedBegin = text("true ");
    check = [&] { groups = uploadini::groups(); };
    const QtMessageHandler outer = qInstallMessageHandler(observe);
    const RunEnd end = runApplication([&] { scene.uploader.uploadList(); });
    qInstallMessageHandler(outer);
    QCOMPARE(end, RunEnd::Quit);
    QVERIFY(!QFile::exists(path));
    QCOMPARE(groups, QStringList(text("log1")));
    QCOMPARE(uploadini::groups(), QStringList());
}

void TestConnections::deletesARequestFileBeforeItsGroup()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.json"), "content");
    scene.addGroup(text("http_1"), path);
    // A time whose zone is none: nobody can rewrite the list, and the attempt is a message.
    uploadini::append("[log1]\ntime=@DateTime(\\0\\0\\0\\x10\\0\\0\\0ccccccccccc)\n");
    scene.uploader.initIni();
    bool exists = true;
    awaitedBegin = text("cannot rewrite");
    check = [&] { exists = QFile::exists(path); };
    const QtMessageHandler outer = qInstallMessageHandler(observe);
    scene.uploader.finishedOneHttpFile(text("http_1"));
    qInstallMessageHandler(outer);
    QVERIFY(!check);
    QVERIFY(!exists);
}

QTEST_GUILESS_MAIN(TestConnections)
#include "tst_connections.moc"
