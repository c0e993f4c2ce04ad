#include "kxlog/kxlog.h"
#include "support/files/fileio.h"
#include "support/process/failingopen.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"

#include <QNetworkReply>
#include <QTest>

/// What each pass does with a regular file that is there and cannot be opened, as for want of permission.
class TestUnopenable : public QObject
{
    Q_OBJECT

private slots:
    void forgetsAListedFile();
    void postsARequestFileInAnyCase();
    void postsTheSingleRequestFileInAnyCase();
    void quitsWithoutSendingTheOwnLog();

private:
    /// Checks that one request was begun that broke off for want of the file's bytes.
    static void compareBrokenRequest(const UploadScene &scene)
    {
        const auto replies = scene.uploader.findChildren<QNetworkReply *>();
        QCOMPARE(replies.size(), 1);
        QVERIFY(replies.first()->url().path().endsWith(text("/v1/uploadrequest")));
        QCOMPARE(replies.first()->error(), QNetworkReply::UnknownNetworkError);
        for (const RecordedRequest &request : scene.server.requests())
            QVERIFY(!request.bodyComplete);
    }
};

void TestUnopenable::forgetsAListedFile()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.log"), "content");
    scene.addGroup(text("a"), path);
    scene.addGroup(text("b"), scene.addFile(text("b.log"), "content"));
    failingopen::failNext(path, 1);
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(failingopen::attempts(), 1);
    QCOMPARE(scene.sentFileNames(), (QStringList{text("b.log"), scene.ownLogName()}));
    QCOMPARE(uploadini::groups(), QStringList());
    QCOMPARE(readFile(path), QByteArray("content"));
    QVERIFY(scene.lines().contains(text("uploadOneFile: open file failed \"") + path + QLatin1Char('"')));
}

void TestUnopenable::postsARequestFileInAnyCase()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.json"), "content");
    scene.addGroup(text("http_a"), path);
    scene.addGroup(text("http_b"), scene.addFile(text("b.json"), "content"));
    failingopen::failNext(path, 1);
    QCOMPARE(scene.run([&] { scene.uploader.uploadHttpList(); }), RunEnd::Quit);
    QCOMPARE(failingopen::attempts(), 1);
    compareBrokenRequest(scene);
    QCOMPARE(uploadini::groups(), (QStringList{text("http_a"), text("http_b")}));
    QCOMPARE(readFile(path), QByteArray("content"));
}

void TestUnopenable::postsTheSingleRequestFileInAnyCase()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.json"), "content");
    uploadini::set(text("system/httppath"), path);
    failingopen::failNext(path, 1);
    QCOMPARE(scene.run([&] { scene.uploader.httpUpload(); }), RunEnd::Quit);
    QCOMPARE(failingopen::attempts(), 1);
    compareBrokenRequest(scene);
    QCOMPARE(readFile(path), QByteArray("content"));
}

void TestUnopenable::quitsWithoutSendingTheOwnLog()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    failingopen::failNext(KxLog::instance()->fileName(), 1);
    QCOMPARE(scene.run([&] { scene.uploader.uploadLogs(); }), RunEnd::Quit);
    QCOMPARE(failingopen::attempts(), 1);
    QCOMPARE(scene.server.connections(), 0);
}

QTEST_GUILESS_MAIN(TestUnopenable)
#include "tst_unopenable.moc"
