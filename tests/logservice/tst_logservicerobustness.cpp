#include "seed.h"
#include "storedfiles.h"
#include "support/files/fileio.h"
#include "support/server/rawclient.h"
#include "support/tool/logserviceprocess.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtTest/QtTest>

#include <memory>

namespace {

const QString kServiceFolder = QStringLiteral("home/service/data");
const QByteArray kGoodBytes = "good bytes";

// What a well-behaved client may have to wait while others misbehave.
constexpr int kPatienceMs = 5000;

/// The files and folders below \a folder with what the files hold, but for what lies in the service's own folder.
QStringList surroundings(const QString &folder)
{
    QStringList lines;
    for (const QString &path : tree(folder)) {
        if (!path.startsWith(kServiceFolder + QLatin1Char('/')))
            lines << path + QLatin1Char(' ') + QString::fromLatin1(readFile(folder + QLatin1Char('/') + path).toHex());
    }
    return lines;
}

/// \a body with one random change.
QByteArray damaged(QByteArray body, std::mt19937 &random)
{
    const auto any = [&random](int count) { return int(random() % unsigned(count)); };
    static const QVector<QByteArray> pieces = {"\r\n",
                                               "\r",
                                               "\n",
                                               "\r\n\r\n",
                                               "--",
                                               "--" + formBoundary(),
                                               "\r\n--" + formBoundary() + "--\r\n",
                                               "\"",
                                               ";",
                                               ":",
                                               "name=\"",
                                               "filename=\"../../x\"",
                                               "Content-Disposition: form-data; name=\"file\"; filename=\"/tmp/x\"\r\n",
                                               QByteArray(1, '\0'),
                                               "\xff",
                                               "../",
                                               QByteArray(70000, 'x'),
                                               "\r\n" + QByteArray(70000, '-')};
    const int at = any(body.size() + 1);
    switch (any(5)) {
    case 0:
        return body.insert(at, pieces.at(any(pieces.size())));
    case 1:
        return body.remove(at, 1 + any(40));
    case 2:
        return body.left(at);
    case 3:
        return body.insert(at, body.mid(any(body.size() + 1), any(200)));
    default:
        if (at < body.size())
            body[at] = char(any(256));
        return body;
    }
}

} // namespace

/// One service for all tests, in a folder with others around it: after each test it has to take a good upload at once.
class TestLogServiceRobustness : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void cleanup();
    void answersRandomForms();
    void survivesRandomRequests();
    void keepsPathsInFileNamesToItself_data();
    void keepsPathsInFileNamesToItself();
    void refusesPathsInFieldNames_data();
    void refusesPathsInFieldNames();
    void keepsPathsInBoundariesToItself_data();
    void keepsPathsInBoundariesToItself();
    void survivesOversizedHeads_data();
    void survivesOversizedHeads();
    void answersAsAWholeWhateverRangeIsAskedFor_data();
    void answersAsAWholeWhateverRangeIsAskedFor();
    void survivesAbortedUploads();
    void servesWhileOthersAreSlow();
    void survivesManyConnections();

private:
    RawAnswer ask(const QByteArray &request);
    RawAnswer upload(const QByteArray &contentType, const QByteArray &body)
    {
        return ask(post(kLogFilePath, contentType, body));
    }
    QString newestUpload() const;

    const QTemporaryDir around_;
    QStringList before_;
    QString startedIn_;
    LogServiceProcess service_;
    int taken_ = 0; ///< answers with status 200 to uploads
};

void TestLogServiceRobustness::initTestCase()
{
    const QString folder = around_.filePath(kServiceFolder);
    QVERIFY(QDir().mkpath(folder));
    for (const char *name : {"file.bin", "home/room.txt", "home/service/upload.json", "home/service/passwd"}) {
        QFile file(around_.filePath(QLatin1String(name)));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("as it was") == 9);
    }
    before_ = surroundings(around_.path());
    // Relative paths have to end up where they are noticed.
    startedIn_ = QDir::currentPath();
    QVERIFY(QDir::setCurrent(around_.filePath(QStringLiteral("home/service"))));
    QVERIFY(service_.start(LogServiceProcess::onFreePorts(folder)));
}

void TestLogServiceRobustness::cleanupTestCase()
{
    QDir::setCurrent(startedIn_);
    QCOMPARE(service_.stop(), 0);
    QCOMPARE(service_.errorText(), QByteArray());
    QCOMPARE(surroundings(around_.path()), before_);

    // Below the folder there are the uploads that were taken, each with its files and nothing else.
    const QString folder = around_.filePath(kServiceFolder);
    static const QRegularExpression known(
        QStringLiteral("^\\d{6}-logfile(/(room\\.txt|namespace\\.txt|file\\.bin|upload\\.json))?$"));
    const QStringList paths = tree(folder);
    for (const QString &path : paths)
        QVERIFY2(known.match(path).hasMatch(), qPrintable(path));
    QCOMPARE(paths.size(), 5 * taken_);
}

/// It still serves: an upload, and the page that lists all that was taken.
void TestLogServiceRobustness::cleanup()
{
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(upload(formType(), logForm("good.log", kGoodBytes)).status, 200);
    QCOMPARE(readFile(newestUpload() + QStringLiteral("/file.bin")), kGoodBytes);
    QVERIFY(ask("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n").body.contains("good.log"));
    QVERIFY2(timer.elapsed() < kPatienceMs, QByteArray::number(timer.elapsed()).constData());
}

RawAnswer TestLogServiceRobustness::ask(const QByteArray &request)
{
    const RawAnswer answer = RawClient::ask(service_.port(), request);
    if (request.startsWith("POST ") && answer.status == 200)
        ++taken_;
    return answer;
}

/// Path of the folder of the upload that was taken last.
QString TestLogServiceRobustness::newestUpload() const
{
    return around_.filePath(QStringLiteral("%1/%2-logfile").arg(kServiceFolder).arg(taken_, 6, 10, QLatin1Char('0')));
}

void TestLogServiceRobustness::answersRandomForms()
{
    auto random = seededRandom();
    int refused = 0;
    constexpr int kRounds = 600;
    for (int round = 0; round < kRounds; ++round) {
        QByteArray body = logForm("a.log", "one\r\ntwo\r\n");
        for (auto changes = 1 + random() % 3; changes > 0; --changes)
            body = damaged(body, random);
        const RawAnswer answer = upload(formType(), body);
        QVERIFY2(answer.status == 200 || answer.status == 400, body.toPercentEncoding().left(2000).constData());
        refused += answer.status == 400 ? 1 : 0;
        QVERIFY2(answer.status == 200 || answer.body.endsWith('\n'), answer.body.constData());
    }
    qInfo("%d of %d forms were refused", refused, kRounds);
    QVERIFY(refused > kRounds / 2);
    QVERIFY(refused < kRounds);
}

/// Also the head is damaged here, so that there may be no answer for a long time.
void TestLogServiceRobustness::survivesRandomRequests()
{
    auto random = seededRandom();
    // Without a last part, so that none of these is a good upload.
    const QByteArray form = logForm("a.log", "bytes");
    const QByteArray good = post(kLogFilePath, formType(), form.left(form.indexOf("filename")));
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int round = 0; round < 300; ++round) {
        QByteArray request = good;
        for (auto changes = 1 + random() % 4; changes > 0; --changes)
            request = damaged(request, random);
        clients.push_back(std::make_unique<RawClient>(service_.port()));
        clients.back()->send(request);
        // About a third of them stay open meanwhile.
        if (random() % 3 != 0)
            clients.pop_back();
    }
}

void TestLogServiceRobustness::keepsPathsInFileNamesToItself_data()
{
    QTest::addColumn<QByteArray>("name");
    const QByteArray outside = around_.path().toUtf8();
    QTest::newRow("up") << QByteArray("../x.log");
    QTest::newRow("far up") << QByteArray("../").repeated(30) + outside.mid(1) + "/x.log";
    QTest::newRow("absolute") << outside + "/x.log";
    QTest::newRow("existing") << outside + "/file.bin";
    QTest::newRow("home") << QByteArray("~/x.log");
    QTest::newRow("backslashes") << QByteArray("..\\..\\x.log");
    QTest::newRow("escaped") << QByteArray("%2e%2e%2fx.log");
    QTest::newRow("NUL") << QByteArray("x.log\0/../../y.log", 18);
    QTest::newRow("own name") << QByteArray("upload.json");
    QTest::newRow("dot") << QByteArray(".");
    QTest::newRow("up only") << QByteArray("..");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("long") << QByteArray(50000, 'x');
    QTest::newRow("deep") << QByteArray("x/").repeated(20000);
    QTest::newRow("quotes") << QByteArray("a\"; filename=\"../b");
    QTest::newRow("format") << QByteArray("%s%n%d{}$(touch x)`touch y`|touch z");
    QTest::newRow("not UTF-8") << QByteArray("\xff\xfe/\xc0\xaf..");
}

void TestLogServiceRobustness::keepsPathsInFileNamesToItself()
{
    QFETCH(QByteArray, name);
    QCOMPARE(upload(formType(), logForm(name, "bytes")).status, 200);
    QCOMPARE(tree(newestUpload()), (QStringList{QStringLiteral("file.bin"), QStringLiteral("namespace.txt"),
                                                QStringLiteral("room.txt"), QStringLiteral("upload.json")}));
    QCOMPARE(surroundings(around_.path()), before_);
}

void TestLogServiceRobustness::refusesPathsInFieldNames_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char *name : {"../room", "room/../../x", "/room", "./room", "room.txt", "ROOM", "room ", "",
                             "%2e%2e%2froom", "..\\room", "upload.json", "room\t"})
        QTest::newRow(name) << QByteArray(name);
    QTest::newRow("NUL") << QByteArray("room\0", 5);
    QTest::newRow("long") << QByteArray(60000, 'r');
    QTest::newRow("too long") << QByteArray(70000, 'r');
}

void TestLogServiceRobustness::refusesPathsInFieldNames()
{
    QFETCH(QByteArray, name);
    const QByteArray good = textPart("room", "x");
    const QByteArray bad = textPart(name, "x");
    const QByteArray space = textPart("namespace", "x");
    QCOMPARE(upload(formType(), form({bad, space, filePart("a.log", "x")})).status, 400);
    QCOMPARE(upload(formType(), form({good, space, formPart("form-data; name=\"" + name + "\"; filename=\"x\"", "x")}))
                 .status,
             400);
}

void TestLogServiceRobustness::keepsPathsInBoundariesToItself_data()
{
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<int>("status");
    QTest::newRow("up") << QByteArray("../../x") << 200;
    QTest::newRow("absolute") << QByteArray("/tmp/x") << 200;
    QTest::newRow("dashes") << QByteArray("--") << 200;
    QTest::newRow("as long as allowed") << QByteArray(70, 'b') << 200;
    QTest::newRow("too long") << QByteArray(71, 'b') << 400;
    QTest::newRow("far too long") << QByteArray(5000, 'b') << 400;
    QTest::newRow("empty") << QByteArray() << 400;
    QTest::newRow("quote") << QByteArray("a\"b") << 400;
    QTest::newRow("second parameter") << QByteArray("a; boundary=b") << 400;
}

void TestLogServiceRobustness::keepsPathsInBoundariesToItself()
{
    QFETCH(QByteArray, written);
    QByteArray body = logForm("a.log", "bytes");
    body.replace(formBoundary(), written);
    QTEST(upload("multipart/form-data; boundary=" + written, body).status, "status");
    QCOMPARE(surroundings(around_.path()), before_);
}

void TestLogServiceRobustness::survivesOversizedHeads_data()
{
    QTest::addColumn<QByteArray>("request");
    const auto get = [](const QByteArray &target, const QByteArray &headers) {
        return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + headers + "\r\n";
    };
    for (int size : {8180, 8190, 8191, 8192, 8193, 8200, 65536, 2000000}) {
        const QByteArray number = QByteArray::number(size);
        const QByteArray filler(size, 'x');
        QTest::newRow("request line, " + number) << get("/" + filler, "");
        QTest::newRow("query, " + number) << get("/?text=" + filler, "");
        QTest::newRow("method, " + number) << filler + get("/", "");
        QTest::newRow("header, " + number) << get("/", "X: " + filler + "\r\n");
        QTest::newRow("header name, " + number) << get("/", filler + ": x\r\n");
        QTest::newRow("range, " + number) << get("/", "Range: bytes=0-" + QByteArray(size, '0') + "\r\n");
        QTest::newRow("ranges, " + number)
            << get("/", "Range: bytes=0-0" + QByteArray(",0-0").repeated(size / 4) + "\r\n");
        QTest::newRow("content type, " + number) << post(kLogFilePath, "multipart/form-data; boundary=" + filler, "x");
        QTest::newRow("content length, " + number)
            << "POST " + kLogFilePath + " HTTP/1.1\r\nContent-Length: " + QByteArray(size, '9') + "\r\n\r\n";
    }
    QTest::newRow("many queries") << get("/?" + QByteArray("a&").repeated(3000), "");
    QTest::newRow("many headers") << get("/", QByteArray("X: y\r\n").repeated(100000));
    QTest::newRow("many lengths") << post(kLogFilePath, formType(), "x",
                                          QByteArray("Content-Length: 1\r\n").repeated(999));
    QTest::newRow("length without an end")
        << "POST " + kLogFilePath + " HTTP/1.1\r\nContent-Length: 18446744073709551616\r\n\r\n";
    QTest::newRow("no line ends") << QByteArray(3000000, 'x');
    QTest::newRow("line ends only") << QByteArray("\r\n").repeated(100000);
    QTest::newRow("large chunk") << "POST " + kLogFilePath +
                                        " HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nffffffffffffffff\r\nx";
    QTest::newRow("long chunk size") << "POST " + kLogFilePath + " HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n" +
                                            QByteArray(100000, 'f');
}

/// Whether there is an answer is not looked at: some of these wait for what never comes.
void TestLogServiceRobustness::survivesOversizedHeads()
{
    QFETCH(QByteArray, request);
    RawClient client(service_.port());
    client.send(request);
}

void TestLogServiceRobustness::answersAsAWholeWhateverRangeIsAskedFor_data()
{
    QTest::addColumn<QByteArray>("range");
    for (const char *range : {"0-0", "0-99999", "5-5", "5000-6000", "-1", "-100000", "0-0,0-0", "-", "9-",
                              "18446744073709551615-", "0-18446744073709551615"})
        QTest::newRow(range) << QByteArray(range);
    QTest::newRow("very many") << QByteArray("0-0,").repeated(2000) + "0-0";
}

void TestLogServiceRobustness::answersAsAWholeWhateverRangeIsAskedFor()
{
    QFETCH(QByteArray, range);
    const QByteArray header = "Range: bytes=" + range + "\r\n";
    const RawAnswer taken = ask(post(kLogFilePath, formType(), logForm("a.log", "bytes"), header));
    if (taken.status != 416) {
        QCOMPARE(taken.status, 200);
        QCOMPARE(taken.body, QByteArray("{\"Code\":0}"));
    }
    const RawAnswer stray = ask("GET /nope HTTP/1.1\r\n" + header + "\r\n");
    QVERIFY(stray.status == 404 || stray.status == 416);
    QVERIFY(!taken.head.contains("Content-Range"));
    QVERIFY(!stray.head.contains("Content-Range"));
}

void TestLogServiceRobustness::survivesAbortedUploads()
{
    auto random = seededRandom();
    const QByteArray request = post(kLogFilePath, formType(), logForm("cut.log", QByteArray(200000, 'x')));
    for (int round = 0; round < 5; ++round) {
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < 30; ++i) {
            clients.push_back(std::make_unique<RawClient>(service_.port()));
            clients.back()->send(request.left(int(random() % unsigned(request.size() - 1))));
        }
        for (auto &client : clients)
            client->close();
    }
    const auto isClean = [this] {
        return QDir(around_.filePath(kServiceFolder))
            .entryList({QStringLiteral(".incoming-*")}, QDir::AllEntries | QDir::Hidden)
            .isEmpty();
    };
    QTRY_VERIFY_WITH_TIMEOUT(isClean(), 6 * kPatienceMs);
}

/// Slow in the request line, in the headers and in the body, one byte at a time.
void TestLogServiceRobustness::servesWhileOthersAreSlow()
{
    constexpr int kClients = 240;
    constexpr int kHeadMs = 10000; // what the service waits for the rest of a head
    const QByteArray request = post(kLogFilePath, formType(), logForm("slow.log", "bytes"));
    QElapsedTimer whole;
    whole.start();
    std::vector<qint64> begun;
    const int starts[] = {1, 20, request.indexOf("\r\n\r\n") - 3, request.size() - 20};
    std::vector<std::pair<std::unique_ptr<RawClient>, int>> clients;
    for (int i = 0; i < kClients; ++i) {
        clients.emplace_back(std::make_unique<RawClient>(service_.port()), starts[i % 4]);
        begun.push_back(whole.elapsed());
        QVERIFY(clients.back().first->send(request.left(clients.back().second)));
    }
    for (int step = 0; step < 3; ++step) {
        for (auto &client : clients)
            QVERIFY(client.first->send(request.mid(client.second++, 1)));
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(upload(formType(), logForm("quick.log", kGoodBytes)).status, 200);
        QVERIFY2(timer.elapsed() < kPatienceMs, QByteArray::number(timer.elapsed()).constData());
    }
    // They are served too, in the end, unless this machine was too busy for the heads to be sent in time.
    for (std::size_t i = 0; i < clients.size(); ++i) {
        const auto &client = clients[i];
        const bool isInBody = client.second > request.indexOf("\r\n\r\n") + 4;
        const bool isSent = client.first->send(request.mid(client.second));
        const bool isLate = !isInBody && whole.elapsed() - begun[i] > kHeadMs;
        const bool isTaken = isSent && client.first->receiveAnswer().status == 200;
        QVERIFY(isTaken || isLate);
        taken_ += isTaken ? 1 : 0;
    }
}

void TestLogServiceRobustness::survivesManyConnections()
{
    for (int round = 0; round < 3; ++round) {
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < 300; ++i)
            clients.push_back(std::make_unique<RawClient>(service_.port()));
        for (std::size_t i = 0; i < clients.size(); i += 2)
            clients[i]->send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(upload(formType(), logForm("among.log", kGoodBytes)).status, 200);
        QVERIFY2(timer.elapsed() < kPatienceMs, QByteArray::number(timer.elapsed()).constData());
        for (std::size_t i = 0; i < clients.size(); i += 2)
            QCOMPARE(clients[i]->receiveAnswer().status, 200);
    }
}

QTEST_GUILESS_MAIN(TestLogServiceRobustness)
#include "tst_logservicerobustness.moc"
