#pragma once

#include "http/requestlog.h"
#include "store/uploadindex.h"
#include "store/uploadstore.h"

#include <filesystem>
#include <string>

/// What the routes need; the references have to outlive the server.
struct RouteContext
{
    int code = 0; ///< answered as "Code"
    UploadStore &store;
    RequestLog &log;
    std::filesystem::path folder;       ///< of the stored uploads; empty: nothing is stored
    const UploadIndex *index = nullptr; ///< of that folder; null: likewise
    std::string origin;                 ///< of the main port, for example http://127.0.0.1:8700
};
