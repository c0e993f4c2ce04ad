#pragma once

#include <QElapsedTimer>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>

/// What a run may take that waits for nothing but its own pauses, in milliseconds. A run that something has to end,
/// such as the watchdog, takes 300,000. Under sanitizers everything is slower.
constexpr int kPromptMs = 10000 * KX_SLOWDOWN;

/// How a run of the tool ended.
struct ToolResult
{
    int exitCode = -1; ///< meaningless when crashed
    bool started = false;
    bool crashed = false;  ///< ended by a signal, also by the kill after a timeout
    bool timedOut = false; ///< was still running at the timeout and has been killed
    qint64 elapsedMs = 0;  ///< from the start to the moment at which the end was noticed
    QByteArray standardOutput;
    QByteArray standardError;

    /// Whether the tool ended by itself with status 0.
    bool isSuccess() const { return started && !crashed && !timedOut && exitCode == 0; }
    /// Everything above in one text, for the description of a failed check.
    QByteArray describe() const;
};

/// What a run is started with beyond its arguments.
struct ToolOptions
{
    QMap<QString, QString> environment; ///< added to the environment of the sandbox
    QStringList prefix;                 ///< command that starts the tool, such as {"prlimit", "--nofile=256"}
};

/// A program that runs in its own process; killed with the scope of the object. Its two output streams go to files, so
/// it never waits for the test to read them.
class ToolRun
{
public:
    /// Starts \a command (program, then arguments) in \a directory with exactly \a environment; the output goes to two
    /// files whose names are \a outputBase and .out or .err.
    ToolRun(const QStringList &command, const QString &directory, const QProcessEnvironment &environment,
            const QString &outputBase);
    ~ToolRun();
    ToolRun(const ToolRun &) = delete;
    ToolRun &operator=(const ToolRun &) = delete;

    bool isRunning();
    /// Process id of the command; with a prefix that runs the tool as its child, of the prefix.
    qint64 processId() const { return process_.processId(); }
    qint64 elapsedMs() const { return clock_.elapsed(); }
    /// What was written to standard error so far.
    QByteArray standardError() const;

    /// Ends the process at once (SIGKILL).
    void kill();
    /// Asks the process to end (SIGTERM).
    void terminate();
    /// Waits for the end, blocking; kills the process after \a timeoutMs milliseconds.
    ToolResult finish(int timeoutMs = 6 * kPromptMs);

private:
    QProcess process_;
    QElapsedTimer clock_;
    QString outputBase_;
    bool started_ = false;
};
