#include "servicetest.h"
#include "storedfiles.h"
#include "support/files/fileio.h"
#include "support/server/rawclient.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtNetwork/QHttpMultiPart>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkReply>
#include <QtTest/QtTest>

namespace {

constexpr int kPatienceMs = 20000;

QString sha256(const QByteArray &bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

} // namespace

class TestLogService : public ServiceTest
{
    Q_OBJECT

private slots:
    void storesWhatEachEndpointTakes_data();
    void storesWhatEachEndpointTakes();
    void takesFormsOfTheNetworkModule();
    void describesAnUploadInItsIndex();
    void describesAReportInItsIndex();
    void storesEveryByte();
    void neverUsesTheFileNameAsAPath_data();
    void neverUsesTheFileNameAsAPath();
    void storesDuplicatesAgain();
    void countsOnAfterARestart();
};

void TestLogService::storesWhatEachEndpointTakes_data()
{
    QTest::addColumn<bool>("isReport");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QMap<QString, QByteArray>>("files");
    QTest::addColumn<QByteArray>("line");

    const QByteArray json("{\n    \"LogTitle\": \"kx_error\",\n    \"UserSid\": \"42\",\n    \"user_id\": \"42\"\n}\n");
    const QByteArray base(R"({"namespace":"demo","nickname":"ann","sdk":5,"user_id":"42","version":"1"})");
    const QByteArray info(R"({"info":[]})");
    const QMap<QString, QByteArray> logFiles = {{QStringLiteral("room.txt"), "nickname-ann.userid-42."},
                                                {QStringLiteral("namespace.txt"), "demo"},
                                                {QStringLiteral("file.bin"), "bytes"}};
    const QByteArray logLine(" \"a.log\" 5 bytes from \"nickname-ann.userid-42.\" answered {\"Code\":0}, stored as ");

    QTest::newRow("crash") << false << kCrashPath << formType()
                           << form({textPart("base", base), textPart("info", info), filePart("a.dmp", "bytes")})
                           << QStringLiteral("000001-crash")
                           << QMap<QString, QByteArray>{{QStringLiteral("base.json"), base},
                                                        {QStringLiteral("info.json"), info},
                                                        {QStringLiteral("file.bin"), "bytes"}}
                           << QByteArray(" crash \"a.dmp\" 5 bytes from \"42 ann\" answered {\"Code\":0}, stored as "
                                         "000001-crash\n");
    QTest::newRow("logfile") << false << kLogFilePath << formType() << logForm("a.log", "bytes")
                             << QStringLiteral("000001-logfile") << logFiles
                             << " logfile" + logLine + "000001-logfile\n";
    QTest::newRow("producer") << false << kProducerPath << formType() << logForm("a.log", "bytes")
                              << QStringLiteral("000001-producer") << logFiles
                              << " producer" + logLine + "000001-producer\n";
    QTest::newRow("uploadrequest") << false << kRequestFilePath << formType() << logForm("a.log", "bytes")
                                   << QStringLiteral("000001-uploadrequest") << logFiles
                                   << " uploadrequest" + logLine + "000001-uploadrequest\n";
    QTest::newRow("error") << false << kErrorPath << QByteArray("application/json") << json
                           << QStringLiteral("000001-error")
                           << QMap<QString, QByteArray>{{QStringLiteral("error.json"), json}}
                           << " error - " + QByteArray::number(json.size()) +
                                  " bytes from \"42\" answered {\"Code\":0}, stored as 000001-error\n";
    QTest::newRow("report") << true << kReportPath << QByteArray("application/json") << json
                            << QStringLiteral("000001-report")
                            << QMap<QString, QByteArray>{{QStringLiteral("report.json"), json}}
                            << " report - " + QByteArray::number(json.size()) +
                                   " bytes from \"42 kx_error\" answered {\"Code\":0}, stored as 000001-report\n";
    QTest::newRow("empty file") << false << kLogFilePath << formType() << logForm("a.log", "")
                                << QStringLiteral("000001-logfile")
                                << QMap<QString, QByteArray>{{QStringLiteral("room.txt"), "nickname-ann.userid-42."},
                                                             {QStringLiteral("namespace.txt"), "demo"},
                                                             {QStringLiteral("file.bin"), ""}}
                                << QByteArray(" logfile \"a.log\" 0 bytes from ");
}

void TestLogService::storesWhatEachEndpointTakes()
{
    QFETCH(bool, isReport);
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, contentType);
    QFETCH(QByteArray, body);
    QFETCH(QString, name);
    using Files = QMap<QString, QByteArray>;
    QFETCH(Files, files);
    QFETCH(QByteArray, line);

    const RawAnswer answer =
        RawClient::ask(isReport ? service().reportPort() : service().port(), post(path, contentType, body));
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.body, QByteArray("{\"Code\":0}"));
    QVERIFY2(answer.head.contains("\r\nContent-Type: application/json\r\n"), answer.head.constData());

    QStringList expected = {name, name + QStringLiteral("/upload.json")};
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        expected << name + QLatin1Char('/') + file.key();
        QCOMPARE(readFile(stored(expected.last())), file.value());
    }
    expected.sort();
    QCOMPARE(tree(folder()), expected);
    QVERIFY2(service().waitForRequestLine(line), service().requestLines().constData());
}

void TestLogService::takesFormsOfTheNetworkModule()
{
    QHttpMultiPart form(QHttpMultiPart::FormDataType);
    form.setBoundary(formBoundary());
    const auto add = [&form](const char *disposition, const QByteArray &body) {
        QHttpPart part;
        part.setHeader(QNetworkRequest::ContentDispositionHeader, QLatin1String(disposition));
        part.setBody(body);
        form.append(part);
    };
    add("form-data; name=\"room\"", "nickname-ann.");
    add("form-data; name=\"namespace\"", "");
    add("form-data; name=\"file\"; filename=\"a\"b.log\"", "bytes");
    const QString url = QStringLiteral("http://127.0.0.1:%1%2").arg(service().port());
    QNetworkRequest request(QUrl(url.arg(QString::fromLatin1(kLogFilePath))));
    request.setHeader(QNetworkRequest::ContentTypeHeader, formType());
    QNetworkAccessManager manager;
    const QScopedPointer<QNetworkReply> reply(manager.post(request, &form));
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), kPatienceMs);
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(reply->readAll(), QByteArray("{\"Code\":0}"));
    QVERIFY(!reply->hasRawHeader("Content-Encoding"));
    QCOMPARE(readFile(stored(QStringLiteral("000001-logfile/file.bin"))), QByteArray("bytes"));
    QVERIFY(service().waitForRequestLine(" logfile \"a\\\"b.log\" 5 bytes from \"nickname-ann.\" "));
}

void TestLogService::describesAnUploadInItsIndex()
{
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    const QByteArray room("nickname-\"\xe6\x97\xa5\".");
    QCOMPARE(RawClient::ask(service().port(), post(kProducerPath, formType(),
                                                   form({textPart("room", room), textPart("namespace", ""),
                                                         filePart("x\x01y", "bytes")})))
                 .status,
             200);

    auto index = QJsonDocument::fromJson(readFile(stored(QStringLiteral("000001-producer/upload.json")))).object();
    const auto time = QDateTime::fromString(index.take(QStringLiteral("time")).toString(), Qt::ISODate);
    QVERIFY(time.isValid());
    QVERIFY(time >= before);
    QVERIFY(time <= QDateTime::currentDateTimeUtc());
    const QJsonObject expected = {
        {QStringLiteral("kind"), QStringLiteral("producer")},
        {QStringLiteral("path"), QString::fromLatin1(kProducerPath)},
        {QStringLiteral("fileName"), QStringLiteral("x\x01y")},
        {QStringLiteral("size"), 5},
        {QStringLiteral("sha256"), sha256("bytes")},
        {QStringLiteral("fields"),
         QJsonObject{{QStringLiteral("room"), QString::fromUtf8(room)}, {QStringLiteral("namespace"), QString()}}}};
    QCOMPARE(index, expected);
}

void TestLogService::describesAReportInItsIndex()
{
    const QByteArray report(R"({"Level":2,"UserSid":"42"})");
    QCOMPARE(RawClient::ask(service().reportPort(), post(kReportPath, "application/json", report)).status, 200);
    auto index = QJsonDocument::fromJson(readFile(stored(QStringLiteral("000001-report/upload.json")))).object();
    index.remove(QStringLiteral("time"));
    const QJsonObject expected = {{QStringLiteral("kind"), QStringLiteral("report")},
                                  {QStringLiteral("path"), QStringLiteral("/log")},
                                  {QStringLiteral("fileName"), QJsonValue()},
                                  {QStringLiteral("size"), report.size()},
                                  {QStringLiteral("sha256"), sha256(report)},
                                  {QStringLiteral("fields"), QJsonDocument::fromJson(report).object()}};
    QCOMPARE(index, expected);
}

void TestLogService::storesEveryByte()
{
    const QByteArray bytes = mixedBytes(3 * 1024 * 1024 + 7);
    QCOMPARE(upload("a.log", bytes).status, 200);
    QVERIFY(readFile(stored(QStringLiteral("000001-logfile/file.bin"))) == bytes);
}

void TestLogService::neverUsesTheFileNameAsAPath_data()
{
    QTest::addColumn<QByteArray>("fileName");
    QTest::addColumn<QString>("asText");
    const auto add = [](const char *row, const QByteArray &fileName) {
        QTest::newRow(row) << fileName << QString::fromUtf8(fileName);
    };
    add("parent folders", "../../x");
    add("absolute", "/etc/passwd");
    add("folder", "..");
    add("own index", "upload.json");
    add("empty", "");
    add("quote", "a\"b");
    add("backslashes", "..\\..\\x");
    add("non-ASCII", "\xe6\x97\xa5\xe8\xaa\x8c \xc3\xa9.log");
    add("control characters", "a\nb\x1b[2J");
    add("very long", QByteArray(6000, 'x'));
    QTest::newRow("not UTF-8") << QByteArray("a\xff.log") << QStringLiteral("a\uFFFD.log");
}

void TestLogService::neverUsesTheFileNameAsAPath()
{
    QFETCH(QByteArray, fileName);
    // Room for climbing: what the service writes beside its folder is seen too.
    QTemporaryDir outer;
    const QString inner = outer.filePath(QStringLiteral("a/b/c"));
    LogServiceProcess service;
    QVERIFY(service.start(LogServiceProcess::onFreePorts(inner)));

    const auto request = post(kLogFilePath, formType(), logForm(fileName, "bytes"));
    QCOMPARE(RawClient::ask(service.port(), request).status, 200);
    QCOMPARE(service.stop(), 0);

    QStringList paths = tree(outer.path());
    paths = paths.filter(QRegularExpression(QStringLiteral("^(?!a/b/c/\\.)")));
    const QString upload = QStringLiteral("a/b/c/000001-logfile");
    QCOMPARE(paths, QStringList({QStringLiteral("a"), QStringLiteral("a/b"), QStringLiteral("a/b/c"), upload,
                                 upload + QStringLiteral("/file.bin"), upload + QStringLiteral("/namespace.txt"),
                                 upload + QStringLiteral("/room.txt"), upload + QStringLiteral("/upload.json")}));
    QCOMPARE(readFile(outer.filePath(upload + QStringLiteral("/file.bin"))), QByteArray("bytes"));
    const auto index = QJsonDocument::fromJson(readFile(outer.filePath(upload + QStringLiteral("/upload.json"))));
    QTEST(index.object().value(QStringLiteral("fileName")).toString(), "asText");
    QCOMPARE(service.requestLines().count('\n'), 1);
    QVERIFY(!service.requestLines().contains('\x1b'));
}

void TestLogService::storesDuplicatesAgain()
{
    QCOMPARE(upload("a.log", "bytes").status, 200);
    QCOMPARE(upload("a.log", "bytes").status, 200);
    QCOMPARE(readFile(stored(QStringLiteral("000001-logfile/file.bin"))), QByteArray("bytes"));
    QCOMPARE(readFile(stored(QStringLiteral("000002-logfile/file.bin"))), QByteArray("bytes"));
}

void TestLogService::countsOnAfterARestart()
{
    QCOMPARE(upload("a.log", "first").status, 200);
    QCOMPARE(service().stop(), 0);
    QVERIFY(QDir(folder()).mkpath(QStringLiteral(".incoming-9/rest")));
    QVERIFY(service().start(LogServiceProcess::onFreePorts(folder())));
    QVERIFY(!QFile::exists(stored(QStringLiteral(".incoming-9"))));
    QCOMPARE(upload("a.log", "second").status, 200);
    QCOMPARE(readFile(stored(QStringLiteral("000001-logfile/file.bin"))), QByteArray("first"));
    QCOMPARE(readFile(stored(QStringLiteral("000002-logfile/file.bin"))), QByteArray("second"));
}

QTEST_GUILESS_MAIN(TestLogService)
#include "tst_logservice.moc"
