#pragma once

#include "http/requestlog.h"
#include "store/uploadindex.h"
#include "store/uploadstore.h"

#include <chrono>
#include <filesystem>
#include <string>

/// What the routes need; the references have to outlive the server.
struct RouteContext
{
    int code = 0;                       ///< answered as "Code" to what is accepted
    int status = 200;                   ///< HTTP status of these answers
    std::chrono::milliseconds delay{0}; ///< waited before each answer to an upload or report
    UploadStore &store;
    RequestLog &log;
    const UploadIndex &index;     ///< of what is stored
    std::filesystem::path folder; ///< of the stored uploads
    std::string origin;           ///< of the main port, for example http://127.0.0.1:8700
};
