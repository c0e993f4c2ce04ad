#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"

#include <QFile>
#include <QLockFile>
#include <QTest>

namespace {

constexpr qint64 kWatchdogMs = 300000;
/// For a run whose event loop does not get its turn any more.
constexpr qint64 kLastResortMs = 310000;
/// What the start of a process and a loaded machine add.
constexpr qint64 kToleranceMs = 8000;

/// \a text tells the files of one sandbox from those of another.
bool fillSandbox(const Sandbox &sandbox, const QByteArray &text)
{
    return addUser(sandbox) && !addLog(sandbox, QStringLiteral("a"), text).isEmpty() &&
           !addLog(sandbox, QStringLiteral("b"), text + " of the SDK", 1).isEmpty();
}

} // namespace

/// Runs that nothing ends but the clock, all at the same time: this takes more than five minutes.
class TestWatchdog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(fillSandbox(silent_, "silent") && fillSandbox(notJson_, "no JSON") && fillSandbox(locked_, "locked"));
        const ScriptedServer silentServer(KX_PORT_SILENT, {}, Reply::silence());
        QVERIFY(silentServer.isListening());
        // First the only file that the locked run sends, then the three of the other one.
        const ScriptedServer server(KX_PORT_NOTJSON,
                                    {Reply::json(), Reply::json(), Reply::json(), Reply::http(200, "OK")});
        QVERIFY(server.isListening());
        QLockFile lock(locked_.iniPath() + QStringLiteral(".lock"));
        QVERIFY(lock.lock());

        const auto silentRun = silent_.startTool({});
        const auto lockedRun = locked_.startTool({});
        QVERIFY(server.waitForRequests(1));
        const auto notJsonRun = notJson_.startTool({});
        silentResult_ = silentRun->finish(int(kWatchdogMs + 2 * kToleranceMs));
        notJsonResult_ = notJsonRun->finish(int(2 * kToleranceMs));
        lockedResult_ = lockedRun->finish(int(kLastResortMs - kWatchdogMs + 2 * kToleranceMs));
        silentNames_ = arrivedNames(silentServer).join(QLatin1Char(' '));
        names_ = arrivedNames(server).join(QLatin1Char(' '));
    }

    void endsARunWhoseServiceNeverAnswers()
    {
        checkEnd(silentResult_, kWatchdogMs);
        QCOMPARE(silentNames_, QStringLiteral("a.log"));
        checkEverythingIsKept(silent_);
    }

    void endsARunWhoseLastAnswerIsNoJson()
    {
        checkEnd(notJsonResult_, kWatchdogMs);
        QCOMPARE(names_, QStringLiteral("a.log a.log b.log own log"));
        QCOMPARE(notJson_.groups(), QStringList(QStringLiteral("system")));
        QVERIFY(QFile::exists(fileOf(notJson_, "a")) && !QFile::exists(fileOf(notJson_, "b")));
    }

    void isBackedByTheSystemWhenUploadIniStaysLocked()
    {
        checkEnd(lockedResult_, kLastResortMs);
        QVERIFY(names_.startsWith(QLatin1String("a.log")));
        checkEverythingIsKept(locked_);
    }

private:
    static QString fileOf(const Sandbox &sandbox, const char *group)
    {
        return sandbox.appDirectory() + QStringLiteral("/files/%1.log").arg(QLatin1String(group));
    }

    static void checkEnd(const ToolResult &result, qint64 expectedMs)
    {
        QVERIFY2(result.isSuccess(), result.describe());
        qInfo("ended after %lld ms", result.elapsedMs);
        QVERIFY(result.elapsedMs >= expectedMs && result.elapsedMs < expectedMs + kToleranceMs);
    }

    static void checkEverythingIsKept(const Sandbox &sandbox)
    {
        QCOMPARE(sandbox.groups(), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("system")}));
        QVERIFY(QFile::exists(fileOf(sandbox, "a")) && QFile::exists(fileOf(sandbox, "b")));
    }

    const Sandbox silent_{QStringLiteral(KX_TOOL_SILENT)};
    const Sandbox notJson_{QStringLiteral(KX_TOOL_NOTJSON)};
    const Sandbox locked_{QStringLiteral(KX_TOOL_NOTJSON)};
    ToolResult silentResult_;
    ToolResult notJsonResult_;
    ToolResult lockedResult_;
    QString silentNames_;
    QString names_;
};

QTEST_GUILESS_MAIN(TestWatchdog)
#include "tst_watchdog.moc"
