#include "servicetest.h"
#include "storedfiles.h"
#include "support/files/fileio.h"
#include "support/server/rawclient.h"
#include "support/wire/documents.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtNetwork/QHostAddress>
#include <QtNetwork/QNetworkInterface>
#include <QtTest/QtTest>

namespace {

QByteArray request(const QByteArray &method, const QByteArray &target, const QByteArray &moreHeaders = QByteArray())
{
    return method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + moreHeaders + "\r\n";
}

} // namespace

/// The page and the files as they go over the wire.
class TestLogServicePage : public ServiceTest
{
    Q_OBJECT

private slots:
    void showsWhatArrived();
    void showsWhatEarlierRunsHaveLeft();
    void showsHowToSendSomething();
    void filters();
    void givesThePageNothingToRun();
    void servesFilesAsText();
    void servesEmptyFiles();
    void servesLargeFilesAsAWhole();
    void offersDownloads();
    void servesFieldsAndDocuments();
    void answersHead_data();
    void answersHead();
    void refusesPlacesInALogThatMakeNoSense_data();
    void refusesPlacesInALogThatMakeNoSense();
    void refusesParametersThatItDoesNotKnow_data();
    void refusesParametersThatItDoesNotKnow();
    void findsNothingElse_data();
    void findsNothingElse();
    void followsNoLinks();
    void takesOnlyGetAndPostWhereItDid_data();
    void takesOnlyGetAndPostWhereItDid();
    void endsTheConnectionBehindAGetWithABody();
    void keepsTheConnectionOpenOtherwise();
    void hasNoPageOnTheReportPort();
    void listensOnLoopbackOnly();

private:
    RawAnswer get(const QByteArray &target) { return RawClient::ask(service().port(), request("GET", target)); }
    RawAnswer post(const QByteArray &path, const QByteArray &type, const QByteArray &body)
    {
        return RawClient::ask(service().port(), ::post(path, type, body));
    }
};

void TestLogServicePage::showsWhatArrived()
{
    QCOMPARE(upload("first.log", "bytes").status, 200);
    QCOMPARE(upload("<b>second</b>.log", "bytes").status, 200);
    const RawAnswer page = get("/");
    QCOMPARE(page.status, 200);
    QVERIFY(page.head.contains("\r\nContent-Type: text/html; charset=utf-8\r\n"));
    const int second = page.body.indexOf("&lt;b&gt;second&lt;/b&gt;.log");
    const int first = page.body.indexOf("first.log");
    QVERIFY(second > 0);
    QVERIFY(first > second);
    QCOMPARE(page.body.count("<b>ann</b>"), 0);
    QCOMPARE(page.body.count("<b><bdi>ann</bdi></b>"), 2);
}

void TestLogServicePage::showsWhatEarlierRunsHaveLeft()
{
    QCOMPARE(upload("first.log", "bytes").status, 200);
    QCOMPARE(service().stop(), 0);
    QVERIFY(service().start(LogServiceProcess::onFreePorts(folder())));
    QVERIFY(get("/").body.contains("first.log"));
    QCOMPARE(get("/uploads/000001-logfile/file").body, QByteArray("bytes"));
}

void TestLogServicePage::showsHowToSendSomething()
{
    QVERIFY(get("/").body.contains("file=@client.log http://127.0.0.1:" + QByteArray::number(service().port()) +
                                   kLogFilePath + "</code>"));
}

void TestLogServicePage::filters()
{
    QCOMPARE(upload("first.log", "bytes").status, 200);
    QCOMPARE(post(kProducerPath, formType(), logForm("second \xc3\xab+.log", "bytes")).status, 200);
    QVERIFY(!get("/?kind=producer").body.contains("first.log"));
    QVERIFY(get("/?kind=producer&text=").body.contains("second"));
    QVERIFY(get("/?text=FIRST").body.contains("first.log"));
    QVERIFY(!get("/?text=FIRST").body.contains("second"));
    QVERIFY(get("/?kind=&text=%C3%AB%2B").body.contains("second"));
    QVERIFY(get("/?kind=logfile&text=second").body.contains("No upload matches."));
    QVERIFY(!get("/?before=000002-producer").body.contains("second"));
}

void TestLogServicePage::givesThePageNothingToRun()
{
    const RawAnswer page = get("/");
    for (const char *line :
         {"Content-Security-Policy: default-src 'none'; style-src 'self'; img-src data:; form-action "
          "'self'; base-uri 'none'; frame-ancestors 'none'",
          "X-Content-Type-Options: nosniff", "Referrer-Policy: no-referrer",
          "Cross-Origin-Resource-Policy: same-origin", "Cache-Control: no-store"})
        QVERIFY2(page.head.contains(QByteArray("\r\n") + line + "\r\n"), page.head.constData());
    QCOMPARE(upload("a.log", "bytes").status, 200);
    QVERIFY(get("/uploads/000001-logfile/log").head.contains("Content-Security-Policy: default-src 'none'; style-src"));
    const RawAnswer style = get("/style.css");
    QCOMPARE(style.status, 200);
    QVERIFY(style.head.contains("\r\nContent-Type: text/css; charset=utf-8\r\n"));
    QVERIFY(style.body.contains("prefers-color-scheme: dark"));
}

void TestLogServicePage::servesFilesAsText()
{
    const QByteArray html = "<!DOCTYPE html><html><script>document.title='owned'</script></html>";
    QCOMPARE(upload("page.html", html).status, 200);
    const RawAnswer file = get("/uploads/000001-logfile/file");
    QCOMPARE(file.status, 200);
    QCOMPARE(file.body, html);
    for (const char *line : {"Content-Type: text/plain; charset=utf-8", "X-Content-Type-Options: nosniff",
                             "Content-Security-Policy: default-src 'none'; sandbox; frame-ancestors 'none'"})
        QVERIFY2(file.head.contains(QByteArray("\r\n") + line + "\r\n"), file.head.constData());
    QCOMPARE(file.head.count("Content-Type:"), 1);
    QVERIFY(!file.head.contains("Content-Disposition"));
}

void TestLogServicePage::servesEmptyFiles()
{
    QCOMPARE(upload("a.log", "").status, 200);
    const RawAnswer file = get("/uploads/000001-logfile/file");
    QCOMPARE(file.status, 200);
    QVERIFY2(file.head.contains("\r\nContent-Length: 0\r\n"), file.head.constData());
    QVERIFY(file.head.contains("\r\nContent-Type: text/plain; charset=utf-8\r\n"));
}

void TestLogServicePage::servesLargeFilesAsAWhole()
{
    const QByteArray bytes = mixedBytes(5000000);
    QCOMPARE(upload("a.log", bytes).status, 200);
    QVERIFY(get("/uploads/000001-logfile/file").body == bytes);
    const RawAnswer ranged =
        RawClient::ask(service().port(), request("GET", "/uploads/000001-logfile/file", "Range: bytes=5-9\r\n"));
    QCOMPARE(ranged.status, 200);
    QVERIFY(ranged.body == bytes);
}

void TestLogServicePage::offersDownloads()
{
    QCOMPARE(upload("../Gespr\xc3\xa4"
                    "ch \"7\".log",
                    "<b>")
                 .status,
             200);
    for (const char *target : {"/uploads/000001-logfile/file?download", "/uploads/000001-logfile/file?download=1"}) {
        const RawAnswer file = get(target);
        QCOMPARE(file.body, QByteArray("<b>"));
        for (const char *line : {"Content-Type: application/octet-stream", "X-Content-Type-Options: nosniff",
                                 "Content-Disposition: attachment; filename=\"000001-logfile-.._Gespr_ch_7_.log\""})
            QVERIFY2(file.head.contains(QByteArray("\r\n") + line + "\r\n"), file.head.constData());
    }
}

void TestLogServicePage::servesFieldsAndDocuments()
{
    const QByteArray document = errorDocument().replace("no route", "<b>no</b> route");
    QCOMPARE(post(kErrorPath, "application/json", document).status, 200);
    QCOMPARE(upload("a.log", "bytes").status, 200);
    const RawAnswer body = get("/uploads/000001-error/file");
    QCOMPARE(body.body, document);
    QVERIFY(body.head.contains("\r\nContent-Type: text/plain; charset=utf-8\r\n"));
    QVERIFY(get("/uploads/000001-error/file?download").head.contains("filename=\"000001-error-error.json\""));

    const RawAnswer fields = get("/uploads/000002-logfile/fields");
    QCOMPARE(fields.body, readFile(stored(QStringLiteral("000002-logfile/upload.json"))));
    QVERIFY(fields.body.contains("\"room\":\"nickname-ann.userid-42.\""));
    QVERIFY(fields.head.contains("\r\nContent-Type: text/plain; charset=utf-8\r\n"));
}

void TestLogServicePage::answersHead_data()
{
    QTest::addColumn<QByteArray>("target");
    for (const char *target : {"/", "/style.css", "/api/uploads", "/uploads/000001-logfile/log",
                               "/uploads/000001-logfile/file", "/uploads/000001-logfile/file?download"})
        QTest::newRow(target) << QByteArray(target);
}

void TestLogServicePage::answersHead()
{
    QFETCH(QByteArray, target);
    QCOMPARE(upload("a.log", mixedBytes(100000)).status, 200);
    RawClient client(service().port());
    QVERIFY(client.send(request("HEAD", target)));
    const QByteArray head = client.receiveHead();
    QVERIFY2(head.startsWith("HTTP/1.1 200 OK\r\n"), head.constData());
    QVERIFY(client.send(request("GET", target)));
    // Nothing of a body comes between the two heads.
    const QByteArray next = client.receiveHead();
    QVERIFY2(next.startsWith("HTTP/1.1 200 OK\r\n"), next.constData());
    const auto sorted = [](const QByteArray &text) {
        QList<QByteArray> lines = text.split('\n');
        std::sort(lines.begin(), lines.end());
        for (auto line = lines.begin(); line != lines.end();)
            line = line->startsWith("Keep-Alive") || line->trimmed().isEmpty() ? lines.erase(line) : line + 1;
        return lines;
    };
    QCOMPARE(sorted(head), sorted(next));
}

void TestLogServicePage::refusesPlacesInALogThatMakeNoSense_data()
{
    QTest::addColumn<QByteArray>("query");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("no number") << QByteArray("from=x") << QByteArray("from=\"x\" is not a number");
    QTest::newRow("negative") << QByteArray("before=-1") << QByteArray("before=\"-1\" is not a number");
    QTest::newRow("too large") << QByteArray("from=18446744073709551615") << QByteArray("from=\"1844");
    QTest::newRow("both") << QByteArray("from=0&before=5") << QByteArray("from and before do not go together");
    QTest::newRow("no level") << QByteArray("level=Notice") << QByteArray("level=\"Notice\" is not one of debug info");
    QTest::newRow("unknown") << QByteArray("line=7") << QByteArray("there is no parameter \"line\"");
    QTest::newRow("long") << "text=" + QByteArray(201, 'x') << QByteArray("text is longer than 200 bytes");
}

void TestLogServicePage::refusesPlacesInALogThatMakeNoSense()
{
    QFETCH(QByteArray, query);
    QFETCH(QByteArray, reason);
    QCOMPARE(upload("a.log", "bytes").status, 200);
    const RawAnswer answer = get("/uploads/000001-logfile/log?" + query);
    QCOMPARE(answer.status, 400);
    QVERIFY2(answer.body.startsWith(reason), answer.body.constData());
}

void TestLogServicePage::refusesParametersThatItDoesNotKnow_data()
{
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QByteArray>("reason");
    const auto add = [](const char *target, const char *reason) {
        QTest::newRow(target) << QByteArray(target) << QByteArray(reason);
    };
    add("/uploads/000001-logfile/file?raw=1", "there is no parameter \"raw\"\n");
    add("/uploads/000001-logfile/file?download&x", "there is no parameter \"x\"\n");
    add("/uploads/000001-logfile/file?download&download=1", "download is there more than once\n");
    add("/uploads/000001-logfile/fields?download", "there is no parameter \"download\"\n");
    add("/uploads/000001-logfile/fields?x=", "there is no parameter \"x\"\n");
    add("/style.css?x=1", "there is no parameter \"x\"\n");
}

void TestLogServicePage::refusesParametersThatItDoesNotKnow()
{
    QFETCH(QByteArray, target);
    QCOMPARE(upload("a.log", "bytes").status, 200);
    const RawAnswer answer = get(target);
    QCOMPARE(answer.status, 400);
    QTEST(answer.body, "reason");
}

void TestLogServicePage::findsNothingElse_data()
{
    QTest::addColumn<QByteArray>("target");
    for (const char *target : {"/uploads",
                               "/uploads/",
                               "/uploads/000001-logfile",
                               "/uploads/000001-logfile/",
                               "/uploads/000001-logfile/upload.json",
                               "/uploads/000001-logfile/file/",
                               "/uploads/000001-logfile/log/",
                               "/uploads/000002-logfile/log",
                               "/uploads/1-logfile/log",
                               "/api/uploads/",
                               "/api",
                               "/uploads/000002-logfile/file",
                               "/uploads/000001-crash/file",
                               "/uploads/1-logfile/file",
                               "/uploads/../uploads/000001-logfile/file",
                               "/uploads/./000001-logfile/file",
                               "/uploads/000001-logfile/../../secret",
                               "/uploads/..%2f/file",
                               "/uploads/%2e%2e/file",
                               "/uploads/..%2fsecret/file",
                               "/uploads/%2fetc%2fpasswd/file",
                               "/uploads/000001-logfile%00/file",
                               "/uploads/000001-logfile%2f..%2f000001-logfile/file",
                               "/uploads/000001-logfile/file%00.html",
                               "/uploads//etc/passwd/file",
                               "/uploads/000001-logfile/fields%0a",
                               "/.lock",
                               "/uploads/.lock/file",
                               "/../secret",
                               "/uploads/secret/file",
                               "//",
                               "/%2f",
                               "/style.css/",
                               "/stylexcss",
                               "/favicon.ico"})
        QTest::newRow(target) << QByteArray(target);
    QTest::newRow("long") << "/uploads/" + QByteArray(4000, '1') + "-logfile/file";
}

void TestLogServicePage::findsNothingElse()
{
    QFETCH(QByteArray, target);
    QCOMPARE(upload("a.log", "bytes").status, 200);
    QVERIFY(QDir(folder()).mkdir(QStringLiteral("secret")));
    const RawAnswer answer = get(target);
    QCOMPARE(answer.status, 404);
    QVERIFY(answer.head.contains("\r\nContent-Type: text/plain; charset=utf-8\r\n"));
    QVERIFY2(answer.body == "there is nothing here\n" || answer.body == "there is no such upload\n",
             answer.body.constData());
}

void TestLogServicePage::followsNoLinks()
{
    const QTemporaryDir outside;
    QFile secret(outside.filePath(QStringLiteral("file.bin")));
    QVERIFY(secret.open(QIODevice::WriteOnly) && secret.write("secret") == 6);
    secret.close();
    QVERIFY(QFile::link(outside.path(), stored(QStringLiteral("000001-logfile"))));
    QVERIFY(QDir(folder()).mkdir(QStringLiteral("000002-logfile")));
    QVERIFY(QFile::link(secret.fileName(), stored(QStringLiteral("000002-logfile/file.bin"))));
    QVERIFY(QFile::link(secret.fileName(), stored(QStringLiteral("000002-logfile/upload.json"))));
    for (const char *target :
         {"/uploads/000001-logfile/file", "/uploads/000002-logfile/file", "/uploads/000002-logfile/fields",
          "/uploads/000001-logfile/log", "/uploads/000002-logfile/log"})
        QCOMPARE(get(target).status, 404);
}

void TestLogServicePage::takesOnlyGetAndPostWhereItDid_data()
{
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<int>("status");
    QTest::newRow("POST of the page") << QByteArray("POST /") << 404;
    QTest::newRow("DELETE of an upload") << QByteArray("DELETE /uploads/000001-logfile/file") << 404;
    QTest::newRow("PUT of an upload") << QByteArray("PUT /uploads/000001-logfile/file") << 404;
    QTest::newRow("GET of an endpoint") << "GET " + kLogFilePath << 405;
}

void TestLogServicePage::takesOnlyGetAndPostWhereItDid()
{
    QFETCH(QByteArray, start);
    QCOMPARE(upload("a.log", "bytes").status, 200);
    const QByteArray headers = start.startsWith("GET") ? QByteArray() : QByteArray("Content-Length: 0\r\n");
    const int blank = start.indexOf(' ');
    QTEST(RawClient::ask(service().port(), request(start.left(blank), start.mid(blank + 1), headers)).status, "status");
    QCOMPARE(get("/uploads/000001-logfile/file").body, QByteArray("bytes"));
}

void TestLogServicePage::endsTheConnectionBehindAGetWithABody()
{
    QCOMPARE(upload("a.log", "bytes").status, 200);
    for (const char *target :
         {"/", "/style.css", "/api/uploads", "/uploads/000001-logfile/log", "/uploads/000001-logfile/file"}) {
        const QByteArray inner = request("GET", "/nope");
        RawClient client(service().port());
        client.send(request("GET", target, "Content-Length: " + QByteArray::number(inner.size()) + "\r\n") + inner);
        const RawAnswer answer = client.receiveAnswer();
        QCOMPARE(answer.status, 200);
        QVERIFY2(answer.head.contains("\r\nConnection: close\r\n"), answer.head.constData());
        QCOMPARE(client.receiveAnswer().status, 0);
        QVERIFY(client.receiveEnd() != RawClient::End::Open);
    }
}

void TestLogServicePage::keepsTheConnectionOpenOtherwise()
{
    QCOMPARE(upload("a.log", "bytes").status, 200);
    RawClient client(service().port());
    for (const char *target : {"/", "/style.css", "/uploads/000001-logfile/file", "/?text=x"}) {
        QVERIFY(client.send(request("GET", target)));
        QCOMPARE(client.receiveAnswer().status, 200);
    }
}

void TestLogServicePage::hasNoPageOnTheReportPort()
{
    QCOMPARE(RawClient::ask(service().reportPort(), request("GET", "/")).status, 404);
}

void TestLogServicePage::listensOnLoopbackOnly()
{
    // On Linux, 127.0.0.2 is this machine too.
    QList<QHostAddress> others = QNetworkInterface::allAddresses() << QHostAddress(QStringLiteral("127.0.0.2"));
    others.removeAll(QHostAddress(QHostAddress::LocalHost));
    for (const QHostAddress &address : others) {
        QTcpSocket socket;
        socket.connectToHost(address, service().port());
        QVERIFY2(!socket.waitForConnected(2000), qPrintable(address.toString()));
    }
}

QTEST_GUILESS_MAIN(TestLogServicePage)
#include "tst_logservicepage.moc"
