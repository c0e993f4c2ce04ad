#pragma once

#include "http/refusal.h"

#include <httplib.h>

#include <future>
#include <memory>
#include <string>

/// The lines about requests, written by a thread of its own, so that nobody waits for whoever reads them.
///
/// A reader that does not keep up misses lines; how many it missed is said where they would stand. May be used by
/// several threads at once.
class RequestLog
{
public:
    /// Writes to \a descriptor, which stays open.
    explicit RequestLog(int descriptor);

    /// Like end().
    ~RequestLog();

    RequestLog(const RequestLog &) = delete;
    RequestLog &operator=(const RequestLog &) = delete;

    /// Adds \a line with the time in front of it.
    void write(const std::string &line);

    /// Adds the line for a request that no endpoint has seen.
    void writeStray(const httplib::Request &request, const Refusal &refusal);

    /// Takes no more lines, and waits until those that are there are written; half a second at most, since the reader
    /// may never take them.
    void end();

private:
    struct Queue;

    const std::shared_ptr<Queue> queue_; ///< shared with the thread, which may be stuck in writing when this ends
    std::future<void> ended_;            ///< of the thread's work
};

/// Returns what the lines say of \a refusal.
std::string refusalText(const Refusal &refusal);
