#include "servicetest.h"
#include "storedfiles.h"
#include "support/server/rawclient.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtTest/QtTest>

/// What a page of another site can make a browser on this machine ask for.
class TestForeignPages : public ServiceTest
{
    Q_OBJECT

private slots:
    void answersUnderItsOwnNames_data();
    void answersUnderItsOwnNames();
    void refusesOtherNames_data();
    void refusesOtherNames();
    void takesNothingFromPages_data();
    void takesNothingFromPages();
    void takesUploadsUnderAnyName();

private:
    RawAnswer getWith(const QByteArray &headers, const QByteArray &target)
    {
        return RawClient::ask(service().port(), "GET " + target + " HTTP/1.1\r\n" + headers + "\r\n");
    }
};

void TestForeignPages::answersUnderItsOwnNames_data()
{
    QTest::addColumn<QByteArray>("host");
    for (const char *host : {"127.0.0.1", "127.0.0.1:8700", "localhost", "LocalHost:80", "[::1]", "[::1]:65535"})
        QTest::newRow(host) << QByteArray(host);
}

void TestForeignPages::answersUnderItsOwnNames()
{
    QFETCH(QByteArray, host);
    QCOMPARE(upload("a.log", "bytes").status, 200);
    for (const char *target :
         {"/", "/style.css", "/api/uploads", "/uploads/000001-logfile/log", "/uploads/000001-logfile/file"})
        QCOMPARE(getWith("Host: " + host + "\r\n", target).status, 200);
}

void TestForeignPages::refusesOtherNames_data()
{
    QTest::addColumn<QByteArray>("headers");
    for (const char *host :
         {"", "x", "example.com", "example.com:8700", "127.0.0.1.example.com", "localhost.example.com",
          "example.com:localhost", "127.0.0.2", "127x0.0.1", "localhost:", "localhost:x", "::1"})
        QTest::newRow(host) << QByteArray("Host: ") + host + "\r\n";
    QTest::newRow("long port") << QByteArray("Host: localhost:123456\r\n");
    QTest::newRow("none") << QByteArray();
    QTest::newRow("two") << QByteArray("Host: localhost\r\nHost: example.com\r\n");
    QTest::newRow("long") << "Host: localhost:" + QByteArray(8000, '1') + "\r\n";
}

void TestForeignPages::refusesOtherNames()
{
    QFETCH(QByteArray, headers);
    QCOMPARE(upload("a.log", "bytes").status, 200);
    for (const char *target : {"/", "/style.css", "/api/uploads", "/uploads/000001-logfile/log",
                               "/uploads/000001-logfile/file", "/uploads/000001-logfile/fields", "/uploads/1-x/file"}) {
        const RawAnswer answer = getWith(headers, target);
        QCOMPARE(answer.status, 403);
        QVERIFY(answer.head.contains("\r\nContent-Type: text/plain; charset=utf-8\r\n"));
        QCOMPARE(answer.body, QByteArray("the page is shown under 127.0.0.1, localhost and [::1] only\n"));
    }
}

void TestForeignPages::takesNothingFromPages_data()
{
    QTest::addColumn<QByteArray>("origin");
    QTest::newRow("site") << QByteArray("https://example.com");
    QTest::newRow("page without a site") << QByteArray("null");
    QTest::newRow("own page") << QByteArray("http://127.0.0.1:8700");
}

void TestForeignPages::takesNothingFromPages()
{
    QFETCH(QByteArray, origin);
    const QByteArray header = "Origin: " + origin + "\r\n";
    const QByteArray form = logForm("a.log", QByteArray(100000, 'x'));
    for (const RawAnswer &answer :
         {RawClient::ask(service().port(), post(kLogFilePath, formType(), form, header)),
          RawClient::ask(service().port(), post(kErrorPath, "application/json", "{}", header)),
          RawClient::ask(service().reportPort(), post(kReportPath, "text/plain", "{}", header))}) {
        QCOMPARE(answer.status, 403);
        QVERIFY(answer.head.contains("\r\nContent-Type: text/plain; charset=utf-8\r\n"));
        QCOMPARE(answer.body, QByteArray("nothing is taken from the pages of a browser\n"));
    }
    QCOMPARE(tree(folder()), QStringList());
}

/// As tools send them, whatever name they were given.
void TestForeignPages::takesUploadsUnderAnyName()
{
    QByteArray request = post(kLogFilePath, formType(), logForm("a.log", "bytes"));
    QVERIFY(request.contains("Host: 127.0.0.1\r\n"));
    request.replace("Host: 127.0.0.1\r\n", "Host: logs.example.com:8700\r\n");
    QCOMPARE(RawClient::ask(service().port(), request).status, 200);
}

QTEST_GUILESS_MAIN(TestForeignPages)
#include "tst_foreignpages.moc"
