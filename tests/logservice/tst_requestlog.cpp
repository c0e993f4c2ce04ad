#include "http/requestlog.h"

#include <QtTest/QtTest>

#include <atomic>
#include <csignal>
#include <future>
#include <thread>

#include <unistd.h>

namespace {

constexpr int kPatienceMs = 20000;

/// A pipe whose reader may be slow to begin.
class Pipe
{
public:
    Pipe() { isOpen_ = ::pipe(ends_) == 0; }
    ~Pipe()
    {
        closeWriter();
        ::close(ends_[0]);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    bool isOpen() const { return isOpen_; }
    int writer() const { return ends_[1]; }
    void closeWriter()
    {
        if (ends_[1] >= 0)
            ::close(ends_[1]);
        ends_[1] = -1;
    }

    /// Reads until \a end has come or the writer is closed.
    QByteArray readTo(const QByteArray &end) const
    {
        QByteArray text;
        char piece[4096];
        while (end.isEmpty() || !text.contains(end)) {
            const auto count = ::read(ends_[0], piece, sizeof piece);
            if (count <= 0)
                break;
            text.append(piece, int(count));
        }
        return text;
    }

private:
    int ends_[2] = {-1, -1};
    bool isOpen_ = false;
};

QList<QByteArray> linesOf(QByteArray text)
{
    text.chop(1);
    return text.split('\n');
}

} // namespace

class TestRequestLog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void writesEachLineWithItsTime();
    void writesAtTheEndWhatIsWaiting();
    void saysHowManyLinesAReaderMissed();
    void endsThoughNobodyReads();
};

void TestRequestLog::initTestCase()
{
    // As in the service, whose HTTP library does it.
    ::signal(SIGPIPE, SIG_IGN);
}

void TestRequestLog::writesEachLineWithItsTime()
{
    Pipe pipe;
    QVERIFY(pipe.isOpen());
    RequestLog log(pipe.writer());
    log.write("one");
    log.write("two");
    const QByteArray text = pipe.readTo("two\n");
    static const QRegularExpression pattern(QStringLiteral(
        "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d one\n\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d two\n$"));
    QVERIFY2(pattern.match(QString::fromLatin1(text)).hasMatch(), text.constData());
}

void TestRequestLog::writesAtTheEndWhatIsWaiting()
{
    Pipe pipe;
    QVERIFY(pipe.isOpen());
    std::atomic<bool> isRead{false};
    auto reader = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        isRead = true;
        return pipe.readTo(QByteArray());
    });
    bool isReadBeforeTheEnd = false;
    {
        // More than the pipe holds.
        RequestLog log(pipe.writer());
        for (int i = 0; i < 1500; ++i)
            log.write(std::string(100, 'x') + std::to_string(i));
        log.end();
        isReadBeforeTheEnd = isRead;
    }
    pipe.closeWriter();
    const auto lines = linesOf(reader.get());
    QVERIFY(isReadBeforeTheEnd);
    QCOMPARE(lines.size(), 1500);
    for (int i = 0; i < lines.size(); ++i)
        QVERIFY2(lines.at(i).endsWith("xx" + QByteArray::number(i)), lines.at(i).constData());
}

void TestRequestLog::saysHowManyLinesAReaderMissed()
{
    constexpr int kLines = 20000;
    Pipe pipe;
    QVERIFY(pipe.isOpen());
    RequestLog log(pipe.writer());
    for (int i = 0; i < kLines; ++i)
        log.write(std::string(100, 'x') + std::to_string(i));

    QByteArray text = pipe.readTo(" lines are missing here: they were not read in time\n");
    log.write("last");
    text += pipe.readTo("last\n");
    static const QRegularExpression gap(QStringLiteral(" - (\\d+) lines are missing here"));
    int missed = 0;
    int written = 0;
    for (const QByteArray &line : linesOf(text)) {
        const auto match = gap.match(QString::fromLatin1(line));
        missed += match.captured(1).toInt();
        written += line.contains("xx") ? 1 : 0;
    }
    QVERIFY(missed > kLines / 2);
    QCOMPARE(written + missed, kLines);
}

void TestRequestLog::endsThoughNobodyReads()
{
    QElapsedTimer timer;
    Pipe pipe;
    QVERIFY(pipe.isOpen());
    RequestLog log(pipe.writer());
    for (int i = 0; i < 2000; ++i)
        log.write(std::string(100, 'x'));
    timer.start();
    log.end();
    QVERIFY2(timer.elapsed() < kPatienceMs, QByteArray::number(timer.elapsed()).constData());
}

QTEST_GUILESS_MAIN(TestRequestLog)
#include "tst_requestlog.moc"
