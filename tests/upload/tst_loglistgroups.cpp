#include "support/files/fileio.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"

#include <QFileInfo>
#include <QTest>

/// Which groups of upload.ini the log list takes up, skips, forgets and leaves alone.
class TestLogListGroups : public QObject
{
    Q_OBJECT

private slots:
    void goesStraightToTheOwnLogWithoutGroups();
    void skipsGroupsWithoutSendableFile_data();
    void skipsGroupsWithoutSendableFile();
    void skipsAMixOfGroupsAndSendsTheRest();
    void leavesOtherGroupsAlone();
    void keepsGroupsThatOthersAddMeanwhile();
    void forgetsARejectedSdkFileInTheNextRun();
};

void TestLogListGroups::goesStraightToTheOwnLogWithoutGroups()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\n[room]\n7=lobby\n[room_a]\npath=/x\n[http_1]\npath=/x\n");
    const QByteArray before = readFile(uploadini::path());
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), QStringList{scene.ownLogName()});
    QCOMPARE(readFile(uploadini::path()), before);
}

void TestLogListGroups::skipsGroupsWithoutSendableFile_data()
{
    QTest::addColumn<QString>("file"); ///< relative to the scene's folder
    QTest::addColumn<bool>("sdk");
    for (const bool sdk : {false, true}) {
        const char *kind = sdk ? "SDK" : "ordinary";
        QTest::addRow("missing file, %s", kind) << text("missing.log") << sdk;
        QTest::addRow("missing folder, %s", kind) << text("missing/missing.log") << sdk;
        QTest::addRow("empty file, %s", kind) << text("empty.log") << sdk;
        QTest::addRow("directory, %s", kind) << text("directory") << sdk;
        QTest::addRow("no path and no derived file, %s", kind) << QString() << sdk;
    }
}

void TestLogListGroups::skipsGroupsWithoutSendableFile()
{
    QFETCH(const QString, file);
    QFETCH(const bool, sdk);
    UploadScene scene;
    QVERIFY(scene.isValid());
    scene.addFile(text("empty.log"), QByteArray());
    const QString directory = scene.addDirectory(text("directory"));
    QVERIFY(QFileInfo(directory).size() != 0);
    scene.addGroup(text("log1"), file.isEmpty() ? QString() : scene.path(file));
    uploadini::set(text("log1/sdk"), sdk ? 1 : 0);
    uploadini::set(text("system/nickname"), text("ann"));

    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), QStringList{scene.ownLogName()});
    QCOMPARE(uploadini::groups(), QStringList{text("system")});
    QVERIFY(QFileInfo::exists(scene.path(text("empty.log"))));
    QVERIFY(QFileInfo(directory).isDir());
    QVERIFY(scene.uploader.fileGroups.isEmpty());
    QVERIFY2(scene.uploader.findChildren<QFile *>().isEmpty(), "file objects are released");
}

void TestLogListGroups::skipsAMixOfGroupsAndSendsTheRest()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    scene.addGroup(text("a_missing"), scene.path(text("missing")));
    scene.addGroup(text("b_directory"), scene.addDirectory(text("directory")));
    scene.addGroup(text("c_sent"), scene.addFile(text("c.log"), "content"));
    scene.addGroup(text("d_empty"), scene.addFile(text("empty"), QByteArray()));
    scene.addGroup(text("e_directory"), scene.path(text("directory")));
    scene.addGroup(text("f_missing"), scene.path(text("missing")));
    scene.addGroup(text("g_sent"), scene.addFile(text("g.log"), "content"));
    scene.addGroup(text("h_directory"), scene.path(text("directory")));
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{text("c.log"), text("g.log"), scene.ownLogName()}));
    QCOMPARE(uploadini::groups(), QStringList());
}

void TestLogListGroups::leavesOtherGroupsAlone()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\nlogfiles=a, b\nunknown=1\n[room]\n7=lobby\n[chatroom_1]\npath=/x\n"
                     "[systemlog]\npath=/y\n[http_1]\npath=/z\n");
    const QVariantMap before = uploadini::values();
    scene.addGroup(text("log1"), scene.addFile(text("a.log"), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{text("a.log"), scene.ownLogName()}));
    QCOMPARE(uploadini::values(), before);
}

void TestLogListGroups::keepsGroupsThatOthersAddMeanwhile()
{
    UploadScene scene({Reply::json().onRequest([] { uploadini::append("[added]\npath=/by/the/client\n"); })});
    QVERIFY(scene.isValid());
    scene.addGroup(text("log1"), scene.addFile(text("a.log"), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{text("a.log"), scene.ownLogName()}));
    QCOMPARE(uploadini::values(), (QVariantMap{{text("added/path"), text("/by/the/client")}}));
}

void TestLogListGroups::forgetsARejectedSdkFileInTheNextRun()
{
    UploadScene scene({}, Reply::json("{\"Code\":5}"));
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("sdk.log"), "content");
    scene.addGroup(text("log1"), path);
    uploadini::set(text("log1/sdk"), 1);
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(uploadini::groups(), QStringList{text("log1")});
    QVERIFY(!QFileInfo::exists(path));

    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(uploadini::groups(), QStringList());
    QCOMPARE(scene.sentFileNames().count(text("sdk.log")), 1);
}

QTEST_GUILESS_MAIN(TestLogListGroups)
#include "tst_loglistgroups.moc"
