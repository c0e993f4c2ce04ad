#include "http/connectionthreads.h"

#include <QtTest/QtTest>

#include <chrono>
#include <cstdlib>
#include <future>
#include <mutex>
#include <new>
#include <set>
#include <thread>

namespace {

constexpr int kPatienceMs = 20000;

thread_local bool hasNoMemory = false;

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
    bool waitUntilServed() const
    {
        return hasBegun.wait_for(std::chrono::milliseconds(kPatienceMs)) == std::future_status::ready;
    }
};

} // namespace

void *operator new(std::size_t size)
{
    void *const memory = hasNoMemory ? nullptr : std::malloc(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

class TestConnectionThreads : public QObject
{
    Q_OBJECT

private slots:
    void holdsUpWhoeverAcceptsWhenAllThreadsAreBusy();
    void waitsForAThreadWhenThereIsNoMemoryForAnother();
    void startsNoThreadWhileOneIsFree();
};

void TestConnectionThreads::holdsUpWhoeverAcceptsWhenAllThreadsAreBusy()
{
    Connection first;
    Connection second;
    Connection third;
    ConnectionThreads threads(2);
    threads.enqueue(first.work());
    threads.enqueue(second.work());
    QVERIFY(first.waitUntilServed());
    QVERIFY(second.waitUntilServed());
    QVERIFY(!threads.isCrowded());

    auto accepting = std::async(std::launch::async, [&] { threads.enqueue(third.work()); });
    const bool isCrowded = QTest::qWaitFor([&] { return threads.isCrowded(); }, kPatienceMs);
    const bool isHeldUp = accepting.wait_for(std::chrono::milliseconds(200)) == std::future_status::timeout;
    second.end.set_value();
    const bool isThirdServed = third.waitUntilServed();
    accepting.get();
    const bool isCrowdedAtTheEnd = threads.isCrowded();
    first.end.set_value();
    third.end.set_value();
    threads.shutdown();
    QVERIFY(isCrowded);
    QVERIFY(isHeldUp);
    QVERIFY(isThirdServed);
    QVERIFY(!isCrowdedAtTheEnd);
}

void TestConnectionThreads::waitsForAThreadWhenThereIsNoMemoryForAnother()
{
    Connection first;
    Connection second;
    ConnectionThreads threads(2);
    const auto enqueue = [&threads](std::function<void()> work) {
        hasNoMemory = true;
        threads.enqueue(std::move(work));
        hasNoMemory = false;
    };
    enqueue(first.work());
    QVERIFY(first.waitUntilServed());

    auto accepting = std::async(std::launch::async, [&] { enqueue(second.work()); });
    const bool isCrowded = QTest::qWaitFor([&] { return threads.isCrowded(); }, kPatienceMs);
    first.end.set_value();
    const bool isServed = second.waitUntilServed();
    second.end.set_value();
    threads.shutdown();
    QVERIFY(isCrowded);
    QVERIFY(isServed);
    accepting.get();
}

void TestConnectionThreads::startsNoThreadWhileOneIsFree()
{
    std::mutex mutex;
    std::set<std::thread::id> seen;
    ConnectionThreads threads(50);
    for (int i = 0; i < 50; ++i) {
        std::promise<void> done;
        threads.enqueue([&] {
            const std::lock_guard<std::mutex> guard(mutex);
            seen.insert(std::this_thread::get_id());
            done.set_value();
        });
        done.get_future().wait();
        // A thread needs a moment from the end of its connection until it is free.
        QTest::qWait(2);
    }
    threads.shutdown();
    QVERIFY2(seen.size() < 10, QByteArray::number(int(seen.size())).constData());
}

QTEST_GUILESS_MAIN(TestConnectionThreads)
#include "tst_connectionthreads.moc"
