#include "http/connection.h"

#include <QtTest/QtTest>

#include <csignal>
#include <future>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

namespace {

using Time = ConnectionLimits::Time;

constexpr Time kShort(100);
constexpr Time kLong(15000);
constexpr Time kStep(10);

/// Limits that are never reached.
ConnectionLimits wideLimits()
{
    ConnectionLimits limits;
    limits.idle = limits.head = limits.crowded = limits.silence = limits.crowdedSilence = limits.leeway = kLong;
    return limits;
}

/// The two ends of a connection.
class Ends
{
public:
    Ends() { isOpen_ = ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends_) == 0; }
    ~Ends()
    {
        ::close(ends_[0]);
        ::close(ends_[1]);
    }
    Ends(const Ends &) = delete;
    Ends &operator=(const Ends &) = delete;

    bool isOpen() const { return isOpen_; }
    int service() const { return ends_[0]; }
    bool send(const QByteArray &bytes) const
    {
        return ::send(ends_[1], bytes.constData(), std::size_t(bytes.size()), 0) == bytes.size();
    }

private:
    int ends_[2] = {-1, -1};
    bool isOpen_ = false;
};

/// A client that sends \a piece again and again until the test is over.
class Dripping
{
public:
    Dripping(const Ends &ends, const QByteArray &piece)
        : thread_([this, &ends, piece] {
              while (!isOver_ && ends.send(piece))
                  std::this_thread::sleep_for(kStep);
          })
    {
    }
    ~Dripping()
    {
        isOver_ = true;
        thread_.join();
    }
    Dripping(const Dripping &) = delete;
    Dripping &operator=(const Dripping &) = delete;

private:
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

/// Reads up to \a count bytes as the library reads lines, one at a time, and returns how many came.
int readSingly(Connection &connection, int count)
{
    char byte = 0;
    int got = 0;
    while (got < count && connection.read(&byte, 1) == 1)
        ++got;
    return got;
}

} // namespace

class TestConnection : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { timer_.start(); }
    void cleanup();
    void handsOutWhatComes();
    void endsASilentConnection();
    void endsASilentConnectionSoonerWhileOthersWait();
    void endsAHeadThatDrips();
    void boundsTheBytesOfAHead();
    void boundsTheLinesOfAHead();
    void boundsALineOfABody();
    void countsEachHeadAnew();
    void endsABodyThatDrips();
    void letsABodyPassThatGoesOnComing();
    void endsASilentBody();
    void endsASilentBodySoonerWhileOthersWait();
    void letsABodyPassThatComesByteByByte();
    void endsAnAnswerThatNobodyReads();

private:
    QElapsedTimer timer_;
};

void TestConnection::initTestCase()
{
    // As in the service, whose HTTP library does it.
    ::signal(SIGPIPE, SIG_IGN);
}

/// No limit was taken for another one, which would have ended the test later.
void TestConnection::cleanup()
{
    QVERIFY2(Time(timer_.elapsed()) < kLong, QByteArray::number(timer_.elapsed()).constData());
}

void TestConnection::handsOutWhatComes()
{
    const Ends ends;
    QVERIFY(ends.isOpen());
    Connection connection(ends.service(), wideLimits(), [] { return false; });
    QByteArray sent(100000, '\0');
    for (int i = 0; i < sent.size(); ++i)
        sent[i] = char(i * 7 + i / 256);
    QVERIFY(ends.send("head" + sent));
    QVERIFY(connection.waitForRequest());
    QCOMPARE(readSingly(connection, 4), 4);
    connection.beginBody();
    QByteArray came;
    std::vector<char> piece(10000);
    while (came.size() < sent.size()) {
        const auto got = connection.read(piece.data(), piece.size());
        QVERIFY(got > 0);
        came.append(piece.data(), int(got));
    }
    QVERIFY(came == sent);
}

void TestConnection::endsASilentConnection()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.idle = kShort;
    Connection connection(ends.service(), limits, [] { return false; });
    QVERIFY(!connection.waitForRequest());
}

void TestConnection::endsASilentConnectionSoonerWhileOthersWait()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.crowded = kShort;
    Connection connection(ends.service(), limits, [] { return true; });
    QVERIFY(!connection.waitForRequest());
}

void TestConnection::endsAHeadThatDrips()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.head = kShort;
    Connection connection(ends.service(), limits, [] { return false; });
    const Dripping client(ends, "x");
    QVERIFY(connection.waitForRequest());
    QVERIFY(readSingly(connection, 1000) < 1000);
}

void TestConnection::boundsTheBytesOfAHead()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.headBytes = 500;
    Connection connection(ends.service(), limits, [] { return false; });
    QVERIFY(ends.send(QByteArray("X: yyyyyyyyyyyyyy\r\n").repeated(50)));
    QVERIFY(connection.waitForRequest());
    QCOMPARE(readSingly(connection, 1000), 500);
}

void TestConnection::boundsTheLinesOfAHead()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.headLines = 20;
    Connection connection(ends.service(), limits, [] { return false; });
    QVERIFY(ends.send(QByteArray("X: y\r\n").repeated(100)));
    QVERIFY(connection.waitForRequest());
    QCOMPARE(readSingly(connection, 600), 6 * 21 - 1);
}

void TestConnection::boundsALineOfABody()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.headBytes = 1000;
    Connection connection(ends.service(), limits, [] { return false; });
    QVERIFY(ends.send(QByteArray(900, 'x') + '\n' + QByteArray(900, 'x') + '\n' + QByteArray(2000, 'x')));
    QVERIFY(connection.waitForRequest());
    connection.beginBody();
    QCOMPARE(readSingly(connection, 4000), 1802 + 1000);
}

void TestConnection::countsEachHeadAnew()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.headBytes = 100;
    limits.headLines = 2;
    Connection connection(ends.service(), limits, [] { return false; });
    for (int i = 0; i < 3; ++i) {
        QVERIFY(ends.send(QByteArray(60, 'x') + "\n\n"));
        QVERIFY(connection.waitForRequest());
        QCOMPARE(readSingly(connection, 62), 62);
    }
}

void TestConnection::endsABodyThatDrips()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.leeway = kShort;
    limits.bytesPerSecond = 1000000;
    Connection connection(ends.service(), limits, [] { return false; });
    connection.beginBody();
    const Dripping client(ends, "x");
    QVERIFY(readSingly(connection, 1000) < 1000);
}

void TestConnection::letsABodyPassThatGoesOnComing()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.leeway = Time(0);
    // The first byte comes at once, and grants a second; far more come in it.
    limits.bytesPerSecond = 1;
    Connection connection(ends.service(), limits, [] { return false; });
    QVERIFY(ends.send(QByteArray(10, 'x')));
    connection.beginBody();
    const Dripping client(ends, "xxxxxxxxxx");
    QCOMPARE(readSingly(connection, 300), 300);
}

void TestConnection::endsASilentBody()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.silence = kShort;
    Connection connection(ends.service(), limits, [] { return false; });
    connection.beginBody();
    QVERIFY(ends.send("xx"));
    QCOMPARE(readSingly(connection, 3), 2);
}

void TestConnection::endsASilentBodySoonerWhileOthersWait()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.crowdedSilence = kShort;
    Connection connection(ends.service(), limits, [] { return true; });
    connection.beginBody();
    QVERIFY(ends.send("xx"));
    QCOMPARE(readSingly(connection, 3), 2);
}

void TestConnection::letsABodyPassThatComesByteByByte()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.headBytes = 10;
    Connection connection(ends.service(), limits, [] { return false; });
    connection.beginBody();
    char bytes[100];
    for (int i = 0; i < 50; ++i) {
        QVERIFY(ends.send("x"));
        QCOMPARE(int(connection.read(bytes, sizeof bytes)), 1);
    }
}

void TestConnection::endsAnAnswerThatNobodyReads()
{
    const Ends ends;
    auto limits = wideLimits();
    limits.silence = kShort;
    Connection connection(ends.service(), limits, [] { return false; });
    connection.beginBody();
    const std::vector<char> piece(100000);
    int pieces = 0;
    while (pieces < 1000 && connection.write(piece.data(), piece.size()) > 0)
        ++pieces;
    QVERIFY(pieces > 0);
    QVERIFY(pieces < 1000);
}

QTEST_GUILESS_MAIN(TestConnection)
#include "tst_connection.moc"
