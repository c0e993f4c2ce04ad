#include "support/files/fileio.h"
#include "support/process/failingopen.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTest>

Q_DECLARE_METATYPE(Reply)

/// The crash request. A dump is sent only when its first open fails and its second one does not.
class TestCrashRequest : public QObject
{
    Q_OBJECT

private slots:
    void sendsTheDumpByteForByte_data();
    void sendsTheDumpByteForByte();
    void opensTheDumpTwice_data();
    void opensTheDumpTwice();
    void attachesOnlyTheFileToTheReply();
    void goesOnWithTheListOrQuits_data();
    void goesOnWithTheListOrQuits();
    void logsTheRequestAndItsAnswer_data();
    void logsTheRequestAndItsAnswer();

private:
    /// Adds a dump whose first open fails and makes it the uploader's crash file.
    static QString addDump(UploadScene &scene, const QString &name, const QByteArray &bytes)
    {
        const QString path = scene.addFile(name, bytes);
        scene.uploader.setCrashPath(path);
        failingopen::failNext(path, 1);
        return path;
    }
};

void TestCrashRequest::sendsTheDumpByteForByte_data()
{
    QTest::addColumn<QByteArray>("ini");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("base");
    QTest::addColumn<QByteArray>("info");

    const QByteArray user = "[system]\nnickname=ann\nloginName=a1\nuserId=42\nnamespace=space\nversion=1.2.3\n";
    const QByteArray base =
        "{\"namespace\":\"space\",\"nickname\":\"ann\",\"sdk\":5,\"user_id\":\"42\",\"version\":\"1.2.3\"}";
    QTest::newRow("no rooms") << user << text("crash.dmp") << base << QByteArray("{\"info\":[]}");
    QTest::newRow("one room") << user + "[room]\n7=lobby\n"
                              << text("crash 1.dmp") << base
                              << QByteArray("{\"info\":[{\"room_name\":\"lobby\",\"room_sdk_id\":\"7\"}]}");
    QTest::newRow("several rooms")
        << user + "[room]\n9=talk\n12=hall\na=\n"
        << text("crash.dmp") << base
        << QByteArray("{\"info\":[{\"room_name\":\"hall\",\"room_sdk_id\":\"12\"},"
                      "{\"room_name\":\"talk\",\"room_sdk_id\":\"9\"},{\"room_name\":\"\",\"room_sdk_id\":\"a\"}]}");
    QTest::newRow("nobody") << QByteArray() << text("crash.dmp")
                            << QByteArray("{\"namespace\":\"\",\"nickname\":\"\",\"sdk\":5,\"user_id\":\"\","
                                          "\"version\":\"\"}")
                            << QByteArray("{\"info\":[]}");
    QTest::newRow("numbers are texts")
        << QByteArray("[system]\nversion=3\nuserId=1e3\n[room]\n7=12\n") << text("crash.dmp")
        << QByteArray("{\"namespace\":\"\",\"nickname\":\"\",\"sdk\":5,\"user_id\":\"1e3\",\"version\":\"3\"}")
        << QByteArray("{\"info\":[{\"room_name\":\"12\",\"room_sdk_id\":\"7\"}]}");
    QTest::newRow("non-ASCII and signs of JSON")
        << QByteArray("[system]\nnickname=\"\xC3\xA4 \\\"x\\\" \\\\ /\"\nnamespace=\xE4\xB8\xAD\n[room]\n7=h\xC3\xA9\n")
        << text("cr\xC3\xA4sh.dmp")
        << QByteArray("{\"namespace\":\"\xE4\xB8\xAD\",\"nickname\":\"\xC3\xA4 \\\"x\\\" \\\\ /\",\"sdk\":5,"
                      "\"user_id\":\"\",\"version\":\"\"}")
        << QByteArray("{\"info\":[{\"room_name\":\"h\xC3\xA9\",\"room_sdk_id\":\"7\"}]}");
}

void TestCrashRequest::sendsTheDumpByteForByte()
{
    QFETCH(const QByteArray, ini);
    QFETCH(const QString, name);
    QFETCH(const QByteArray, base);
    QFETCH(const QByteArray, info);
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    uploadini::write(ini);
    const QByteArray dump = QByteArrayLiteral("MDMP\0\r\n--------GI3Ef1ei4KM\r\n\xff");
    addDump(scene, name, dump);

    QCOMPARE(scene.run([&] { scene.uploader.uploadCrash(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);
    QCOMPARE(scene.server.requests().size(), 1);
    const RecordedRequest request = scene.server.requests().first();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.path, kCrashPath);
    QCOMPARE(request.header("Content-Type"), formType());
    QCOMPARE(request.body, crashForm(base, info, name, dump));
}

void TestCrashRequest::opensTheDumpTwice_data()
{
    QTest::addColumn<int>("failures");
    QTest::addColumn<int>("attempts");
    QTest::addColumn<bool>("sent");
    // A file that is open is not asked for again.
    QTest::newRow("the first open succeeds") << 0 << 1 << false;
    QTest::newRow("only the second open succeeds") << 1 << 2 << true;
    QTest::newRow("neither open succeeds") << 2 << 2 << false;
}

void TestCrashRequest::opensTheDumpTwice()
{
    QFETCH(const int, failures);
    QFETCH(const bool, sent);
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString dump = addDump(scene, text("crash.dmp"), "dump");
    failingopen::failNext(dump, failures);
    QCOMPARE(scene.run([&] { scene.uploader.uploadCrash(); }), RunEnd::Quit);
    QTEST(failingopen::attempts(), "attempts");
    QCOMPARE(scene.sentFileNames(),
             sent ? QStringList({text("crash.dmp"), scene.ownLogName()}) : QStringList(scene.ownLogName()));
    QCOMPARE(readFile(dump), QByteArray("dump"));
}

void TestCrashRequest::attachesOnlyTheFileToTheReply()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    const QString dump = addDump(scene, text("crash.dmp"), "dump");
    QCOMPARE(scene.run([&] { scene.uploader.uploadCrash(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);
    const QNetworkReply *reply = scene.replyInFlight();
    QVERIFY(reply != nullptr);
    QCOMPARE(reply->dynamicPropertyNames(), QList<QByteArray>{"file"});
    QCOMPARE(reply->property("file").value<QFile *>()->fileName(), dump);
    QCOMPARE(reply->manager()->parent(), static_cast<QObject *>(&scene.uploader));
}

void TestCrashRequest::goesOnWithTheListOrQuits_data()
{
    QTest::addColumn<Reply>("answer");
    QTest::addColumn<bool>("goesOn");
    const QByteArray json = QByteArrayLiteral("{\"Code\":0}");
    QTest::newRow("Code 0") << Reply::json(json) << true;
    QTest::newRow("Code 5") << Reply::json("{\"Code\":5}") << true;
    QTest::newRow("words") << Reply::http(200, "OK") << true;
    QTest::newRow("empty") << Reply::http(200, QByteArray()) << true;
    QTest::newRow("redirect") << Reply::http(302, QByteArray(), {{"Location", "/elsewhere"}}) << true;
    QTest::newRow("404 with JSON") << Reply::http(404, json) << false;
    QTest::newRow("500") << Reply::http(500, QByteArray()) << false;
    QTest::newRow("500 with JSON") << Reply::http(500, json) << false;
    QTest::newRow("reset in the body") << Reply::resetDuringBody(50) << false;
    QTest::newRow("reset after the body") << Reply::resetAfterBody() << false;
    QTest::newRow("close without answer") << Reply::closeAfterBody() << false;
    QTest::newRow("garbage") << Reply::garbage() << false;
    QTest::newRow("cut answer") << Reply::cutAnswer(json) << false;
}

void TestCrashRequest::goesOnWithTheListOrQuits()
{
    QFETCH(const Reply, answer);
    QFETCH(const bool, goesOn);
    UploadScene scene({}, answer);
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\n");
    const QString dump = addDump(scene, text("crash.dmp"), "dump");
    scene.addGroup(text("log1"), scene.addFile(text("a.log"), "content"));
    const QByteArray ini = readFile(uploadini::path());
    const auto listIsUnderWay = [&] { return scene.uploader.findChildren<QNetworkReply *>().size() > 1; };
    QCOMPARE(scene.run([&] { scene.uploader.uploadCrash(); }, listIsUnderWay), goesOn ? RunEnd::Stopped : RunEnd::Quit);

    if (!goesOn) {
        QCOMPARE(scene.uploader.fileGroups, QList<QString>{text("log1")});
        QCOMPARE(scene.uploader.findChildren<QNetworkReply *>().size(), 1);
        QCOMPARE(readFile(uploadini::path()), ini);
        QVERIFY(scene.lines().filter(QStringLiteral("getFileName")).isEmpty());
    }
    QCOMPARE(readFile(dump), QByteArray("dump"));
}

void TestCrashRequest::logsTheRequestAndItsAnswer_data()
{
    QTest::addColumn<Reply>("answer");
    QTest::addColumn<QString>("outcome"); ///< %2 stands for the error text
    QTest::addColumn<QString>("data");    ///< %1 stands for the path
    QTest::newRow("accepted") << Reply::json() << text("\"Unknown error\" QNetworkReply::NoError")
                              << text("data: \"{\\\"Code\\\":0}\" \"%1\"");
    QTest::newRow("500") << Reply::http(500, "OK") << text("\"%2\" QNetworkReply::InternalServerError")
                         << text("data: \"OK\" \"%1\"");
}

void TestCrashRequest::logsTheRequestAndItsAnswer()
{
    QFETCH(const Reply, answer);
    QFETCH(QString, outcome);
    QFETCH(QString, data);
    UploadScene scene({}, answer);
    QVERIFY(scene.isValid());
    const QString dump = addDump(scene, text("crash.dmp"), "dump");
    QCOMPARE(scene.run([&] { scene.uploader.uploadCrash(); }), RunEnd::Quit);
    outcome.replace(QLatin1String("%2"), scene.uploader.findChildren<QNetworkReply *>().first()->errorString());
    data.replace(QLatin1String("%1"), dump);
    QCOMPARE(scene.lines().mid(0, 3),
             (QStringList{text("uploadCrash: \"{\\\"namespace\\\":\\\"\\\",\\\"nickname\\\":\\\"\\\",\\\"sdk\\\":5,"
                               "\\\"user_id\\\":\\\"\\\",\\\"version\\\":\\\"\\\"}\""),
                          text("onCrashFinished: ") + outcome, text("onCrashFinished: ") + data}));
    QVERIFY2(scene.uploader.findChildren<QFile *>().isEmpty() || !scene.uploader.findChild<QFile *>()->isOpen(),
             "the file is closed");
}

QTEST_GUILESS_MAIN(TestCrashRequest)
#include "tst_crashrequest.moc"
