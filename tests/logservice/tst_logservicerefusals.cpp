#include "support/server/rawclient.h"
#include "support/tool/logserviceprocess.h"
#include "support/wire/documents.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtTest/QtTest>

namespace {

QByteArray requestHead(const QByteArray &method, const QByteArray &path, const QByteArray &headers)
{
    return method + " " + path + " HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n";
}

} // namespace

/// One service for all tests: it has to keep serving after every one of them.
class TestLogServiceRefusals : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void cleanup();
    void refusesMalformedForms_data();
    void refusesMalformedForms();
    void refusesMalformedJson_data();
    void refusesMalformedJson();
    void refusesOtherDocuments_data();
    void refusesOtherDocuments();
    void refusesStrayRequests_data();
    void refusesStrayRequests();
    void refusesUnreadableBodies_data();
    void refusesUnreadableBodies();
    void refusesAFormLongerThanItsDeclaredLength();
    void refusesABodyThatIsCutOff();
    void answersBehindALargeRefusedBody();
    void survivesBrokenHttp_data();
    void survivesBrokenHttp();

private:
    RawAnswer ask(const QByteArray &request) { return RawClient::ask(service_.port(), request); }

    QTemporaryDir folder_;
    LogServiceProcess service_;
    int taken_ = 0;
};

void TestLogServiceRefusals::initTestCase()
{
    QVERIFY(service_.start(LogServiceProcess::onFreePorts(folder_.path())));
}

void TestLogServiceRefusals::cleanupTestCase()
{
    QCOMPARE(service_.stop(), 0);
    QCOMPARE(service_.errorText(), QByteArray());
}

/// Nothing of a refused request is stored, and the next good one is.
void TestLogServiceRefusals::cleanup()
{
    QCOMPARE(ask(post(kLogFilePath, formType(), logForm("good.log", "bytes"))).status, 200);
    ++taken_;
    const auto names =
        QDir(folder_.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    QCOMPARE(names.size(), taken_ + 3); // and the lock, and the index with its journal
    QCOMPARE(names.last(), QStringLiteral("%1-logfile").arg(taken_, 6, 10, QLatin1Char('0')));
}

void TestLogServiceRefusals::refusesMalformedForms_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("reason");

    const QByteArray good = logForm("a.log", "bytes");
    const QByteArray room = textPart("room", "nickname-ann.");
    const QByteArray space = textPart("namespace", "demo");
    const QByteArray file = filePart("a.log", "bytes");
    const auto add = [](const char *row, const QByteArray &contentType, const QByteArray &body,
                        const QByteArray &reason) {
        QTest::newRow(row) << kLogFilePath << contentType << body << reason;
    };
    add("no multipart", "text/plain", good, "the content type is \"text/plain\", not multipart/form-data");
    add("no content type", "", good, "the content type is \"\", not multipart/form-data");
    add("JSON", "application/json", "{}", "the content type is \"application/json\", not multipart/form-data");
    add("no boundary", "multipart/form-data", good, "the content type names no boundary");
    add("other boundary", "multipart/form-data; boundary=other", good,
        "the form does not begin with the boundary that the content type names");
    add("empty body", formType(), "", "the form ends before its closing boundary");
    add("no part", formType(), "--" + formBoundary() + "--\r\n", "the form has no part \"room\"");
    add("no room", formType(), form({space, file}), "the part \"namespace\" comes where \"room\" has to be");
    add("no namespace", formType(), form({room, file}), "the part \"file\" comes where \"namespace\" has to be");
    add("no file", formType(), form({room, space}), "the form has no part \"file\"");
    add("unknown part", formType(), form({room, space, textPart("x", "y"), file}), "the part \"x\" is unknown here");
    add("unknown part at the end", formType(), form({room, space, file, textPart("x", "y")}),
        "the part \"x\" is unknown here");
    add("duplicate part", formType(), form({room, room, space, file}), "the part \"room\" comes twice");
    add("duplicate file", formType(), form({room, space, file, file}), "the part \"file\" comes twice");
    add("other order", formType(), form({space, room, file}), "the part \"namespace\" comes where \"room\" has to be");
    add("file without file name", formType(), form({room, space, textPart("file", "bytes")}),
        "the part \"file\" has no file name");
    add("text with file name", formType(),
        form({formPart("form-data; name=\"room\"; filename=\"x\"", "y"), space, file}),
        "the part \"room\" has a file name but is no file");
    add("part without name", formType(), form({formPart("form-data", "y"), space, file}),
        "a part has the malformed Content-Disposition \"form-data\"");
    add("file name with a line end", formType(), form({room, space, filePart("a\r\nb", "bytes")}),
        "a part has the malformed Content-Disposition \"form-data; name=\\\"file\\\"; filename=\\\"a\"");
    add("no closing boundary", formType(), good.left(good.size() - formBoundary().size() - 6),
        "the form ends before its closing boundary");
    add("closing boundary without its dashes", formType(), good.left(good.size() - 4) + "\r\n",
        "the form ends before its closing boundary");
    add("bytes behind the end", formType(), good + "x", "there are bytes behind the closing boundary");
    add("text part too long", formType(), form({textPart("room", QByteArray(9000000, 'x')), space, file}),
        "the part \"room\" is longer than 8388608 bytes");

    const QByteArray base = textPart("base", crashBase());
    const QByteArray info = textPart("info", crashInfo());
    const auto addCrash = [](const char *row, const QList<QByteArray> &parts, const QByteArray &reason) {
        QTest::newRow(row) << kCrashPath << formType() << form(parts) << reason;
    };
    addCrash("crash with a log's parts", {room, space, file}, "the part \"room\" is unknown here");
    addCrash("crash without info", {base, file}, "the part \"file\" comes where \"info\" has to be");
    addCrash("crash with text as base", {textPart("base", "x"), info, file}, "the part \"base\" is not a JSON object");
    addCrash("crash with an empty base", {textPart("base", "{}"), info, file},
             "in the part \"base\" the member \"namespace\" is missing");
    addCrash("crash with a number for a text", {textPart("base", crashBase().replace("\"42\"", "42")), info, file},
             "in the part \"base\" the member \"user_id\" is not a text");
    addCrash("crash with an empty info", {base, textPart("info", "{}"), file},
             "in the part \"info\" the member \"info\" is missing");
    addCrash("crash with a room without id", {base, textPart("info", R"({"info":[{"room_name":"x"}]})"), file},
             "in the part \"info\" the member \"info\" is not a list of rooms");
    addCrash("crash with an array as info", {base, textPart("info", "[]"), file},
             "the part \"info\" is not a JSON object");
    for (const QByteArray &path : {kCrashPath, kProducerPath, kRequestFilePath})
        QTest::newRow("no file, " + path)
            << path << formType() << form({})
            << QByteArray("the form has no part \"") + (path == kCrashPath ? "base" : "room") + "\"";
}

void TestLogServiceRefusals::refusesMalformedForms()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, contentType);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, reason);
    const RawAnswer answer = ask(post(path, contentType, body));
    QCOMPARE(answer.body, reason + "\n");
    QCOMPARE(answer.status, 400);
    QVERIFY2(answer.head.contains("\r\nContent-Type: text/plain; charset=utf-8\r\n"), answer.head.constData());
    QVERIFY2(answer.head.contains("\r\nConnection: close\r\n"), answer.head.constData());
    QVERIFY2(service_.waitForRequestLine(" refused with 400: " + reason + "\n"), service_.requestLines().constData());
}

void TestLogServiceRefusals::refusesMalformedJson_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("hello");
    QTest::newRow("array") << QByteArray("[{}]");
    QTest::newRow("string") << QByteArray("\"{}\"");
    QTest::newRow("number") << QByteArray("1");
    QTest::newRow("cut off") << QByteArray("{\"a\":1");
    QTest::newRow("two objects") << QByteArray("{}{}");
    QTest::newRow("not UTF-8") << QByteArray("{\"a\":\"\xff\"}");
    QTest::newRow("deep array") << QByteArray(1000000, '[');
    QTest::newRow("deep object") << QByteArray("{\"a\":").repeated(1000000) + "1" + QByteArray(1000000, '}');
}

void TestLogServiceRefusals::refusesMalformedJson()
{
    QFETCH(QByteArray, body);
    for (const RawAnswer &answer :
         {ask(post(kErrorPath, "application/json", body)),
          RawClient::ask(service_.reportPort(), post(kReportPath, "application/json", body))}) {
        QCOMPARE(answer.body, QByteArray("the body is not a JSON object\n"));
        QCOMPARE(answer.status, 400);
    }
}

void TestLogServiceRefusals::refusesOtherDocuments_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QByteArray>("reason");
    const auto add = [](const char *row, const QByteArray &path, const QByteArray &document, const QByteArray &reason) {
        QTest::newRow(row) << path << document << reason;
    };
    add("empty report", kReportPath, "{}", "the member \"AppKey\" is missing");
    add("report without level", kReportPath, reportDocument().replace("\"Level\"", "\"level\""),
        "the member \"Level\" is missing");
    add("error sent as report", kReportPath, errorDocument(), "the member \"AppKey\" is missing");
    add("text for a number", kReportPath, reportDocument().replace(": 5,", ": \"5\","),
        "the member \"Level\" is not a whole number");
    add("fraction", kReportPath, reportDocument().replace(": 5,", ": 5.5,"),
        "the member \"Level\" is not a whole number");
    add("null for a text", kReportPath, reportDocument().replace("\"42\"", "null"),
        "the member \"UserSid\" is not a text");
    add("object for a text", kReportPath, reportDocument().replace("\"mac\"", "{}"), "the member \"OS\" is not a text");
    add("empty error", kErrorPath, "{}", "the member \"message\" is missing");
    add("number for a text in an error", kErrorPath, errorDocument().replace("\"5\"", "5"),
        "the member \"sdk\" is not a text");
    add("wrong type of what need not be there", kErrorPath, errorDocument().replace("\"role\": 0", "\"role\": true"),
        "the member \"role\" is not a whole number");
}

void TestLogServiceRefusals::refusesOtherDocuments()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, document);
    QFETCH(QByteArray, reason);
    const auto port = path == kReportPath ? service_.reportPort() : service_.port();
    const RawAnswer answer = RawClient::ask(port, post(path, "application/json", document));
    QCOMPARE(answer.body, reason + "\n");
    QCOMPARE(answer.status, 400);
}

void TestLogServiceRefusals::refusesStrayRequests_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<int>("status");
    const QByteArray form = logForm("a.log", QByteArray(100000, 'x'));
    QTest::newRow("unknown path") << post("/nope", formType(), form) << 404;
    QTest::newRow("root") << post("/", formType(), form) << 404;
    QTest::newRow("slash behind") << post(kLogFilePath + "/", formType(), form) << 404;
    QTest::newRow("longer path") << post(kLogFilePath + "/x", formType(), form) << 404;
    QTest::newRow("line end in the path") << post("/a%0Ab", formType(), form) << 404;
    QTest::newRow("long path") << post("/" + QByteArray(8000, 'x'), formType(), form) << 404;
    QTest::newRow("unknown path without body") << requestHead("GET", "/nope", "") << 404;
    QTest::newRow("GET") << requestHead("GET", kLogFilePath, "") << 405;
    QTest::newRow("PUT") << "PUT" + post(kLogFilePath, formType(), form).mid(4) << 405;
    QTest::newRow("PATCH") << "PATCH" + post(kLogFilePath, formType(), form).mid(4) << 405;
    QTest::newRow("DELETE") << "DELETE" + post(kLogFilePath, formType(), form).mid(4) << 405;
    QTest::newRow("DELETE without body") << requestHead("DELETE", kLogFilePath, "") << 405;
    QTest::newRow("OPTIONS") << requestHead("OPTIONS", "*", "") << 404;
}

void TestLogServiceRefusals::refusesStrayRequests()
{
    QFETCH(QByteArray, request);
    const RawAnswer answer = ask(request);
    QTEST(answer.status, "status");
    QCOMPARE(answer.head.contains("\r\nAllow: POST\r\n"), answer.status == 405);
    QVERIFY(answer.head.contains("\r\nConnection: close\r\n"));
}

void TestLogServiceRefusals::refusesUnreadableBodies_data()
{
    QTest::addColumn<QByteArray>("headers");
    QTest::addColumn<int>("status");
    QTest::newRow("none") << QByteArray() << 411;
    QTest::newRow("empty") << QByteArray("Content-Length:\r\n") << 411;
    QTest::newRow("word") << QByteArray("Content-Length: x\r\n") << 400;
    QTest::newRow("negative") << QByteArray("Content-Length: -1\r\n") << 400;
    QTest::newRow("number and word") << QByteArray("Content-Length: 1x\r\n") << 400;
    QTest::newRow("two") << QByteArray("Content-Length: 1\r\nContent-Length: 2\r\n") << 400;
    QTest::newRow("chunked and a length") << QByteArray("Transfer-Encoding: chunked\r\nContent-Length: 1\r\n") << 400;
    QTest::newRow("gzip") << QByteArray("Content-Encoding: gzip\r\nContent-Length: 1\r\n") << 415;
    QTest::newRow("other encoding") << QByteArray("Transfer-Encoding: gzip\r\n") << 400;
}

void TestLogServiceRefusals::refusesUnreadableBodies()
{
    QFETCH(QByteArray, headers);
    QFETCH(int, status);
    const QByteArray type = "Content-Type: " + formType() + "\r\n";
    RawClient client(service_.port());
    QVERIFY(client.send(requestHead("POST", kLogFilePath, type + headers)));
    QCOMPARE(client.receiveAnswer().status, status);
    QVERIFY(client.receiveEnd() != RawClient::End::Open);
}

void TestLogServiceRefusals::refusesAFormLongerThanItsDeclaredLength()
{
    const QByteArray form = logForm("a.log", "bytes");
    const QByteArray headers =
        "Content-Type: " + formType() + "\r\nContent-Length: " + QByteArray::number(form.size() - 20) + "\r\n";
    RawClient client(service_.port());
    QVERIFY(client.send(requestHead("POST", kLogFilePath, headers) + form.left(form.size() - 20)));
    const RawAnswer answer = client.receiveAnswer();
    QCOMPARE(answer.status, 400);
    QCOMPARE(answer.body, QByteArray("the form ends before its closing boundary\n"));
    // The rest must not be taken for another request.
    client.send(form.right(20));
    QCOMPARE(client.receiveAnswer().status, 0);
    QVERIFY(client.receiveEnd() != RawClient::End::Open);
}

void TestLogServiceRefusals::refusesABodyThatIsCutOff()
{
    const QByteArray request = post(kLogFilePath, formType(), logForm("cut.log", QByteArray(100000, 'x')));
    {
        RawClient client(service_.port());
        QVERIFY(client.send(request.left(request.size() - 1000)));
        client.close();
    }
    QVERIFY(service_.waitForRequestLine(" logfile \"cut.log\" "));
    QVERIFY(service_.waitForRequestLine(" refused with 400: the body was cut off behind "));
}

void TestLogServiceRefusals::answersBehindALargeRefusedBody()
{
    // More than the sockets' buffers hold: a client that is still sending has to be listened to.
    const QByteArray form = logForm("a.log", QByteArray(20000000, 'x'));
    const RawAnswer answer = ask(post(kLogFilePath, "multipart/form-data; boundary=other", form));
    QCOMPARE(answer.status, 400);
    QCOMPARE(ask(post("/nope", formType(), form)).status, 404);
}

void TestLogServiceRefusals::survivesBrokenHttp_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("status");
    QTest::newRow("garbage") << QByteArray("\x16\x03\x01\xff\r\n\r\n") << 400;
    QTest::newRow("empty line") << QByteArray("\r\n") << 400;
    QTest::newRow("unknown method") << QByteArray("BREW / HTTP/1.1\r\n\r\n") << 400;
    QTest::newRow("other version") << QByteArray("GET / HTTP/7\r\n\r\n") << 400;
    QTest::newRow("long request line") << requestHead("POST", "/" + QByteArray(20000, 'x'), "") << 414;
    QTest::newRow("long header") << requestHead("POST", kLogFilePath, "X: " + QByteArray(1000000, 'x') + "\r\n") << 400;
    QTest::newRow("many headers") << requestHead("GET", "/nope", QByteArray("X: y\r\n").repeated(90)) << 404;
    QTest::newRow("too many headers") << requestHead("GET", "/nope", QByteArray("X: y\r\n").repeated(20000)) << 400;
}

void TestLogServiceRefusals::survivesBrokenHttp()
{
    QFETCH(QByteArray, bytes);
    RawClient client(service_.port());
    client.send(bytes);
    QTEST(client.receiveAnswer().status, "status");
    QVERIFY(client.receiveEnd() != RawClient::End::Open);
}

QTEST_GUILESS_MAIN(TestLogServiceRefusals)
#include "tst_logservicerefusals.moc"
