#pragma once

#include "support/installation.h"
#include "support/process.h"
#include "support/resulttable.h"
#include "support/samples.h"
#include "support/sink.h"

#include <QString>
#include <QStringList>
#include <QVector>

/// How much is measured.
struct Plan
{
    int rounds;
    QStringList microOptions; ///< for Google Benchmark
    int smallFiles;
    long long memoryFileSize;     ///< bytes
    long long throughputFileSize; ///< bytes
    int throughputRounds;         ///< more than elsewhere: two threads and the sink share the processors
    QVector<int> groupCounts;     ///< ascending; the last two tell how the cost grows
    int fewUploads;               ///< where threads and descriptors are looked at for the first time
    int manyUploads;
    int skippedGroups;
    int logNames;
    int startsPerRound;
    int loadRounds;
    int loadSeconds;
    QString service; ///< path of the log service's program
};

/// The figures that docs/performance.md is written from.
Plan fullPlan();
/// A few seconds, to see that everything runs.
Plan quickPlan();

/// What every measurement works with.
struct Bench
{
    Plan plan;
    Sink &sink;
    ResultTable &table;
};

/// Path of a program of this build, by its file name.
QString builtProgram(const QString &name);
/// Where log files go.
QString logFileUrl();

/// The tool pauses this long in every run that sends anything: twice half a second.
constexpr double kPausesSeconds = 1.0;

/// Who is told about a run while it goes on.
struct Watch
{
    Sink::Observer request;             ///< each request, see Sink; may be empty
    std::function<void(pid_t)> started; ///< the process id; may be empty
};

/// Runs a program that sends something to the sink. Throws std::runtime_error when it does not end with status 0.
Usage runSender(Bench &bench, const Installation &installation, const QStringList &command, const Watch &watch = {});

/// Lists \a files, runs the tool once and makes sure that it has sent them, and its own log, and forgotten them.
/// Throws std::runtime_error when not.
Usage runUploads(Bench &bench, const Installation &installation, const QStringList &files, const Watch &watch = {});

/// curl's command for the form that the tool sends for a listed file.
QStringList curlCommand(const QString &path);

/// The peak of a process's memory. Throws std::runtime_error when it may be that of this program instead, see
/// runProcess().
double measuredPeak(const Usage &usage);
