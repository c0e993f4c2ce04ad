#include "wire/uploadrequest.h"

#include "support/files/fileio.h"
#include "support/process/messagecatcher.h"
#include "support/process/waitfor.h"
#include "support/server/scriptedserver.h"
#include "wire/snapshotfile.h"

#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>

namespace {

/// The wire form, written out: everything else in the tests may be built on it, so nothing here is.
const QByteArray kDelimiter = QByteArrayLiteral("----------GI3Ef1ei4KM7KM7ae0ei4ei4ei4ae0\r\n");
const QByteArray kEnd = QByteArrayLiteral("----------GI3Ef1ei4KM7KM7ae0ei4ei4ei4ae0--\r\n");
const QByteArray kContentType =
    QByteArrayLiteral("multipart/form-data; boundary=--------GI3Ef1ei4KM7KM7ae0ei4ei4ei4ae0");

} // namespace

class TestUploadRequest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void sendsFieldsInTheirOrderAndTheFileLast();
    void sendsTheFileAloneWithoutFields();
    void sendsEmptyFieldsAndAnEmptyFile();
    void sendsBinaryContentUntouched();
    void sendsTheBareFileName_data();
    void sendsTheBareFileName();
    void sendsOneWellFormedHead();
    void ownsManagerReplyAndFile();
    void releasesEverythingButTheFormWithItsOwner();
    void takesTheFileOnce();
    void takesNoFileFromAReplyWithoutOne();
    void takesTheWholeAnswer();
    void keepsManagerAndReplyWhenTheAnswerIsTaken();
    void sendsTheSameFormTwice();
    void saysThatRedirectsAreNotFollowed();

private:
    /// Posts \a request with the file at \a path and waits for the answer.
    QNetworkReply *post(UploadRequest &request, const QString &path)
    {
        auto *file = new SnapshotFile(path, nullptr);
        if (!file->open(QIODevice::ReadOnly))
            qFatal("cannot open %s", qPrintable(path));
        QNetworkReply *reply = request.post(file, owner.data());
        if (!waitFor([&] { return reply->isFinished(); }))
            qFatal("no answer");
        return reply;
    }
    QString addFile(const QString &name, const QByteArray &bytes)
    {
        const QString path = dir->filePath(name);
        if (!writeFile(path, bytes))
            qFatal("cannot write %s", qPrintable(path));
        return path;
    }
    UploadRequest requestTo(const char *path) const { return UploadRequest(server->url(QLatin1String(path))); }

    QScopedPointer<QTemporaryDir> dir;
    QScopedPointer<ScriptedServer> server;
    QScopedPointer<QObject> owner;
};

void TestUploadRequest::init()
{
    dir.reset(new QTemporaryDir);
    server.reset(new ScriptedServer);
    owner.reset(new QObject);
    QVERIFY(dir->isValid());
    QVERIFY(server->isListening());
}

void TestUploadRequest::cleanup()
{
    owner.reset();
    server.reset();
    dir.reset();
}

void TestUploadRequest::sendsFieldsInTheirOrderAndTheFileLast()
{
    UploadRequest request = requestTo("/v1/logfile/upload");
    request.addField("room", "nickname-ann.");
    request.addField("namespace", "space");
    request.addField("again", "line one\r\nline two");
    post(request, addFile(QStringLiteral("client.log"), "first\r\nsecond\n"));

    QCOMPARE(server->requests().size(), 1);
    const RecordedRequest sent = server->requests().first();
    QCOMPARE(sent.method, QByteArray("POST"));
    QCOMPARE(sent.path, QByteArray("/v1/logfile/upload"));
    QCOMPARE(sent.header("Content-Type"), kContentType);
    const QByteArray expected =
        kDelimiter + "Content-Disposition: form-data; name=\"room\"\r\n\r\nnickname-ann.\r\n" + kDelimiter +
        "Content-Disposition: form-data; name=\"namespace\"\r\n\r\nspace\r\n" + kDelimiter +
        "Content-Disposition: form-data; name=\"again\"\r\n\r\nline one\r\nline two\r\n" + kDelimiter +
        "Content-Disposition: form-data; name=\"file\"; filename=\"client.log\"\r\n"
        "Content-Type: image/png\r\n\r\nfirst\r\nsecond\n\r\n" +
        kEnd;
    QCOMPARE(sent.body, expected);
    QCOMPARE(sent.contentLength, qint64(expected.size()));
}

void TestUploadRequest::sendsTheFileAloneWithoutFields()
{
    UploadRequest request = requestTo("/");
    post(request, addFile(QStringLiteral("a"), "x"));
    QCOMPARE(server->requests().first().body, kDelimiter +
                                                  "Content-Disposition: form-data; name=\"file\"; filename=\"a\"\r\n"
                                                  "Content-Type: image/png\r\n\r\nx\r\n" +
                                                  kEnd);
}

void TestUploadRequest::sendsEmptyFieldsAndAnEmptyFile()
{
    UploadRequest request = requestTo("/");
    request.addField("room", QByteArray());
    post(request, addFile(QStringLiteral("a"), QByteArray()));
    QCOMPARE(server->requests().first().body, kDelimiter + "Content-Disposition: form-data; name=\"room\"\r\n\r\n\r\n" +
                                                  kDelimiter +
                                                  "Content-Disposition: form-data; name=\"file\"; filename=\"a\"\r\n"
                                                  "Content-Type: image/png\r\n\r\n\r\n" +
                                                  kEnd);
}

void TestUploadRequest::sendsBinaryContentUntouched()
{
    QByteArray content;
    for (int i = 0; i < 300000; ++i)
        content += static_cast<char>(i * 7 + i / 256);
    content += kDelimiter;
    UploadRequest request = requestTo("/");
    request.addField("field", content);
    post(request, addFile(QStringLiteral("a.bin"), content));
    const QByteArray expected = kDelimiter + "Content-Disposition: form-data; name=\"field\"\r\n\r\n" + content +
                                "\r\n" + kDelimiter +
                                "Content-Disposition: form-data; name=\"file\"; filename=\"a.bin\"\r\n"
                                "Content-Type: image/png\r\n\r\n" +
                                content + "\r\n" + kEnd;
    QVERIFY(server->requests().first().body == expected);
}

void TestUploadRequest::sendsTheBareFileName_data()
{
    QTest::addColumn<QString>("name"); ///< on disk, may have folders in front
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("plain") << QStringLiteral("client.log") << QByteArray("client.log");
    QTest::newRow("in folders") << QStringLiteral("one/two/client.log") << QByteArray("client.log");
    QTest::newRow("spaces") << QStringLiteral(" a  b .log") << QByteArray(" a  b .log");
    QTest::newRow("no extension") << QStringLiteral("client") << QByteArray("client");
    QTest::newRow("hidden") << QStringLiteral(".client") << QByteArray(".client");
    QTest::newRow("non-ASCII") << QString::fromUtf8("cl\xC3\xAF"
                                                    "ent \xE4\xB8\xAD \xF0\x9F\x98\x80.log")
                               << QByteArray("cl\xC3\xAF"
                                             "ent \xE4\xB8\xAD \xF0\x9F\x98\x80.log");
    QTest::newRow("quotes") << QStringLiteral("a\"; name=\"room.log") << QByteArray("a%22; name=%22room.log");
    QTest::newRow("line ends") << QStringLiteral("a\r\nX-Header: b\n.log") << QByteArray("a%0D%0AX-Header: b%0A.log");
    QTest::newRow("place marker") << QStringLiteral("a%1b%2.log") << QByteArray("a%1b%2.log");
    QTest::newRow("percent signs") << QStringLiteral("100%22.log") << QByteArray("100%22.log");
    QTest::newRow("backslash") << QStringLiteral("a\\b.log") << QByteArray("a\\b.log");
    QTest::newRow("semicolon and comma") << QStringLiteral("a;b,c=d.log") << QByteArray("a;b,c=d.log");
}

void TestUploadRequest::sendsTheBareFileName()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, sent);
    QVERIFY(QDir(dir->path()).mkpath(QStringLiteral("one/two")));
    UploadRequest request = requestTo("/");
    post(request, addFile(name, "x"));
    QCOMPARE(server->requests().first().body, kDelimiter +
                                                  "Content-Disposition: form-data; name=\"file\"; filename=\"" + sent +
                                                  "\"\r\nContent-Type: image/png\r\n\r\nx\r\n" + kEnd);
}

void TestUploadRequest::sendsOneWellFormedHead()
{
    UploadRequest request = requestTo("/some/path");
    post(request, addFile(QStringLiteral("a"), "x"));
    const RecordedRequest sent = server->requests().first();
    QCOMPARE(sent.problem, QString());
    QVERIFY(sent.rawHead.startsWith("POST /some/path HTTP/1.1\r\n"));
    QCOMPARE(sent.countHeader("Content-Type"), 1);
    QCOMPARE(sent.countHeader("Content-Length"), 1);
    QCOMPARE(sent.countHeader("Transfer-Encoding"), 0);
    QCOMPARE(sent.header("Host"), "127.0.0.1:" + QByteArray::number(server->port()));
}

void TestUploadRequest::ownsManagerReplyAndFile()
{
    UploadRequest request = requestTo("/");
    const QString path = addFile(QStringLiteral("a"), "x");
    auto *file = new SnapshotFile(path, owner.data());
    QVERIFY(file->open(QIODevice::ReadOnly));
    const QNetworkReply *reply = request.post(file, owner.data());
    QCOMPARE(reply->manager()->parent(), owner.data());
    QCOMPARE(file->parent(), reply);
    QCOMPARE(reply->dynamicPropertyNames(), QList<QByteArray>{"file"});
    QCOMPARE(reply->property("file").value<QFile *>(), static_cast<QFile *>(file));

    auto *second = new SnapshotFile(path, nullptr);
    QVERIFY(second->open(QIODevice::ReadOnly));
    QVERIFY2(request.post(second, owner.data())->manager() != reply->manager(), "each upload has its own manager");
}

void TestUploadRequest::releasesEverythingButTheFormWithItsOwner()
{
    UploadRequest request = requestTo("/");
    QPointer<QFile> file = new SnapshotFile(addFile(QStringLiteral("a"), "x"), nullptr);
    QVERIFY(file->open(QIODevice::ReadOnly));
    const QPointer<QNetworkReply> reply = request.post(file, owner.data());
    const QPointer<QNetworkAccessManager> manager = reply->manager();
    owner.reset();
    QVERIFY(manager.isNull());
    QVERIFY(reply.isNull());
    QVERIFY(file.isNull());
}

void TestUploadRequest::takesTheFileOnce()
{
    UploadRequest request = requestTo("/");
    QNetworkReply *reply = post(request, addFile(QStringLiteral("a"), "x"));
    const QPointer<QFile> file = takeFile(reply);
    QVERIFY(!file.isNull());
    QVERIFY(!file->isOpen());
    QCOMPARE(file->fileName(), dir->filePath(QStringLiteral("a")));
    QTRY_VERIFY(file.isNull());
    QVERIFY(QFile::exists(dir->filePath(QStringLiteral("a"))));
}

void TestUploadRequest::takesNoFileFromAReplyWithoutOne()
{
    QNetworkAccessManager manager;
    QNetworkReply *reply = manager.get(QNetworkRequest(QUrl(QStringLiteral("data:,text"))));
    QVERIFY(takeFile(reply) == nullptr);
    reply->setProperty("file", QStringLiteral("no file"));
    QVERIFY(takeFile(reply) == nullptr);
}

void TestUploadRequest::takesTheWholeAnswer()
{
    const QByteArray answer(200000, 'a');
    server.reset(new ScriptedServer(0, {}, Reply::http(200, answer)));
    UploadRequest request = requestTo("/");
    QNetworkReply *reply = post(request, addFile(QStringLiteral("a"), "x"));
    QVERIFY(takeAnswer(reply) == answer);
    QCOMPARE(takeAnswer(reply), QByteArray());
}

void TestUploadRequest::keepsManagerAndReplyWhenTheAnswerIsTaken()
{
    UploadRequest request = requestTo("/");
    const QPointer<QNetworkReply> reply = post(request, addFile(QStringLiteral("a"), "x"));
    const QPointer<QNetworkAccessManager> manager = reply->manager();
    QCOMPARE(takeAnswer(reply), QByteArray("{\"Code\":0}"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!reply.isNull());
    QVERIFY(!manager.isNull());
    QCOMPARE(reply->error(), QNetworkReply::NoError);

    // The manager's connections are gone, but it works on.
    QNetworkReply *again = manager->get(QNetworkRequest(server->url()));
    QVERIFY(waitFor([&] { return again->isFinished(); }));
    QCOMPARE(again->error(), QNetworkReply::NoError);
    QCOMPARE(server->connections(), 2);
}

void TestUploadRequest::sendsTheSameFormTwice()
{
    UploadRequest request = requestTo("/");
    request.addField("room", "text");
    const QString path = addFile(QStringLiteral("a"), "x");
    post(request, path);
    post(request, path);
    QCOMPARE(server->requests().size(), 2);
    QVERIFY(server->requests().at(1).isRepeatOf(server->requests().at(0)));
}

void TestUploadRequest::saysThatRedirectsAreNotFollowed()
{
    UploadRequest request = requestTo("/");
    const QNetworkReply *reply = post(request, addFile(QStringLiteral("a"), "x"));
    QCOMPARE(reply->request().attribute(QNetworkRequest::RedirectPolicyAttribute),
             QVariant(static_cast<int>(QNetworkRequest::ManualRedirectPolicy)));
}

QTEST_GUILESS_MAIN(TestUploadRequest)
#include "tst_uploadrequest.moc"
