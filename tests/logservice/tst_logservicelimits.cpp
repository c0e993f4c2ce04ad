#include "servicetest.h"
#include "support/tool/processfacts.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtTest/QtTest>

#include <memory>
#include <vector>

namespace {

// What a well-behaved client may have to wait while others misbehave.
constexpr int kPatienceMs = 4000;

} // namespace

/// What one client can make the service hold.
class TestLogServiceLimits : public ServiceTest
{
    Q_OBJECT

private slots:
    void servesWhileMoreAreSilentThanItTakes();
    void keepsNoEndlessHead();
    void endsAHeadThatDrips();
};

void TestLogServiceLimits::servesWhileMoreAreSilentThanItTakes()
{
    std::vector<std::unique_ptr<RawClient>> silent;
    for (int i = 0; i < 900; ++i) {
        silent.push_back(std::make_unique<RawClient>(service().port()));
        QVERIFY(silent.back()->isConnected());
    }
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(upload("good.log", "bytes").status, 200);
    QVERIFY2(timer.elapsed() < kPatienceMs, QByteArray::number(timer.elapsed()).constData());
}

void TestLogServiceLimits::keepsNoEndlessHead()
{
    if (!knowsProcesses())
        QSKIP("Only Linux tells how much memory a process has had");
    QCOMPARE(upload("first.log", "bytes").status, 200);
    const qint64 before = peakMemoryKiB(service().processId());
    RawClient client(service().port());
    client.send("GET / HTTP/1.1\r\n" + QByteArray("X: 3456789012345678901234567890\r\n").repeated(1000000));
    QVERIFY(client.receiveEnd() != RawClient::End::Open);
    QCOMPARE(upload("second.log", "bytes").status, 200);
    const qint64 grown = peakMemoryKiB(service().processId()) - before;
    QVERIFY2(grown < 8 * 1024, QByteArray::number(grown).constData());
}

void TestLogServiceLimits::endsAHeadThatDrips()
{
    RawClient client(service().port());
    QElapsedTimer timer;
    timer.start();
    bool isOpen = client.send("POST / HTTP/1.1\r\nX: ");
    while (isOpen && timer.elapsed() < 40000)
        isOpen = client.send("x") && client.receiveEnd(100) == RawClient::End::Open;
    QVERIFY(!isOpen);
}

QTEST_GUILESS_MAIN(TestLogServiceLimits)
#include "tst_logservicelimits.moc"
