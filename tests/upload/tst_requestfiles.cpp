#include "support/files/fileio.h"
#include "support/process/messagelines.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTest>
#include <QTimer>

Q_DECLARE_METATYPE(Reply)

namespace {

/// What becomes of a run after the answer to the first of several request files.
enum class Next { File, OwnLog, Quit };

} // namespace

Q_DECLARE_METATYPE(Next)

class TestRequestFiles : public QObject
{
    Q_OBJECT

private slots:
    void sendsAFileByteForByte();
    void sendsAnEmptyFile();
    void attachesPathAndGroupToTheReply();
    void asksTheServiceWhenTheFileCannotBeOpened();
    void forgetsAndDeletesByTheAnswer_data();
    void forgetsAndDeletesByTheAnswer();
    void quitsAtTheFirstTransportError();
    void skipsMissingFiles();
    void givesTheEventLoopItsTurnWhileItSkips();
    void goesStraightToTheOwnLogWithoutGroups();
    void deletesTheFileOfAFinishedGroup();
    void keepsAFinishedGroupWhenTheListCannotBeRewritten();
    void logsOnlyTheAnswers();
    void noRunEntersThePass();
};

void TestRequestFiles::sendsAFileByteForByte()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\nloginName=a1\nuserId=42\nnamespace=sp\xC3\xA4"
                     "ce\n[room]\n7=lobby\n");
    scene.addGroup(text("http_1"), scene.addFile(text("request 1.json"), "{\"a\":\r\n1}"));
    uploadini::set(text("http_1/sdk"), 1);
    uploadini::set(text("http_1/nickname"), text("bob"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadHttpList(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);
    QCOMPARE(scene.server.requests().size(), 1);
    const RecordedRequest request = scene.server.requests().first();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.path, kRequestFilePath);
    QCOMPARE(request.header("Content-Type"), formType());
    QCOMPARE(request.body, logForm(text("nickname-bob.loginname-a1.userid-42.roomid-7.roomname-lobby"),
                                   text("sp\xC3\xA4"
                                        "ce"),
                                   text("request 1.json"), "{\"a\":\r\n1}"));
}

void TestRequestFiles::sendsAnEmptyFile()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("empty.json"), QByteArray());
    scene.addGroup(text("http_1"), path);
    QCOMPARE(scene.run([&] { scene.uploader.uploadHttpList(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{text("empty.json"), scene.ownLogName()}));
    QCOMPARE(scene.server.requests().first().body,
             logForm(text("nickname-.loginname-.userid-."), QString(), text("empty.json"), QByteArray()));
    QVERIFY(!QFileInfo::exists(path));
    QCOMPARE(uploadini::groups(), QStringList());
}

void TestRequestFiles::attachesPathAndGroupToTheReply()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.json"), "content");
    scene.addGroup(text("http_1"), path);
    QCOMPARE(scene.run([&] { scene.uploader.uploadHttpList(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);
    const QNetworkReply *reply = scene.replyInFlight();
    QVERIFY(reply != nullptr);
    QList<QByteArray> names = reply->dynamicPropertyNames();
    std::sort(names.begin(), names.end());
    QCOMPARE(names, (QList<QByteArray>{"file", "group", "path"}));
    QCOMPARE(reply->property("path"), QVariant(path));
    QCOMPARE(reply->property("group"), QVariant(text("http_1")));
    QCOMPARE(reply->property("file").value<QFile *>()->fileName(), path);
    QCOMPARE(reply->manager()->parent(), static_cast<QObject *>(&scene.uploader));
}

void TestRequestFiles::asksTheServiceWhenTheFileCannotBeOpened()
{
    UploadScene scene({}, Reply::json("{\"Code\":3}"));
    QVERIFY(scene.isValid());
    const QString directory = scene.addDirectory(text("directory"));
    scene.addGroup(text("http_1"), directory);
    QCOMPARE(scene.run([&] { scene.uploader.uploadHttpList(); }), RunEnd::Quit);
    // Qt asks a descriptor that it has closed whether a directory has a size: either an empty body arrives, or a length
    // is announced and the request breaks off, perhaps before anything of it arrives.
    const auto replies = scene.uploader.findChildren<QNetworkReply *>();
    QVERIFY(!replies.isEmpty());
    QCOMPARE(replies.first()->url().path().toUtf8(), kRequestFilePath);
    QVERIFY(replies.first()->isFinished());
    for (const RecordedRequest &request : scene.server.requests())
        QVERIFY(request.path != kRequestFilePath || request.bodySize == 0);
    QCOMPARE(uploadini::groups(), QStringList{text("http_1")});
    QVERIFY(QFileInfo(directory).isDir());
}

void TestRequestFiles::forgetsAndDeletesByTheAnswer_data()
{
    QTest::addColumn<Reply>("answer");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<Next>("next");
    const QByteArray json = QByteArrayLiteral("{\"Code\":0}");
    QTest::newRow("Code 0") << Reply::json(json) << true << Next::File;
    QTest::newRow("Code 3") << Reply::json("{\"Code\":3}") << false << Next::File;
    QTest::newRow("Code -1") << Reply::json("{\"Code\":-1}") << false << Next::File;
    QTest::newRow("no Code") << Reply::json("{\"Msg\":\"ok\"}") << true << Next::File;
    QTest::newRow("Code is a text") << Reply::json("{\"Code\":\"3\"}") << true << Next::File;
    QTest::newRow("array") << Reply::json("[]") << true << Next::File;
    QTest::newRow("words") << Reply::http(200, "OK") << false << Next::OwnLog;
    QTest::newRow("empty") << Reply::http(200, QByteArray()) << false << Next::OwnLog;
    QTest::newRow("redirect") << Reply::http(302, QByteArray(), {{"Location", "/elsewhere"}}) << false << Next::OwnLog;
    QTest::newRow("404 with JSON") << Reply::http(404, json) << false << Next::Quit;
    QTest::newRow("500") << Reply::http(500, QByteArray()) << false << Next::Quit;
    QTest::newRow("reset on connect") << Reply::resetOnConnect() << false << Next::Quit;
    QTest::newRow("reset before the body") << Reply::resetAfterHeaders() << false << Next::Quit;
    QTest::newRow("reset after the body") << Reply::resetAfterBody() << false << Next::Quit;
    QTest::newRow("close without answer") << Reply::closeAfterBody() << false << Next::Quit;
    QTest::newRow("garbage") << Reply::garbage() << false << Next::Quit;
    QTest::newRow("cut answer") << Reply::cutAnswer(json) << false << Next::Quit;
}

void TestRequestFiles::forgetsAndDeletesByTheAnswer()
{
    QFETCH(const Reply, answer);
    QFETCH(const bool, accepted);
    QFETCH(const Next, next);
    UploadScene scene({}, answer);
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.json"), "content");
    const QString nextPath = scene.addFile(text("b.json"), "content");
    scene.addGroup(text("http_a"), path);
    scene.addGroup(text("http_b"), nextPath);
    const auto secondRequest = [&]() -> QNetworkReply * {
        const auto replies = scene.uploader.findChildren<QNetworkReply *>();
        return replies.size() > 1 ? replies.at(1) : nullptr;
    };
    QCOMPARE(scene.run([&] { scene.uploader.uploadHttpList(); }, [&] { return secondRequest() != nullptr; }),
             next == Next::Quit ? RunEnd::Quit : RunEnd::Stopped);

    QCOMPARE(uploadini::groups().contains(text("http_a")), !accepted);
    QCOMPARE(QFileInfo::exists(path), !accepted);
    if (next == Next::File) {
        QCOMPARE(secondRequest()->property("group"), QVariant(text("http_b")));
    } else {
        QCOMPARE(scene.uploader.httpGroups, QList<QString>{text("http_b")});
        QVERIFY(QFileInfo::exists(nextPath));
        QVERIFY(uploadini::groups().contains(text("http_b")));
    }
    if (next == Next::OwnLog) {
        QCOMPARE(secondRequest()->url().path().toUtf8(), kLogFilePath);
    }
}

void TestRequestFiles::quitsAtTheFirstTransportError()
{
    UploadScene scene({}, Reply::resetAfterBody());
    QVERIFY(scene.isValid());
    QStringList groups;
    QStringList paths;
    for (const char *name : {"http_a", "http_b", "http_c"}) {
        groups += text(name);
        paths += scene.addFile(text(name), "content");
        scene.addGroup(groups.last(), paths.last());
    }
    QCOMPARE(scene.run([&] { scene.uploader.uploadHttpList(); }), RunEnd::Quit);
    QCOMPARE(uploadini::groups(), groups);
    for (const QString &path : qAsConst(paths))
        QVERIFY(QFileInfo::exists(path));
    QCOMPARE(scene.uploader.httpGroups, QList<QString>(groups.mid(1)));
    QCOMPARE(scene.uploader.findChildren<QNetworkReply *>().size(), 1);
}

void TestRequestFiles::skipsMissingFiles()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    scene.addGroup(text("http_a"), scene.path(text("missing")));
    scene.addGroup(text("http_b"), scene.addFile(text("b.json"), "content"));
    uploadini::set(text("http_c/nickname"), text("without a path"));
    scene.addGroup(text("log1"), scene.path(text("missing")));
    QCOMPARE(scene.run([&] { scene.uploader.uploadHttpList(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{text("b.json"), scene.ownLogName()}));
    QCOMPARE(uploadini::groups(), QStringList{text("log1")});
}

void TestRequestFiles::givesTheEventLoopItsTurnWhileItSkips()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    for (int i = 0; i < 3000; ++i)
        scene.uploader.httpGroups += text("http_missing");
    int left = -1;
    const RunEnd end = runApplication([&] {
        QTimer::singleShot(0, [&] { left = scene.uploader.httpGroups.size(); });
        scene.uploader.uploadHttpList();
    });
    QCOMPARE(end, RunEnd::Quit);
    QVERIFY2(left > 0, "all groups were skipped before anything else had a turn");
    QVERIFY(scene.uploader.httpGroups.isEmpty());
    QCOMPARE(scene.sentFileNames(), QStringList{scene.ownLogName()});
}

void TestRequestFiles::goesStraightToTheOwnLogWithoutGroups()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    scene.addGroup(text("log1"), scene.addFile(text("a.log"), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadHttpList(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), QStringList{scene.ownLogName()});
    QCOMPARE(uploadini::groups(), QStringList{text("log1")});
}

void TestRequestFiles::deletesTheFileOfAFinishedGroup()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.json"), "content");
    scene.addGroup(text("http_1"), path);
    scene.addGroup(text("http_2"), scene.addFile(text("b.json"), "content"));
    scene.uploader.initIni();
    scene.uploader.finishedOneHttpFile(text("http_1"));
    QVERIFY(!QFileInfo::exists(path));
    QVERIFY(QFileInfo::exists(scene.path(text("b.json"))));
    QCOMPARE(uploadini::groups(), QStringList{text("http_2")});
}

void TestRequestFiles::keepsAFinishedGroupWhenTheListCannotBeRewritten()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.json"), "content");
    scene.addGroup(text("http_1"), path);
    uploadini::append("[log1]\ntime=@DateTime(\\0\\0\\0\\x10\\0\\0\\0ccccccccccc)\n");
    scene.uploader.initIni();
    scene.uploader.finishedOneHttpFile(text("http_1"));
    QVERIFY(!QFileInfo::exists(path));
    QVERIFY(uploadini::groups().contains(text("http_1")));
    QVERIFY(scene.lines().contains(text("finishedOneFile: cannot rewrite \"") + uploadini::path() + QLatin1Char('"')));
}

void TestRequestFiles::logsOnlyTheAnswers()
{
    UploadScene scene({Reply::json("{\"Code\":3}")});
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("b.json"), "content");
    scene.addGroup(text("http_a"), scene.path(text("missing")));
    scene.addGroup(text("http_b"), path);
    QCOMPARE(scene.run([&] { scene.uploader.uploadHttpList(); }), RunEnd::Quit);
    const QString missing = text("getFileName: \"") + scene.path(text("missing")) + QLatin1Char('"');
    const QString name = text("getFileName: \"") + path + QLatin1Char('"');
    const QString info = text("getFileInfo: \"http_b\" \"nickname-.loginname-.userid-.\"");
    QCOMPARE(scene.lines(),
             (QStringList{missing, missing, name, info, name, info,
                          text("onHttpOneFinished: \"Unknown error\" QNetworkReply::NoError"),
                          text("onHttpOneFinished: data: \"{\\\"Code\\\":3}\" \"") + path + QLatin1Char('"'),
                          text("getFileInfo: \"\"")}));
}

void TestRequestFiles::noRunEntersThePass()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString single = scene.addFile(text("single.json"), "content");
    uploadini::write("[system]\nnickname=ann\n");
    uploadini::set(text("system/httppath"), single);
    const QString path = scene.addFile(text("a.json"), "content");
    scene.addGroup(text("http_1"), path);
    scene.addGroup(text("log1"), scene.addFile(text("a.log"), "content"));
    QCOMPARE(runApplication([&] { scene.uploader.startUpload(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{text("a.log"), scene.ownLogName()}));
    QCOMPARE(uploadini::groups(), (QStringList{text("http_1"), text("system")}));
    QCOMPARE(scene.uploader.httpGroups, QList<QString>{text("http_1")});
    QVERIFY(QFileInfo::exists(path));
    QVERIFY(QFileInfo::exists(single));
}

QTEST_GUILESS_MAIN(TestRequestFiles)
#include "tst_requestfiles.moc"
