#pragma once

#include "http/requestlog.h"
#include "store/uploadindex.h"

#include <filesystem>
#include <string>
#include <vector>

/// What the page needs; index and log have to outlive the server.
struct PageContext
{
    UploadIndex &index;
    RequestLog &log;
    std::filesystem::path folder;   ///< of the stored uploads
    std::string origin;             ///< of the main port, for example http://127.0.0.1:8700
    std::vector<std::string> kinds; ///< of uploads
};

/// Sets up \a server for looking at what has arrived: the list /, its /style.css, what was sent below /uploads, and
/// /api/uploads for machines. They answer requests to this machine's own names only.
void addPageRoutes(httplib::Server &server, const PageContext &context);
