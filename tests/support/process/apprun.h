#pragma once

#include <QDebug>
#include <functional>

/// How a run of the application's event loop ended.
enum class RunEnd {
    Quit,     ///< QCoreApplication::quit()
    Stopped,  ///< the condition held and nobody had quit
    TimedOut, ///< neither came in time
};

inline QDebug operator<<(QDebug debug, RunEnd end)
{
    return debug << (end == RunEnd::Quit ? "quit" : end == RunEnd::Stopped ? "stopped" : "timed out");
}

inline char *toString(RunEnd end)
{
    return qstrdup(end == RunEnd::Quit ? "quit" : end == RunEnd::Stopped ? "stopped" : "timed out");
}

/// Calls \a start from the event loop of the application and runs the loop until somebody quits, or until \a stopWhen
/// holds and the loop still goes on. A null \a start just runs the loop.
RunEnd runApplication(const std::function<void()> &start, const std::function<bool()> &stopWhen = {},
                      int timeoutMs = 30000);
