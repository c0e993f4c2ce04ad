#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QFile>
#include <QLockFile>
#include <QTest>

#include <chrono>
#include <filesystem>
#include <memory>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kHeldMs = 2000;
/// The age at which Qt takes a lock away whose owner it does not know, and how far from it one is in the test.
constexpr int kStaleLockMs = 30000;
constexpr int kLeftMs = 4000;

/// Leaves a lock whose owner is dead. Returns whether it did.
bool leaveLock(const QString &path)
{
    const pid_t child = ::fork();
    if (child == 0) {
        QLockFile lock(path);
        ::_exit(lock.lock() ? 0 : 1);
    }
    int status = -1;
    return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

} // namespace

/// The lock under which settings objects of all processes rewrite upload.ini. That a run with a lock which is never
/// released ends all the same is a test of its own, which takes five minutes.
class TestIniLock : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        sandbox_ = std::make_unique<Sandbox>();
        lockPath_ = sandbox_->iniPath() + QStringLiteral(".lock");
        QVERIFY(addUser(*sandbox_));
        for (const char *group : {"a", "b"})
            QVERIFY(!addLog(*sandbox_, QLatin1String(group), "text").isEmpty());
    }
    void cleanup() { sandbox_.reset(); }

    void isTakenFromADeadProcessAtOnce()
    {
        QVERIFY(leaveLock(lockPath_));
        QVERIFY(QFile::exists(lockPath_));
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const ToolResult result = sandbox_->runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY2(result.elapsedMs < kPromptMs, result.describe());
        QCOMPARE(sandbox_->groups(), QStringList(QStringLiteral("system")));
        QVERIFY(!QFile::exists(lockPath_));
    }

    /// As a process leaves it that is killed between making the file and writing its name into it.
    void isTakenAfterHalfAMinuteWhenItIsEmpty()
    {
        QFile lock(lockPath_);
        QVERIFY(lock.open(QIODevice::WriteOnly));
        lock.close();
        std::filesystem::last_write_time(QFile::encodeName(lockPath_).toStdString(),
                                         std::filesystem::file_time_type::clock::now() +
                                             std::chrono::milliseconds(kLeftMs - kStaleLockMs));
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const ToolResult result = sandbox_->runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY2(result.elapsedMs > kLeftMs, result.describe());
        QVERIFY2(result.elapsedMs < kStaleLockMs, result.describe());
        QCOMPARE(sandbox_->groups(), QStringList(QStringLiteral("system")));
        QVERIFY(!QFile::exists(lockPath_));
    }

    void isWaitedForWhileALiveProcessHoldsIt()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        QLockFile lock(lockPath_);
        QVERIFY(lock.lock());
        const auto run = sandbox_->startTool({});
        QVERIFY(server.waitForRequests(1));
        QTest::qWait(kHeldMs);
        QVERIFY(run->isRunning());
        QCOMPARE(server.requests().size(), 1);
        QVERIFY(sandbox_->groups().contains(QStringLiteral("a")));

        lock.unlock();
        const ToolResult result = run->finish();
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(sentFileNames(server),
                 (QStringList{QStringLiteral("a.log"), QStringLiteral("b.log"), QStringLiteral("own log")}));
        QCOMPARE(sandbox_->groups(), QStringList(QStringLiteral("system")));
    }

private:
    std::unique_ptr<Sandbox> sandbox_;
    QString lockPath_;
};

QTEST_GUILESS_MAIN(TestIniLock)
#include "tst_inilock.moc"
