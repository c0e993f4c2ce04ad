#pragma once

#include "page/parameters.h"

#include <string>
#include <vector>

/// What the list shows.
struct UploadPage
{
    Parameters parameters;          ///< of the request
    UploadMatches matches;          ///< with UploadQuery::days = kChartDays
    std::vector<std::string> kinds; ///< that can be chosen
    std::string origin;             ///< of the main port, for example http://127.0.0.1:8700
};

/// Returns the list as HTML. It works without scripts; nothing of what was sent becomes markup.
std::string uploadPageHtml(const UploadPage &page);
