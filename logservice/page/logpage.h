#pragma once

#include "page/parameters.h"

#include <string>

/// What the page of one stored file shows.
struct LogView
{
    IndexedUpload upload;
    Parameters parameters; ///< of the request
    LogQuery query;        ///< the same, read
    LogPage page;
    std::uint64_t fileBytes = 0;
};

/// Returns the page as HTML, without scripts, and with nothing of the file as markup.
std::string logPageHtml(const LogView &view);
