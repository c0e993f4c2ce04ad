#include "support/files/fileio.h"
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

class TestSingleRequestFile : public QObject
{
    Q_OBJECT

private slots:
    void sendsTheFileByteForByte();
    void attachesOnlyTheFileToTheReply();
    void sendsAnEmptyBodyWhenTheFileIsMissing_data();
    void sendsAnEmptyBodyWhenTheFileIsMissing();
    void deletesTheFileAndGoesOnByTheAnswer_data();
    void deletesTheFileAndGoesOnByTheAnswer();
    void logsTheAnswer();
};

void TestSingleRequestFile::sendsTheFileByteForByte()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    uploadini::write("[system]\nnickname=ann\nuserId=42\nnamespace=space\n[room]\n7=l\xC3\xB6"
                     "bby\n");
    uploadini::set(text("system/httppath"), scene.addFile(text("request.json"), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.httpUpload(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);
    QCOMPARE(scene.server.requests().size(), 1);
    const RecordedRequest request = scene.server.requests().first();
    QCOMPARE(request.method, QByteArray("POST"));
    QCOMPARE(request.path, kRequestFilePath);
    QCOMPARE(request.header("Content-Type"), formType());
    QCOMPARE(request.body, logForm(text("nickname-ann.userid-42.roomid-7.roomname-l\xC3\xB6"
                                        "bby"),
                                   text("space"), text("request.json"), "content"));
}

void TestSingleRequestFile::attachesOnlyTheFileToTheReply()
{
    UploadScene scene({}, Reply::silence());
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("request.json"), "content");
    uploadini::set(text("system/httppath"), path);
    QCOMPARE(scene.run([&] { scene.uploader.httpUpload(); }, [&] { return !scene.server.requests().isEmpty(); }),
             RunEnd::Stopped);
    const QNetworkReply *reply = scene.replyInFlight();
    QVERIFY(reply != nullptr);
    QCOMPARE(reply->dynamicPropertyNames(), QList<QByteArray>{"file"});
    QCOMPARE(reply->property("file").value<QFile *>()->fileName(), path);
    QCOMPARE(reply->manager()->parent(), static_cast<QObject *>(&scene.uploader));
}

void TestSingleRequestFile::sendsAnEmptyBodyWhenTheFileIsMissing_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing file") << text("missing.json");
    QTest::newRow("missing folder") << text("missing/request.json");
}

void TestSingleRequestFile::sendsAnEmptyBodyWhenTheFileIsMissing()
{
    QFETCH(const QString, path);
    UploadScene scene;
    QVERIFY(scene.isValid());
    uploadini::set(text("system/httppath"), scene.path(path));
    QCOMPARE(scene.run([&] { scene.uploader.httpUpload(); }), RunEnd::Quit);
    // A form around a device that is not there has no bytes to offer at all: the service gets no form but nothing.
    const QList<RecordedRequest> requests = scene.server.requests();
    QCOMPARE(requests.size(), 2);
    QCOMPARE(requests.first().method, QByteArray("POST"));
    QCOMPARE(requests.first().header("Content-Type"), formType());
    QCOMPARE(requests.first().header("Content-Length"), QByteArray("0"));
    QVERIFY(requests.at(1).path.endsWith("/v1/logfile/upload"));
}

void TestSingleRequestFile::deletesTheFileAndGoesOnByTheAnswer_data()
{
    QTest::addColumn<Reply>("answer");
    QTest::addColumn<bool>("deleted");
    QTest::addColumn<bool>("quits");
    const QByteArray json = QByteArrayLiteral("{\"Code\":0}");
    QTest::newRow("Code 0") << Reply::json(json) << true << false;
    QTest::newRow("Code 3") << Reply::json("{\"Code\":3}") << false << false;
    QTest::newRow("no Code") << Reply::json("{}") << true << false;
    QTest::newRow("array") << Reply::json("[]") << true << false;
    QTest::newRow("words") << Reply::http(200, "OK") << false << false;
    QTest::newRow("empty") << Reply::http(200, QByteArray()) << false << false;
    QTest::newRow("404 with JSON") << Reply::http(404, json) << false << true;
    QTest::newRow("500") << Reply::http(500, QByteArray()) << false << true;
    QTest::newRow("reset after the body") << Reply::resetAfterBody() << false << true;
    QTest::newRow("close without answer") << Reply::closeAfterBody() << false << true;
    QTest::newRow("garbage") << Reply::garbage() << false << true;
}

void TestSingleRequestFile::deletesTheFileAndGoesOnByTheAnswer()
{
    QFETCH(const Reply, answer);
    QFETCH(const bool, deleted);
    QFETCH(const bool, quits);
    UploadScene scene({}, answer);
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("request.json"), "content");
    const QString other = scene.addFile(text("other.json"), "content");
    uploadini::set(text("system/httppath"), path);
    scene.addGroup(text("http_1"), other);
    const QByteArray ini = readFile(uploadini::path());
    // The own log gets the same answer, of which one that is not JSON ends nothing.
    const auto replies = [&] { return scene.uploader.findChildren<QNetworkReply *>(); };
    QVERIFY(scene.run([&] { scene.uploader.httpUpload(); }, [&] { return replies().size() > 1; }) != RunEnd::TimedOut);
    QCOMPARE(replies().size(), quits ? 1 : 2);

    QCOMPARE(QFileInfo::exists(path), !deleted);
    QVERIFY(QFileInfo::exists(other));
    QCOMPARE(readFile(uploadini::path()), ini);
    QCOMPARE(scene.uploader.httpGroups, QList<QString>{text("http_1")});
    if (!quits) {
        QCOMPARE(replies().at(1)->url().path().toUtf8(), kLogFilePath);
    }
}

void TestSingleRequestFile::logsTheAnswer()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(text("request.json"), "content");
    uploadini::set(text("system/httppath"), path);
    QCOMPARE(scene.run([&] { scene.uploader.httpUpload(); }), RunEnd::Quit);
    QCOMPARE(scene.lines(),
             (QStringList{text("getFileInfo: \"\""), text("onHttpFinished: \"Unknown error\" QNetworkReply::NoError"),
                          text("onHttpFinished: data: \"{\\\"Code\\\":0}\" \"") + path + QLatin1Char('"'),
                          text("getFileInfo: \"\"")}));
}

QTEST_GUILESS_MAIN(TestSingleRequestFile)
#include "tst_singlerequestfile.moc"
