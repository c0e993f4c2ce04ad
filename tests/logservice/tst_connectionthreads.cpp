#include "http/connectionthreads.h"

#include <QtTest/QtTest>

#include <chrono>
#include <future>

namespace {

constexpr std::chrono::seconds kPatience(20);

/// A connection that lasts until it is told to end.
struct Connection
{
    std::promise<void> begun;
    std::promise<void> end;
    std::future<void> hasBegun = begun.get_future();
    std::future<void> mayEnd = end.get_future();

    std::function<void()> work()
    {
        return [this] {
            begun.set_value();
            mayEnd.wait();
        };
    }
    bool waitUntilServed() const { return hasBegun.wait_for(kPatience) == std::future_status::ready; }
};

} // namespace

class TestConnectionThreads : public QObject
{
    Q_OBJECT

private slots:
    void letsAConnectionWaitWhenAllThreadsAreBusy();
};

void TestConnectionThreads::letsAConnectionWaitWhenAllThreadsAreBusy()
{
    Connection first;
    Connection second;
    Connection third;
    ConnectionThreads threads(2);
    for (auto *connection : {&first, &second, &third})
        threads.enqueue(connection->work());
    const bool areTwoServed = first.waitUntilServed() && second.waitUntilServed();
    // With a thread too many, it would be served about as soon as the two.
    const bool isThirdWaiting = third.hasBegun.wait_for(std::chrono::milliseconds(200)) == std::future_status::timeout;
    second.end.set_value();
    const bool isThirdServed = third.waitUntilServed();
    first.end.set_value();
    third.end.set_value();
    threads.shutdown();
    QVERIFY(areTwoServed);
    QVERIFY(isThirdWaiting);
    QVERIFY(isThirdServed);
}

QTEST_GUILESS_MAIN(TestConnectionThreads)
#include "tst_connectionthreads.moc"
