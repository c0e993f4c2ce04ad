#include "support/files/fileio.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QDir>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTest>

class TestLogList : public QObject
{
    Q_OBJECT

private slots:
    void sendsAFileByteForByte_data();
    void sendsAFileByteForByte();
    void describesTheFileByItsGroup();
    void sendsAFileOfSomeSizeWhole();
    void sendsTheDerivedFileOfAGroupWithoutPath();
    void attachesWhatTheSlotNeedsToTheReply_data();
    void attachesWhatTheSlotNeedsToTheReply();
    void usesAManagerOfItsOwnForEveryFile();
    void keepsManagersAndRepliesToTheEnd();
    void sendsGroupsInTheirOrder();
    void sendsOneFileAtATime();
    void sendsAGrowingFileAsItWas();
    void goesOnWhenAFileIsCutWhileItIsSent();
};

void TestLogList::sendsAFileByteForByte_data()
{
    QTest::addColumn<QVariant>("sdk");
    QTest::addColumn<QByteArray>("target");
    QTest::newRow("no sdk key") << QVariant() << kLogFilePath;
    QTest::newRow("0") << QVariant(0) << kLogFilePath;
    QTest::newRow("1") << QVariant(1) << kProducerPath;
    QTest::newRow("2") << QVariant(2) << kLogFilePath;
    QTest::newRow("-1") << QVariant(-1) << kLogFilePath;
    QTest::newRow("text 1") << QVariant(text("1")) << kProducerPath;
    QTest::newRow("true") << QVariant(true) << kLogFilePath;
    QTest::newRow("word") << QVariant(text("yes")) << kLogFilePath;
    QTest::newRow("empty") << QVariant(QString()) << kLogFilePath;
}

void TestLogList::sendsAFileByteForByte()
{
    QFETCH(const QVariant, sdk);
    QFETCH(const QByteArray, target);
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\nloginName=a1\nuserId=42\nnamespace=sp\xC3\xA4"
                     "ce\n[room]\n7=lobby\n");
    scene.addGroup(text("log1"), scene.addFile(text("client 1.log"), "one\r\ntwo\n\0three"));
    if (sdk.isValid())
        uploadini::set(text("log1/sdk"), sdk);

    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);
    const QList<RecordedRequest> requests = scene.server.requests();
    QCOMPARE(requests.size(), 1);
    const RecordedRequest &request = requests.first();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.path, target);
    QCOMPARE(request.header("Content-Type"), formType());
    QCOMPARE(request.countHeader("Content-Type"), 1);
    QCOMPARE(request.contentLength, qint64(request.body.size()));
    QCOMPARE(request.body, logForm(text("nickname-ann.loginname-a1.userid-42.roomid-7.roomname-lobby"),
                                   text("sp\xC3\xA4"
                                        "ce"),
                                   text("client 1.log"), "one\r\ntwo\n\0three"));
}

void TestLogList::describesTheFileByItsGroup()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\nloginName=a1\nuserId=42\nnamespace=space\n[room]\n7=lobby\n");
    scene.addGroup(text("log1"), scene.addFile(text("a.log"), "content"));
    uploadini::set(text("log1/nickname"), text("b\xC3\xA9"
                                               "a"));
    uploadini::set(text("log1/userId"), QString());
    uploadini::set(text("log1/room"), QVariantMap{{text("9"), text("Red")}, {text("12"), text("Blue")}});

    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);
    QCOMPARE(scene.server.requests().first().body, logForm(text("nickname-b\xC3\xA9"
                                                                "a.loginname-a1.userid-42.roomid-12.roomname-Blue,"
                                                                "nickname-b\xC3\xA9"
                                                                "a.loginname-a1.userid-42.roomid-9.roomname-Red"),
                                                           text("space"), text("a.log"), "content"));
}

void TestLogList::sendsAFileOfSomeSizeWhole()
{
    QByteArray content;
    for (int line = 0; content.size() < 3 * 1024 * 1024; ++line)
        content += QByteArray::number(line) + " some line of a log\n";
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    scene.addGroup(text("log1"), scene.addFile(text("big.log"), content));
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);
    const QByteArray expected = logForm(text("nickname-.loginname-.userid-."), QString(), text("big.log"), content);
    QVERIFY(scene.server.requests().first().body == expected);
}

void TestLogList::sendsTheDerivedFileOfAGroupWithoutPath()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    const QString derived = QCoreApplication::applicationDirPath() + text("/logs/client_20200101.log");
    QDir().mkpath(QFileInfo(derived).path());
    QVERIFY(writeFile(derived, "derived"));
    uploadini::set(text("client_20200101/sdk"), 0);
    const RunEnd end =
        scene.run([&] { scene.uploader.uploadList(); }, [&] { return !scene.server.requests().isEmpty(); });
    QFile::remove(derived);
    QCOMPARE(end, RunEnd::Stopped);
    QCOMPARE(scene.server.requests().first().body,
             logForm(text("nickname-.loginname-.userid-."), QString(), text("client_20200101.log"), "derived"));
}

void TestLogList::attachesWhatTheSlotNeedsToTheReply_data()
{
    QTest::addColumn<bool>("sdk");
    QTest::newRow("ordinary") << false;
    QTest::newRow("SDK") << true;
}

void TestLogList::attachesWhatTheSlotNeedsToTheReply()
{
    QFETCH(const bool, sdk);
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("a.log"), "content");
    scene.addGroup(text("log1"), path);
    uploadini::set(text("log1/sdk"), sdk ? 1 : 0);
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);

    const QNetworkReply *reply = scene.replyInFlight();
    QVERIFY(reply != nullptr);
    QCOMPARE(reply->manager()->parent(), static_cast<QObject *>(&scene.uploader));
    QList<QByteArray> names = reply->dynamicPropertyNames();
    std::sort(names.begin(), names.end());
    QCOMPARE(names, (QList<QByteArray>{"file", "group", "path", "sdk"}));
    QCOMPARE(reply->property("path"), QVariant(path));
    QCOMPARE(reply->property("group"), QVariant(text("log1")));
    QCOMPARE(reply->property("sdk"), QVariant(sdk));
    const auto *file = reply->property("file").value<QFile *>();
    QVERIFY(file != nullptr);
    QCOMPARE(file->fileName(), path);
    QCOMPARE(file->openMode() & QIODevice::ReadWrite, QIODevice::ReadOnly);
}

void TestLogList::usesAManagerOfItsOwnForEveryFile()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    for (const char *name : {"a", "b", "c"})
        scene.addGroup(text(name), scene.addFile(text(name), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    const auto managers = scene.uploader.findChildren<QNetworkAccessManager *>();
    QCOMPARE(managers.size(), 4);
    for (const QNetworkAccessManager *manager : managers)
        QCOMPARE(manager->findChildren<QNetworkReply *>().size(), 1);
}

void TestLogList::keepsManagersAndRepliesToTheEnd()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    scene.addGroup(text("a"), scene.addFile(text("a"), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(scene.uploader.findChildren<QNetworkReply *>().size(), 2);
    QCOMPARE(scene.uploader.findChildren<QFile *>().size(), 0);
}

void TestLogList::sendsGroupsInTheirOrder()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    for (const char *name : {"d", "b", "a", "c"})
        scene.addGroup(text(name), scene.addFile(text(name) + text(".log"), "content"));
    uploadini::set(text("b/sdk"), 1);
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(),
             (QStringList{text("a.log"), text("b.log"), text("c.log"), text("d.log"), scene.ownLogName()}));
    QList<QByteArray> targets;
    for (const RecordedRequest &request : scene.server.requests())
        targets += request.path;
    QCOMPARE(targets, (QList<QByteArray>{kLogFilePath, kProducerPath, kLogFilePath, kLogFilePath, kLogFilePath}));
}

void TestLogList::sendsOneFileAtATime()
{
    constexpr int kAnswerMs = 60;
    UploadScene scene({}, Reply::drip("{\"Code\":0}", 100, kAnswerMs));
    QVERIFY(scene.isValid());
    for (const char *name : {"a", "b", "c", "d"})
        scene.addGroup(text(name), scene.addFile(text(name), "content"));
    int mostInFlight = 0;
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); },
                       [&] {
                           mostInFlight = qMax(mostInFlight, int(scene.repliesInFlight().size()));
                           return false;
                       }),
             RunEnd::Quit);
    QCOMPARE(mostInFlight, 1);
    const QList<RecordedRequest> requests = scene.server.requests();
    QCOMPARE(requests.size(), 5);
    for (int i = 1; i < requests.size(); ++i)
        QVERIFY2(requests.at(i).firstByteMs >= requests.at(i - 1).readMs + kAnswerMs, "starts behind the answer");
}

void TestLogList::sendsAGrowingFileAsItWas()
{
    const QByteArray content(2 * 1024 * 1024, 'x');
    QString path;
    UploadScene scene({Reply::json().onBodyBytes(1000, [&] {
        QFile file(path);
        if (file.open(QIODevice::Append))
            file.write(QByteArray(100000, 'y'));
    })});
    QVERIFY(scene.isValid());
    path = scene.addFile(text("a.log"), content);
    scene.addGroup(text("log1"), path);
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(QFileInfo(path).size(), qint64(content.size()) + 100000);
    const QByteArray expected = logForm(text("nickname-.loginname-.userid-."), QString(), text("a.log"), content);
    QVERIFY(scene.server.requests().first().body == expected);
    QCOMPARE(uploadini::groups(), QStringList());
}

void TestLogList::goesOnWhenAFileIsCutWhileItIsSent()
{
    QString path;
    UploadScene scene({Reply::json().onBodyBytes(1000, [&] { QFile::resize(path, 10); })});
    QVERIFY(scene.isValid());
    // More than the sockets of both sides hold, so that something is still unread when the file is cut.
    path = scene.addFile(text("a.log"), QByteArray(64 * 1024 * 1024, 'x'));
    scene.addGroup(text("a_cut"), path);
    scene.addGroup(text("b_next"), scene.addFile(text("b.log"), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(uploadini::groups(), QStringList{text("a_cut")});
    const QList<QByteArray> bodies = scene.server.distinctBodies();
    QCOMPARE(bodies.size(), 2);
    QCOMPARE(bodies.first(), logForm(text("nickname-.loginname-.userid-."), QString(), text("b.log"), "content"));
}

QTEST_GUILESS_MAIN(TestLogList)
#include "tst_loglist.moc"
