#include "support/process/messagelines.h"
#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"

#include <QCoreApplication>
#include <QNetworkReply>
#include <QTest>

Q_DECLARE_METATYPE(Reply)

class TestLogListRecords : public QObject
{
    Q_OBJECT

private slots:
    void namesTheFunctionsByTheirSignatures();
    void recordsAnUpload_data();
    void recordsAnUpload();
    void recordsASkippedFile_data();
    void recordsASkippedFile();
    void recordsAFileThatCannotBeOpened();
    void recordsADerivedPath();
    void recordsOneFileAfterAnother();

private:
    /// What is recorded by taking up a group: its path and description, in both operations.
    static QStringList takingUp(const QString &group, const QString &path)
    {
        return {QStringLiteral("getFileName: \"%1\"").arg(path), describing(group),
                QStringLiteral("getFileName: \"%1\"").arg(path), describing(group)};
    }
    static QString describing(const QString &group)
    {
        return QStringLiteral("getFileInfo: \"%1\" \"nickname-.loginname-.userid-.\"").arg(group);
    }
    /// What the own log's pass records.
    static QStringList ownLog() { return {QStringLiteral("getFileInfo: \"\"")}; }
};

void TestLogListRecords::namesTheFunctionsByTheirSignatures()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    scene.addGroup(QStringLiteral("a"), scene.addFile(QStringLiteral("empty"), QByteArray()));
    scene.addGroup(QStringLiteral("b"), scene.addDirectory(QStringLiteral("directory")));
    scene.addGroup(QStringLiteral("c"), scene.addFile(QStringLiteral("c.log"), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QStringList functions;
    for (const QString &line : messageLines(*scene.messages))
        functions += line.section(QStringLiteral(": "), 0, 0);
    functions.removeDuplicates();
    functions.sort();
    QCOMPARE(functions,
             (QStringList{QStringLiteral("QString KxUpload::getFileInfo()"),
                          QStringLiteral("QString KxUpload::getFileInfo(const QString&)"),
                          QStringLiteral("QString KxUpload::getFileName(const QString&)"),
                          QStringLiteral("void KxUpload::onOneFile()"), QStringLiteral("void KxUpload::uploadList()"),
                          QStringLiteral("void KxUpload::uploadOneFile(const QString&)")}));
    for (const CaughtMessage &message : scene.messages->messages()) {
        QCOMPARE(message.type, QtDebugMsg);
        QCOMPARE(message.file, QByteArray("KxLogReport/kxupload.cpp"));
        QVERIFY(message.line > 0);
    }
}

void TestLogListRecords::recordsAnUpload_data()
{
    QTest::addColumn<Reply>("answer");
    QTest::addColumn<bool>("sdk");
    QTest::addColumn<QStringList>("lines"); ///< of the slot; %1 stands for the path, %2 for the reply's error text

    const QString fine = QStringLiteral("onOneFile: \"Unknown error\" QNetworkReply::NoError");
    const QString failed = QStringLiteral("onOneFile: \"%2\" QNetworkReply::");
    const QString deleted = QStringLiteral("onOneFile: true \"%1\"");
    const QString accepted = QStringLiteral("onOneFile: data: \"{\\\"Code\\\":0}\" \"%1\"");
    const QString rejected = QStringLiteral("onOneFile: data: \"{\\\"Code\\\":5}\" \"%1\"");
    const QString words = QStringLiteral("onOneFile: data: \"OK\" \"%1\"");
    const QString nothing = QStringLiteral("onOneFile: data: \"\" \"%1\"");
    QTest::newRow("accepted") << Reply::json() << false << QStringList{fine, accepted};
    QTest::newRow("accepted, SDK") << Reply::json() << true << QStringList{fine, accepted, deleted};
    QTest::newRow("rejected") << Reply::json("{\"Code\":5}") << false << QStringList{fine, rejected};
    QTest::newRow("rejected, SDK") << Reply::json("{\"Code\":5}") << true << QStringList{fine, rejected, deleted};
    QTest::newRow("not JSON, SDK") << Reply::http(200, "OK") << true << QStringList{fine, words};
    QTest::newRow("non-ASCII answer") << Reply::http(200, "\xC3\xA9") << false
                                      << QStringList{fine, QStringLiteral("onOneFile: data: \"\\xC3\\xA9\" \"%1\"")};
    QTest::newRow("500, SDK") << Reply::http(500, "OK") << true
                              << QStringList{failed + QStringLiteral("InternalServerError"), words};
    QTest::newRow("404") << Reply::http(404, "OK") << false
                         << QStringList{failed + QStringLiteral("ContentNotFoundError"), words};
    QTest::newRow("closed") << Reply::closeAfterBody() << false
                            << QStringList{failed + QStringLiteral("RemoteHostClosedError"), nothing};
}

void TestLogListRecords::recordsAnUpload()
{
    QFETCH(const Reply, answer);
    QFETCH(const bool, sdk);
    QFETCH(const QStringList, lines);
    UploadScene scene({}, answer);
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(QStringLiteral("a.log"), "content");
    scene.addGroup(QStringLiteral("log1"), path);
    uploadini::set(QStringLiteral("log1/sdk"), sdk ? 1 : 0);
    // What is recorded up to the pause of the own log's pass.
    QVERIFY(scene.run([&] { scene.uploader.uploadList(); }, [&] { return scene.lines().contains(ownLog().first()); }) !=
            RunEnd::TimedOut);

    QStringList expected = takingUp(QStringLiteral("log1"), path);
    for (QString line : lines) {
        expected +=
            line.replace(QLatin1String("%1"), path)
                .replace(QLatin1String("%2"), scene.uploader.findChildren<QNetworkReply *>().first()->errorString());
    }
    QCOMPARE(scene.lines(), expected + ownLog());
}

void TestLogListRecords::recordsASkippedFile_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("exists");
    QTest::newRow("missing") << QStringLiteral("missing") << false;
    QTest::newRow("empty") << QStringLiteral("empty") << true;
}

void TestLogListRecords::recordsASkippedFile()
{
    QFETCH(const QString, name);
    QFETCH(const bool, exists);
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = exists ? scene.addFile(name, QByteArray()) : scene.path(name);
    scene.addGroup(QStringLiteral("log1"), path);
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);

    const QStringList expected =
        exists ? QStringList{QStringLiteral("getFileName: \"%1\"").arg(path), describing(QStringLiteral("log1")),
                             QStringLiteral("uploadList: \"%1\" is empty").arg(path)}
               : QStringList{QStringLiteral("getFileName: \"%1\"").arg(path),
                             QStringLiteral("uploadList: true \"%1\"").arg(path)};
    QCOMPARE(scene.lines(), expected + ownLog());
}

void TestLogListRecords::recordsAFileThatCannotBeOpened()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = scene.addDirectory(QStringLiteral("directory"));
    scene.addGroup(QStringLiteral("log1"), path);
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(scene.lines(), takingUp(QStringLiteral("log1"), path) +
                                QStringList{QStringLiteral("uploadOneFile: open file failed \"%1\"").arg(path)} +
                                ownLog());
}

void TestLogListRecords::recordsADerivedPath()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    uploadini::set(QStringLiteral("log1/sdk"), 0);
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    const QString path = QCoreApplication::applicationDirPath() + QStringLiteral("/logs/log1.log");
    QCOMPARE(scene.lines(), QStringList({QStringLiteral("getFileName: \"%1\"").arg(path),
                                         QStringLiteral("uploadList: true \"%1\"").arg(path)}) +
                                ownLog());
}

void TestLogListRecords::recordsOneFileAfterAnother()
{
    UploadScene scene({Reply::json(), Reply::http(200, "OK")});
    QVERIFY(scene.isValid());
    const QString a = scene.addFile(QStringLiteral("a.log"), "content");
    const QString b = scene.path(QStringLiteral("missing.log"));
    const QString c = scene.addFile(QStringLiteral("c.log"), "content");
    scene.addGroup(QStringLiteral("a"), a);
    scene.addGroup(QStringLiteral("b"), b);
    scene.addGroup(QStringLiteral("c"), c);
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);

    const QString fine = QStringLiteral("onOneFile: \"Unknown error\" QNetworkReply::NoError");
    const QStringList expected =
        takingUp(QStringLiteral("a"), a) +
        QStringList{fine, QStringLiteral("onOneFile: data: \"{\\\"Code\\\":0}\" \"%1\"").arg(a),
                    QStringLiteral("getFileName: \"%1\"").arg(b), QStringLiteral("uploadList: true \"%1\"").arg(b)} +
        takingUp(QStringLiteral("c"), c) + QStringList{fine, QStringLiteral("onOneFile: data: \"OK\" \"%1\"").arg(c)} +
        ownLog();
    QCOMPARE(scene.lines(), expected);
}

QTEST_GUILESS_MAIN(TestLogListRecords)
#include "tst_loglistrecords.moc"
