#pragma once

#include "http/requestlog.h"
#include "store/uploadstore.h"

#include <chrono>

/// What the routes need; the references have to outlive the server.
struct RouteContext
{
    int code = 0;                       ///< answered as "Code" to what is accepted
    int status = 200;                   ///< HTTP status of these answers
    std::chrono::milliseconds delay{0}; ///< waited before each answer to an upload or report
    UploadStore &store;
    RequestLog &log;
};
