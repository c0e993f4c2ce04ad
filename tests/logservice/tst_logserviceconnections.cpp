#include "servicetest.h"
#include "storedfiles.h"
#include "support/files/fileio.h"
#include "support/server/rawclient.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtTest/QtTest>
#include <memory>

#include <sys/resource.h>

namespace {

constexpr int kPatienceMs = 20000;

qint64 residentKilobytes(qint64 processId)
{
    QProcess ps;
    ps.start(QStringLiteral("ps"),
             {QStringLiteral("-o"), QStringLiteral("rss="), QStringLiteral("-p"), QString::number(processId)});
    ps.waitForFinished();
    return ps.readAllStandardOutput().trimmed().toLongLong();
}

} // namespace

class TestLogServiceConnections : public ServiceTest
{
    Q_OBJECT

private slots:
    void takesSeveralRequestsOnOneConnection();
    void endsTheConnectionWhenAsked();
    void takesChunkedBodies();
    void serves300ClientsWhereFewFilesMayBeOpen();
    void holdsNoFileInMemory_data();
    void holdsNoFileInMemory();
    void abortedUploadLeavesNothing();
    void endsAtOnceWhileAnUploadIsSilent();
    void answersWhileNobodyReadsItsLines();
};

void TestLogServiceConnections::takesSeveralRequestsOnOneConnection()
{
    RawClient client(service().port());
    for (int i = 0; i < 20; ++i) {
        QVERIFY(client.send(post(kLogFilePath, formType(), logForm("a.log", mixedBytes(5000 * i)))));
        const RawAnswer answer = client.receiveAnswer();
        QCOMPARE(answer.status, 200);
        QVERIFY(!answer.head.contains("Connection: close"));
    }
    QCOMPARE(readFile(stored(QStringLiteral("000020-logfile/file.bin"))), mixedBytes(5000 * 19));
}

void TestLogServiceConnections::endsTheConnectionWhenAsked()
{
    RawClient client(service().port());
    QVERIFY(client.send(post(kLogFilePath, formType(), logForm("a.log", "bytes"), "Connection: close\r\n")));
    const RawAnswer answer = client.receiveAnswer();
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.body, QByteArray("{\"Code\":0}"));
    QVERIFY(answer.head.contains("\r\nConnection: close\r\n"));
    QVERIFY(client.receiveEnd() != RawClient::End::Open);
}

void TestLogServiceConnections::takesChunkedBodies()
{
    QByteArray request = "POST " + kLogFilePath + " HTTP/1.1\r\nHost: x\r\nContent-Type: " + formType() +
                         "\r\nTransfer-Encoding: chunked\r\n\r\n";
    const QByteArray body = logForm("a.log", "bytes");
    for (int i = 0; i < body.size(); i += 10) {
        const QByteArray chunk = body.mid(i, 10);
        request += QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n";
    }
    QCOMPARE(RawClient::ask(service().port(), request + "0\r\n\r\n").status, 200);
    QCOMPARE(readFile(stored(QStringLiteral("000001-logfile/file.bin"))), QByteArray("bytes"));
}

void TestLogServiceConnections::serves300ClientsWhereFewFilesMayBeOpen()
{
    // The usual limit on a Mac; this process needs its own back for the clients.
    rlimit own = {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &own), 0);
    const rlimit few = {256, own.rlim_max};
    QCOMPARE(service().stop(), 0);
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const bool isStarted = service().start(LogServiceProcess::onFreePorts(folder()));
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &own), 0);
    QVERIFY(isStarted);

    const QByteArray request = post(kLogFilePath, formType(), logForm("a.log", "bytes"));
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 300; ++i) {
        clients.push_back(std::make_unique<RawClient>(service().port()));
        QVERIFY(clients.back()->send(request.left(request.size() - 20)));
    }
    for (auto client = clients.rbegin(); client != clients.rend(); ++client) {
        QVERIFY((*client)->send(request.right(20)));
        QCOMPARE((*client)->receiveAnswer().status, 200);
    }
    QVERIFY(QFile::exists(stored(QStringLiteral("000300-logfile/upload.json"))));
}

void TestLogServiceConnections::holdsNoFileInMemory_data()
{
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<int>("megabytes");
    QTest::addColumn<int>("status");
    // Later versions of the HTTP library take 100 MB unless they are told otherwise.
    QTest::newRow("taken") << QByteArray("POST") << kLogFilePath << 104 << 200;
    QTest::newRow("unknown path") << QByteArray("POST") << QByteArray("/nope") << 64 << 404;
    QTest::newRow("PUT") << QByteArray("PUT") << kLogFilePath << 64 << 405;
    QTest::newRow("PATCH") << QByteArray("PATCH") << kLogFilePath << 64 << 405;
    QTest::newRow("DELETE") << QByteArray("DELETE") << kLogFilePath << 64 << 405;
}

void TestLogServiceConnections::holdsNoFileInMemory()
{
    QFETCH(QByteArray, method);
    QFETCH(QByteArray, path);
    QFETCH(int, megabytes);
    constexpr int kMegabyte = 1024 * 1024;
    QCOMPARE(upload("first.log", QByteArray(kMegabyte, 'x')).status, 200);
    const qint64 before = residentKilobytes(service().processId());
    QVERIFY(before > 0);

    // The buffers of the two sockets hold a few megabytes of it at most.
    const QByteArray request =
        method + post(path, formType(), logForm("a.log", QByteArray(megabytes * kMegabyte, 'x'))).mid(4);
    RawClient client(service().port());
    QVERIFY(client.send(request.left(request.size() - 10)));
    const qint64 after = residentKilobytes(service().processId());
    QVERIFY2(after < before + 16 * 1024, QByteArray::number(after - before).constData());

    QVERIFY(client.send(request.right(10)));
    QTEST(client.receiveAnswer().status, "status");
}

void TestLogServiceConnections::abortedUploadLeavesNothing()
{
    const QByteArray request = post(kLogFilePath, formType(), logForm("a.log", QByteArray(1000000, 'x')));
    RawClient client(service().port());
    QVERIFY(client.send(request.left(request.size() / 2)));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(stored(QStringLiteral(".incoming-1/file.bin"))), kPatienceMs);
    client.close();
    QVERIFY(service().waitForRequestLine("refused with 400: the body was cut off behind "));
    QVERIFY(service().requestLines().contains(" logfile \"a.log\" "));
    QCOMPARE(tree(folder()), QStringList());

    QCOMPARE(upload("b.log", "bytes").status, 200);
    QVERIFY(QFile::exists(stored(QStringLiteral("000001-logfile"))));
}

void TestLogServiceConnections::endsAtOnceWhileAnUploadIsSilent()
{
    const QByteArray request = post(kLogFilePath, formType(), logForm("a.log", QByteArray(1000000, 'x')));
    RawClient client(service().port());
    QVERIFY(client.send(request.left(request.size() / 2)));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(stored(QStringLiteral(".incoming-1/file.bin"))), kPatienceMs);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(service().stop(), 0);
    // Far less than the time that the service waits for a silent client.
    QVERIFY2(timer.elapsed() < 15000, QByteArray::number(timer.elapsed()).constData());
    QCOMPARE(tree(folder()), QStringList());
    QVERIFY(service().start(LogServiceProcess::onFreePorts(folder())));
}

void TestLogServiceConnections::answersWhileNobodyReadsItsLines()
{
    // Three times what a pipe holds.
    const QByteArray request = post(kLogFilePath, formType(), logForm(QByteArray(100, 'n'), "bytes"));
    RawClient client(service().port());
    for (int i = 0; i < 900; ++i) {
        QVERIFY(client.send(request));
        QCOMPARE(client.receiveAnswer().status, 200);
    }
}

QTEST_GUILESS_MAIN(TestLogServiceConnections)
#include "tst_logserviceconnections.moc"
