#include "support/files/inifile.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QSemaphore>
#include <QSettings>
#include <QTest>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <random>

namespace {

constexpr int kGroups = 12;
constexpr int kRooms = 300;
/// How often a run is not killed: it must work with everything that the killed ones left behind.
constexpr int kKillsBetweenWholeRuns = 5;
/// Behind a request, the time for all that follows: answer, removal of the group, next request.
constexpr unsigned kLongestDelayUs = 6000;
/// Behind the start, the time until the first request.
constexpr unsigned kLongestStartUs = 700000;
/// Behind the appearance of the lock, the time in which upload.ini is written.
constexpr unsigned kLongestWriteUs = 500;
/// A lock that was left empty costs the next run half a minute.
constexpr int kTimeoutMs = 60000;

/// When a run is killed: \a delayUs microseconds after the request of that number arrived, or after the start for 0; or
/// after upload.ini was locked the next time behind that.
struct Moment
{
    int request;
    bool whenLocked;
    unsigned delayUs;
};

struct File
{
    QString group;
    QString path;
    QByteArray bytes;
};

} // namespace

/// The tool killed at random moments.
class TestKilled : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        bool given = false;
        seed_ = qEnvironmentVariableIntValue("KX_SEED", &given);
        if (!given)
            seed_ = int(std::random_device()() >> 1);
        random_.seed(unsigned(seed_));
        qInfo("KX_SEED=%d repeats these moments", seed_);
        QVERIFY(sandbox_.isValid());
        QVERIFY(addUser(sandbox_));
        // Rooms make upload.ini longer, and with it the time in which it is written.
        QVERIFY(sandbox_.writeIni([](QSettings &ini) {
            for (int i = 0; i < kRooms; ++i)
                ini.setValue(QStringLiteral("room/%1").arg(i), QStringLiteral("room number %1").arg(i));
        }));
        userAndRooms_ = IniFile(sandbox_.iniPath()).values();
    }

    void losesNothing()
    {
        for (int kill = 1; kill <= KX_KILLS; ++kill) {
            const QList<File> files = addFiles(kill);
            killOnce(files);
            if (!QTest::currentTestFailed() && kill % kKillsBetweenWholeRuns == 0)
                runToTheEnd();
            if (QTest::currentTestFailed()) {
                qInfo("this was kill %d", kill);
                return;
            }
        }
        qInfo("%d kills: %d times some of %d groups were left, %d times files beside upload.ini", KX_KILLS,
              killedInTheMiddle_, kGroups, foundLeftovers_);
        QVERIFY2(killedInTheMiddle_ > 0, "no kill hit a run between its first and its last file");
    }

private:
    /// Writes all files anew and adds the groups that are missing.
    QList<File> addFiles(int kill)
    {
        QList<File> files;
        for (int i = 0; i < kGroups; ++i) {
            const QString group = QStringLiteral("log%1").arg(i, 2, 10, QLatin1Char('0'));
            const QByteArray bytes = "file " + QByteArray::number(i) + " for kill " + QByteArray::number(kill);
            const QString path = sandbox_.addFile(QStringLiteral("files/") + group + QStringLiteral(".log"), bytes);
            files.append({group, path, bytes});
        }
        const bool written = sandbox_.writeIni([&](QSettings &ini) {
            for (int i = 0; i < kGroups; ++i) {
                ini.setValue(files.at(i).group + QStringLiteral("/path"), files.at(i).path);
                ini.setValue(files.at(i).group + QStringLiteral("/sdk"), i % 3 == 0 ? 1 : 0);
            }
        });
        return written ? files : QList<File>();
    }

    Moment randomMoment()
    {
        const int request = std::uniform_int_distribution<int>(0, kGroups + 1)(random_);
        const bool whenLocked = request > 0 && request <= kGroups && std::bernoulli_distribution()(random_);
        const unsigned longest = whenLocked ? kLongestWriteUs : request == 0 ? kLongestStartUs : kLongestDelayUs;
        return {request, whenLocked, std::uniform_int_distribution<unsigned>(0, longest)(random_)};
    }

    void killOnce(const QList<File> &files)
    {
        const Moment moment = randomMoment();
        std::atomic<int> requests{0};
        QSemaphore reached(moment.request == 0 ? 1 : 0);
        const ScriptedServer server(servicePort(), {}, Reply::json().onRequest([&] {
            if (++requests == moment.request)
                reached.release();
        }));
        QVERIFY(server.isListening());
        const auto run = sandbox_.startTool({});
        QVERIFY(reached.tryAcquire(1, kTimeoutMs));
        if (moment.whenLocked)
            awaitLock();
        QThread::usleep(moment.delayUs);
        run->kill();
        const ToolResult result = run->finish();
        QVERIFY2(result.crashed || result.isSuccess(), result.describe());
        checkNothingIsLost(files, server);
    }

    /// Waits for upload.ini to be locked, which happens so briefly that it may be missed.
    void awaitLock() const
    {
        const QString lock = sandbox_.iniPath() + QStringLiteral(".lock");
        const QDeadlineTimer deadline(100);
        while (!QFile::exists(lock) && !deadline.hasExpired()) {
        }
    }

    void checkNothingIsLost(const QList<File> &files, const ScriptedServer &server)
    {
        QVariantMap values = IniFile(sandbox_.iniPath()).values();
        const QList<Arrival> arrived = arrivals(server);
        int left = 0;
        for (const File &file : files) {
            const bool isListed = values.take(file.group + QStringLiteral("/path")).toString() == file.path;
            const bool isWholeGroup = values.take(file.group + QStringLiteral("/sdk")).isValid();
            QVERIFY2(isListed == isWholeGroup, qPrintable(file.group));
            const bool hasArrived = std::any_of(arrived.begin(), arrived.end(), [&](const Arrival &arrival) {
                return arrival.name == file.group + QStringLiteral(".log") && arrival.bytes == file.bytes;
            });
            QVERIFY2(isListed || hasArrived, qPrintable(file.group));
            QVERIFY2(QFile::exists(file.path) || hasArrived, qPrintable(file.group));
            left += isListed ? 1 : 0;
        }
        QCOMPARE(values, userAndRooms_);
        killedInTheMiddle_ += left > 0 && left < kGroups ? 1 : 0;
        foundLeftovers_ += filesBesideIni().isEmpty() ? 0 : 1;
    }

    void runToTheEnd()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const ToolResult result = sandbox_.runTool({}, kTimeoutMs);
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(IniFile(sandbox_.iniPath()).values(), userAndRooms_);
        QVERIFY(!filesBesideIni().contains(QStringLiteral("upload.ini.lock")));
    }

    QStringList filesBesideIni() const
    {
        QStringList names = filesBelow(QFileInfo(sandbox_.iniPath()).path());
        names.removeOne(QStringLiteral("upload.ini"));
        return names;
    }

    int seed_ = 0;
    std::mt19937 random_;
    const Sandbox sandbox_{Sandbox::builtTool(), fastFolder()};
    QVariantMap userAndRooms_;
    int killedInTheMiddle_ = 0;
    int foundLeftovers_ = 0;
};

QTEST_GUILESS_MAIN(TestKilled)
#include "tst_killed.moc"
