#pragma once

#include "intake/intake.h"

#include <mutex>
#include <string>

/// Writes one flushed line per request to standard output. May be used by several threads at once.
class RequestLog
{
public:
    /// An endpoint's request: time, kind, file name, size, what \a about says of user and room, answer.
    void writeIntake(const Intake &intake, const std::string &about, const std::string &answer);

    /// A request that no endpoint has seen.
    void writeStray(const httplib::Request &request, const Refusal &refusal);

private:
    void write(const std::string &line);

    std::mutex mutex_;
};
