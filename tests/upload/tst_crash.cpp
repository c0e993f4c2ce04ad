#include "support/files/fileio.h"
#include "support/process/messagelines.h"
#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>

/// The crash pass where no dump is sent. See tst_crashrequest for the request.
class TestCrash : public QObject
{
    Q_OBJECT

private slots:
    void leavesAReadableDumpWhereItIs();
    void goesStraightToTheListWithoutADump_data();
    void goesStraightToTheListWithoutADump();
    void goesOnWhenTheDumpCannotBeOpened();
};

void TestCrash::leavesAReadableDumpWhereItIs()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\nuserId=42\nnamespace=space\nversion=1.2\n");
    const QString dump = scene.addFile(QStringLiteral("crash.dmp"), "dump");
    scene.addGroup(QStringLiteral("log1"), scene.addFile(QStringLiteral("a.log"), "content"));
    scene.uploader.setCrashPath(dump);
    QCOMPARE(scene.run([&] { scene.uploader.uploadCrash(); }), RunEnd::Quit);

    QCOMPARE(scene.sentFileNames(), (QStringList{QStringLiteral("a.log"), scene.ownLogName()}));
    QCOMPARE(readFile(dump), QByteArray("dump"));
    const QStringList lines = messageLines(*scene.messages);
    QCOMPARE(lines.at(0), QStringLiteral("void KxUpload::uploadCrash(): \"{\\\"namespace\\\":\\\"space\\\","
                                         "\\\"nickname\\\":\\\"ann\\\",\\\"sdk\\\":5,\\\"user_id\\\":\\\"42\\\","
                                         "\\\"version\\\":\\\"1.2\\\"}\""));
    QCOMPARE(lines.filter(QStringLiteral("[Warning]")).size(), 1);
    QVERIFY(lines.at(1).startsWith(QStringLiteral("[Warning]")));
    QVERIFY(lines.at(1).endsWith(QStringLiteral("QFile::open: File (%1) already open").arg(dump)));
    QVERIFY(lines.at(2).startsWith(QStringLiteral("QString KxUpload::getFileName(")));

    const auto files = scene.uploader.findChildren<QFile *>(QString(), Qt::FindDirectChildrenOnly);
    QCOMPARE(files.size(), 1);
    QVERIFY2(!files.first()->isOpen(), "the file is closed and stays");
}

void TestCrash::goesStraightToTheListWithoutADump_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << QStringLiteral("missing.dmp");
    QTest::newRow("missing folder") << QStringLiteral("missing/crash.dmp");
    QTest::newRow("empty") << QStringLiteral("empty.dmp");
}

void TestCrash::goesStraightToTheListWithoutADump()
{
    QFETCH(const QString, name);
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString empty = scene.addFile(QStringLiteral("empty.dmp"), QByteArray());
    scene.addGroup(QStringLiteral("log1"), scene.addFile(QStringLiteral("a.log"), "content"));
    scene.uploader.setCrashPath(scene.path(name));
    QCOMPARE(scene.run([&] { scene.uploader.uploadCrash(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{QStringLiteral("a.log"), scene.ownLogName()}));
    QVERIFY(scene.lines().first().startsWith(QStringLiteral("getFileName: ")));
    QVERIFY(scene.lines().filter(QStringLiteral("uploadCrash: ")).isEmpty());
    QVERIFY(QFileInfo::exists(empty));
}

void TestCrash::goesOnWhenTheDumpCannotBeOpened()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString directory = scene.addDirectory(QStringLiteral("dumps"));
    QVERIFY(QFileInfo(directory).size() != 0);
    scene.addGroup(QStringLiteral("log1"), scene.addFile(QStringLiteral("a.log"), "content"));
    scene.uploader.setCrashPath(directory);
    QCOMPARE(scene.run([&] { scene.uploader.uploadCrash(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{QStringLiteral("a.log"), scene.ownLogName()}));
    QCOMPARE(scene.lines().filter(QStringLiteral("uploadCrash: ")).size(), 1);
    QVERIFY(QFileInfo(directory).isDir());
}

QTEST_GUILESS_MAIN(TestCrash)
#include "tst_crash.moc"
