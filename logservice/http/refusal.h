#pragma once

#include <stdexcept>
#include <string>

/// Thrown where a request cannot be taken.
///
/// what() is the one-line reason, sent to the client as the answer's text and written to the request log.
class Refusal : public std::runtime_error
{
public:
    Refusal(int httpStatus, const std::string &reason) : std::runtime_error(reason), status(httpStatus) {}

    int status; ///< HTTP status of the answer
};
