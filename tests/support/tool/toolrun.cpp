#include "support/tool/toolrun.h"

#include "support/files/fileio.h"

QByteArray ToolResult::describe() const
{
    const QString facts = QStringLiteral("exit code %1, started %2, crashed %3, timed out %4, %5 ms")
                              .arg(exitCode)
                              .arg(started)
                              .arg(crashed)
                              .arg(timedOut)
                              .arg(elapsedMs);
    return facts.toUtf8() + "\n--- standard output ---\n" + standardOutput + "\n--- standard error ---\n" +
           standardError;
}

ToolRun::ToolRun(const QStringList &command, const QString &directory, const QProcessEnvironment &environment,
                 const QString &outputBase)
    : outputBase_(outputBase)
{
    process_.setProgram(command.first());
    process_.setArguments(command.mid(1));
    process_.setWorkingDirectory(directory);
    process_.setProcessEnvironment(environment);
    process_.setStandardInputFile(QProcess::nullDevice());
    process_.setStandardOutputFile(outputBase + QStringLiteral(".out"));
    process_.setStandardErrorFile(outputBase + QStringLiteral(".err"));
    clock_.start();
    process_.start();
    started_ = process_.waitForStarted();
}

ToolRun::~ToolRun()
{
    if (process_.state() == QProcess::NotRunning)
        return;
    process_.kill();
    process_.waitForFinished();
}

bool ToolRun::isRunning()
{
    // The state alone would lag behind until events are processed.
    return process_.state() != QProcess::NotRunning && !process_.waitForFinished(0);
}

QByteArray ToolRun::standardError() const
{
    return readFile(outputBase_ + QStringLiteral(".err"));
}

void ToolRun::kill()
{
    process_.kill();
}

void ToolRun::terminate()
{
    process_.terminate();
}

ToolResult ToolRun::finish(int timeoutMs)
{
    ToolResult result;
    result.started = started_;
    if (process_.state() != QProcess::NotRunning && !process_.waitForFinished(timeoutMs)) {
        result.timedOut = true;
        process_.kill();
        process_.waitForFinished();
    }
    result.elapsedMs = clock_.elapsed();
    result.exitCode = process_.exitCode();
    result.crashed = started_ && process_.exitStatus() == QProcess::CrashExit;
    result.standardOutput = readFile(outputBase_ + QStringLiteral(".out"));
    result.standardError = standardError();
    return result;
}
