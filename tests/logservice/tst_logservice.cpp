#include "logserviceprocess.h"
#include "rawclient.h"
#include "wireform.h"

#include <QtTest/QtTest>

using namespace wireform;

namespace {

constexpr int kPatienceMs = 20000;

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<cannot be opened>");
}

/// Everything below \a folder but the service's lock, as sorted relative paths of files and folders.
QStringList tree(const QString &folder)
{
    QStringList paths;
    QDirIterator found(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (found.hasNext())
        paths << QDir(folder).relativeFilePath(found.next());
    paths.removeOne(QStringLiteral(".lock"));
    paths.sort();
    return paths;
}

/// Bytes of every value, among them line ends and dashes.
QByteArray mixedBytes(int count)
{
    QByteArray bytes(count, '\0');
    quint32 state = 1;
    for (char &byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = "\r\n-"[(state >> 24U) % 3];
        if ((state >> 16U) % 4 != 0)
            byte = char(state >> 24U);
    }
    return bytes;
}

qint64 residentKilobytes(qint64 processId)
{
    QProcess ps;
    ps.start(QStringLiteral("ps"),
             {QStringLiteral("-o"), QStringLiteral("rss="), QStringLiteral("-p"), QString::number(processId)});
    ps.waitForFinished();
    return ps.readAllStandardOutput().trimmed().toLongLong();
}

} // namespace

class TestLogService : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void storesWhatEachEndpointTakes_data();
    void storesWhatEachEndpointTakes();
    void describesAnUploadInItsIndex();
    void describesAReportInItsIndex();
    void storesEveryByte();
    void neverUsesTheFileNameAsAPath_data();
    void neverUsesTheFileNameAsAPath();
    void storesDuplicatesAgain();
    void takesSeveralRequestsOnOneConnection();
    void endsTheConnectionWhenAsked();
    void takesChunkedBodies();
    void serves64ClientsAtOnce();
    void holdsNoFileInMemory();
    void abortedUploadLeavesNothing();
    void endsAtOnceWhileAnUploadIsSilent();
    void countsOnAfterARestart();

private:
    QString stored(const QString &path) const { return folder_->filePath(path); }
    RawAnswer upload(const QByteArray &fileName, const QByteArray &body)
    {
        return RawClient::ask(service_->port(), post(logFilePath(), formType(), logForm(fileName, body)));
    }

    QScopedPointer<QTemporaryDir> folder_;
    QScopedPointer<LogServiceProcess> service_;
};

void TestLogService::init()
{
    folder_.reset(new QTemporaryDir);
    service_.reset(new LogServiceProcess);
    QVERIFY(service_->start(LogServiceProcess::onFreePorts(folder_->path())));
}

void TestLogService::cleanup()
{
    const int status = service_->stop();
    const QByteArray errors = service_->errorText();
    service_.reset();
    folder_.reset();
    QCOMPARE(errors, QByteArray());
    QCOMPARE(status, 0);
}

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

    QTest::newRow("crash") << false << crashPath() << formType()
                           << form({textPart("base", base), textPart("info", info), filePart("a.dmp", "bytes")})
                           << QStringLiteral("000001-crash")
                           << QMap<QString, QByteArray>{{QStringLiteral("base.json"), base},
                                                        {QStringLiteral("info.json"), info},
                                                        {QStringLiteral("file.bin"), "bytes"}}
                           << QByteArray(" crash \"a.dmp\" 5 bytes from \"42 ann\" answered {\"Code\":0}, stored as "
                                         "000001-crash\n");
    QTest::newRow("logfile") << false << logFilePath() << formType() << logForm("a.log", "bytes")
                             << QStringLiteral("000001-logfile") << logFiles
                             << " logfile" + logLine + "000001-logfile\n";
    QTest::newRow("producer") << false << producerPath() << formType() << logForm("a.log", "bytes")
                              << QStringLiteral("000001-producer") << logFiles
                              << " producer" + logLine + "000001-producer\n";
    QTest::newRow("uploadrequest") << false << requestFilePath() << formType() << logForm("a.log", "bytes")
                                   << QStringLiteral("000001-uploadrequest") << logFiles
                                   << " uploadrequest" + logLine + "000001-uploadrequest\n";
    QTest::newRow("error") << false << errorPath() << QByteArray("application/json") << json
                           << QStringLiteral("000001-error")
                           << QMap<QString, QByteArray>{{QStringLiteral("error.json"), json}}
                           << " error - " + QByteArray::number(json.size()) +
                                  " bytes from \"42\" answered {\"Code\":0}, stored as 000001-error\n";
    QTest::newRow("report") << true << reportPath() << QByteArray("application/json") << json
                            << QStringLiteral("000001-report")
                            << QMap<QString, QByteArray>{{QStringLiteral("report.json"), json}}
                            << " report - " + QByteArray::number(json.size()) +
                                   " bytes from \"42 kx_error\" answered {\"Code\":0}, stored as 000001-report\n";
    QTest::newRow("empty file") << false << logFilePath() << formType() << logForm("a.log", "")
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
        RawClient::ask(isReport ? service_->reportPort() : service_->port(), post(path, contentType, body));
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.body, QByteArray("{\"Code\":0}"));
    QVERIFY2(answer.head.contains("\r\nContent-Type: application/json\r\n"), answer.head.constData());

    QStringList expected = {name, name + QStringLiteral("/upload.json")};
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        expected << name + QLatin1Char('/') + file.key();
        QCOMPARE(contents(stored(expected.last())), file.value());
    }
    expected.sort();
    QCOMPARE(tree(folder_->path()), expected);
    QVERIFY2(service_->waitForRequestLine(line), service_->requestLines().constData());
}

void TestLogService::describesAnUploadInItsIndex()
{
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    const QByteArray room("nickname-\"\xe6\x97\xa5\".");
    QCOMPARE(RawClient::ask(service_->port(), post(producerPath(), formType(),
                                                   form({textPart("room", room), textPart("namespace", ""),
                                                         filePart("x\x01y", "bytes")})))
                 .status,
             200);

    auto index = QJsonDocument::fromJson(contents(stored(QStringLiteral("000001-producer/upload.json")))).object();
    const auto time = QDateTime::fromString(index.take(QStringLiteral("time")).toString(), Qt::ISODate);
    QVERIFY(time.isValid());
    QVERIFY(time >= before);
    QVERIFY(time <= QDateTime::currentDateTimeUtc());
    const QJsonObject expected = {
        {QStringLiteral("kind"), QStringLiteral("producer")},
        {QStringLiteral("path"), QString::fromLatin1(producerPath())},
        {QStringLiteral("fileName"), QStringLiteral("x\x01y")},
        {QStringLiteral("size"), 5},
        {QStringLiteral("fields"),
         QJsonObject{{QStringLiteral("room"), QString::fromUtf8(room)}, {QStringLiteral("namespace"), QString()}}}};
    QCOMPARE(index, expected);
}

void TestLogService::describesAReportInItsIndex()
{
    const QByteArray report(R"({"Level":2,"UserSid":"42"})");
    QCOMPARE(RawClient::ask(service_->reportPort(), post(reportPath(), "application/json", report)).status, 200);
    auto index = QJsonDocument::fromJson(contents(stored(QStringLiteral("000001-report/upload.json")))).object();
    index.remove(QStringLiteral("time"));
    const QJsonObject expected = {{QStringLiteral("kind"), QStringLiteral("report")},
                                  {QStringLiteral("path"), QStringLiteral("/log")},
                                  {QStringLiteral("fileName"), QJsonValue()},
                                  {QStringLiteral("size"), report.size()},
                                  {QStringLiteral("fields"), QJsonDocument::fromJson(report).object()}};
    QCOMPARE(index, expected);
}

void TestLogService::storesEveryByte()
{
    const QByteArray bytes = mixedBytes(3 * 1024 * 1024 + 7);
    QCOMPARE(upload("a.log", bytes).status, 200);
    QVERIFY(contents(stored(QStringLiteral("000001-logfile/file.bin"))) == bytes);
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

    const auto request = post(logFilePath(), formType(), logForm(fileName, "bytes"));
    QCOMPARE(RawClient::ask(service.port(), request).status, 200);
    QCOMPARE(service.stop(), 0);

    QStringList paths = tree(outer.path());
    paths.removeOne(QStringLiteral("a/b/c/.lock"));
    const QString upload = QStringLiteral("a/b/c/000001-logfile");
    QCOMPARE(paths, QStringList({QStringLiteral("a"), QStringLiteral("a/b"), QStringLiteral("a/b/c"), upload,
                                 upload + QStringLiteral("/file.bin"), upload + QStringLiteral("/namespace.txt"),
                                 upload + QStringLiteral("/room.txt"), upload + QStringLiteral("/upload.json")}));
    QCOMPARE(contents(outer.filePath(upload + QStringLiteral("/file.bin"))), QByteArray("bytes"));
    const auto index = QJsonDocument::fromJson(contents(outer.filePath(upload + QStringLiteral("/upload.json"))));
    QTEST(index.object().value(QStringLiteral("fileName")).toString(), "asText");
    QCOMPARE(service.requestLines().count('\n'), 1);
    QVERIFY(!service.requestLines().contains('\x1b'));
}

void TestLogService::storesDuplicatesAgain()
{
    QCOMPARE(upload("a.log", "bytes").status, 200);
    QCOMPARE(upload("a.log", "bytes").status, 200);
    QCOMPARE(contents(stored(QStringLiteral("000001-logfile/file.bin"))), QByteArray("bytes"));
    QCOMPARE(contents(stored(QStringLiteral("000002-logfile/file.bin"))), QByteArray("bytes"));
}

void TestLogService::takesSeveralRequestsOnOneConnection()
{
    RawClient client(service_->port());
    for (int i = 0; i < 20; ++i) {
        QVERIFY(client.send(post(logFilePath(), formType(), logForm("a.log", mixedBytes(5000 * i)))));
        const RawAnswer answer = client.readAnswer();
        QCOMPARE(answer.status, 200);
        QVERIFY(!answer.head.contains("Connection: close"));
    }
    QCOMPARE(contents(stored(QStringLiteral("000020-logfile/file.bin"))), mixedBytes(5000 * 19));
}

void TestLogService::endsTheConnectionWhenAsked()
{
    RawClient client(service_->port());
    QVERIFY(client.send(post(logFilePath(), formType(), logForm("a.log", "bytes"), "Connection: close\r\n")));
    const RawAnswer answer = client.readAnswer();
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.body, QByteArray("{\"Code\":0}"));
    QVERIFY(answer.head.contains("\r\nConnection: close\r\n"));
    QVERIFY(client.waitForEnd());
}

void TestLogService::takesChunkedBodies()
{
    QByteArray request = "POST " + logFilePath() + " HTTP/1.1\r\nHost: x\r\nContent-Type: " + formType() +
                         "\r\nTransfer-Encoding: chunked\r\n\r\n";
    const QByteArray body = logForm("a.log", "bytes");
    for (int i = 0; i < body.size(); i += 10) {
        const QByteArray chunk = body.mid(i, 10);
        request += QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n";
    }
    QCOMPARE(RawClient::ask(service_->port(), request + "0\r\n\r\n").status, 200);
    QCOMPARE(contents(stored(QStringLiteral("000001-logfile/file.bin"))), QByteArray("bytes"));
}

void TestLogService::serves64ClientsAtOnce()
{
    const QByteArray request = post(logFilePath(), formType(), logForm("a.log", "bytes"));
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(std::make_unique<RawClient>(service_->port()));
        QVERIFY(clients.back()->send(request.left(request.size() - 20)));
    }
    for (auto client = clients.rbegin(); client != clients.rend(); ++client) {
        QVERIFY((*client)->send(request.right(20)));
        QCOMPARE((*client)->readAnswer().status, 200);
    }
    QVERIFY(QFile::exists(stored(QStringLiteral("000064-logfile/upload.json"))));
}

void TestLogService::holdsNoFileInMemory()
{
    constexpr int kMegabyte = 1024 * 1024;
    constexpr int kMegabytes = 64;
    QCOMPARE(upload("first.log", QByteArray(kMegabyte, 'x')).status, 200);
    const qint64 before = residentKilobytes(service_->processId());
    QVERIFY(before > 0);

    const QByteArray form = logForm("a.log", QByteArray(kMegabytes * kMegabyte, 'x'));
    const QByteArray request = post(logFilePath(), formType(), form);
    RawClient client(service_->port());
    QVERIFY(client.send(request.left(request.size() - 10)));
    const QFileInfo file(stored(QStringLiteral(".incoming-2/file.bin")));
    const auto sizeNow = [&file] { return QFileInfo(file.filePath()).size(); };
    QTRY_VERIFY_WITH_TIMEOUT(sizeNow() > (kMegabytes - 1) * kMegabyte, kPatienceMs);
    QVERIFY(residentKilobytes(service_->processId()) < before + 16 * 1024);

    QVERIFY(client.send(request.right(10)));
    QCOMPARE(client.readAnswer().status, 200);
}

void TestLogService::abortedUploadLeavesNothing()
{
    const QByteArray request = post(logFilePath(), formType(), logForm("a.log", QByteArray(1000000, 'x')));
    RawClient client(service_->port());
    QVERIFY(client.send(request.left(request.size() / 2)));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(stored(QStringLiteral(".incoming-1/file.bin"))), kPatienceMs);
    client.abort();
    QVERIFY(service_->waitForRequestLine("refused with 400: the body was cut off behind "));
    QVERIFY(service_->requestLines().contains(" logfile \"a.log\" "));
    QCOMPARE(tree(folder_->path()), QStringList());

    QCOMPARE(upload("b.log", "bytes").status, 200);
    QVERIFY(QFile::exists(stored(QStringLiteral("000001-logfile"))));
}

void TestLogService::endsAtOnceWhileAnUploadIsSilent()
{
    const QByteArray request = post(logFilePath(), formType(), logForm("a.log", QByteArray(1000000, 'x')));
    RawClient client(service_->port());
    QVERIFY(client.send(request.left(request.size() / 2)));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(stored(QStringLiteral(".incoming-1/file.bin"))), kPatienceMs);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(service_->stop(), 0);
    // Far less than the time that the service waits for a silent client.
    QVERIFY2(timer.elapsed() < 15000, QByteArray::number(timer.elapsed()).constData());
    QCOMPARE(tree(folder_->path()), QStringList());
    QVERIFY(service_->start(LogServiceProcess::onFreePorts(folder_->path())));
}

void TestLogService::countsOnAfterARestart()
{
    QCOMPARE(upload("a.log", "first").status, 200);
    QCOMPARE(service_->stop(), 0);
    QVERIFY(QDir(folder_->path()).mkpath(QStringLiteral(".incoming-9/rest")));
    QVERIFY(service_->start(LogServiceProcess::onFreePorts(folder_->path())));
    QVERIFY(!QFile::exists(stored(QStringLiteral(".incoming-9"))));
    QCOMPARE(upload("a.log", "second").status, 200);
    QCOMPARE(contents(stored(QStringLiteral("000001-logfile/file.bin"))), QByteArray("first"));
    QCOMPARE(contents(stored(QStringLiteral("000002-logfile/file.bin"))), QByteArray("second"));
}

QTEST_GUILESS_MAIN(TestLogService)
#include "tst_logservice.moc"
