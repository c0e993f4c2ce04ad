#pragma once

#include "store/indexedupload.h"

#include <string>

/// Returns the row of \a upload in the page's table as HTML.
std::string uploadRow(const IndexedUpload &upload);

/// Returns \a bytes for people, such as 999 B, 1.5 kB or 20 MB; a kilobyte has 1000 bytes.
std::string sizeText(std::uint64_t bytes);
