#pragma once

#include "store/uploadlisting.h"

#include <string>
#include <vector>

/// What the page shows.
struct UploadPage
{
    ListingQuery query;
    UploadListing listing;
    std::vector<std::string> kinds; ///< that can be chosen
    bool stores = true;             ///< false: nothing is kept, so there is nothing to list
    std::string origin;             ///< see RouteContext
};

/// Returns the page as HTML. It works without scripts; nothing of what was sent becomes markup.
std::string uploadPageHtml(const UploadPage &page);
