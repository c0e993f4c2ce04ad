#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

#include <sys/types.h>

/// What a process used from its start to its end.
struct Usage
{
    int exitStatus = -1; ///< -1 when a signal ended it
    double wallSeconds = 0;
    double cpuSeconds = 0;    ///< user and system
    long long peakMemory = 0; ///< bytes resident
};

/// Starts \a command (program, then arguments) with exactly \a environment ("NAME=value"), both output streams thrown
/// away, and waits for its end.
///
/// The peak of the memory is at least that of the calling process, which the system counts until the program is loaded.
/// \a started, which may be empty, is told the process id before the wait. Throws std::runtime_error when the program
/// cannot be started.
Usage runProcess(const QStringList &command, const QStringList &environment,
                 const std::function<void(pid_t)> &started = {});

/// As runProcess(), and throws when the program does not end with status 0.
Usage runToSuccess(const QStringList &command, const QStringList &environment,
                   const std::function<void(pid_t)> &started = {});

/// Peak of the memory of this process so far, bytes resident.
long long ownPeakMemory();
