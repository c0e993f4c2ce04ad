#pragma once

#include "store/uploadindex.h"

#include <string>
#include <vector>

/// What the page shows.
struct UploadPage
{
    UploadQuery query;
    UploadMatches matches;
    std::uint64_t storedCount = 0;
    std::vector<std::string> kinds; ///< that can be chosen
    bool stores = true;             ///< false: nothing is kept, so there is nothing to list
    std::string origin;             ///< see RouteContext
};

/// Returns the page as HTML. It works without scripts; nothing of what was sent becomes markup.
std::string uploadPageHtml(const UploadPage &page);
