#pragma once

#include "storedupload.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// Which uploads are wanted.
struct ListingQuery
{
    std::string kind;               ///< Endpoint::kind; empty: any
    std::string text;               ///< see holdsText()
    std::optional<UploadId> before; ///< only older ones than this
};

/// One page of the uploads, newest first.
struct UploadListing
{
    std::vector<StoredUpload> uploads;
    std::optional<UploadId> older; ///< ListingQuery::before of the next page; absent: nothing older is left to look at
    std::size_t storedCount = 0;   ///< uploads in the folder, wanted or not
};

/// How far one page goes.
struct ListingLimits
{
    std::size_t maxRows = 50;
    std::size_t maxLookedAt = 5000; ///< uploads that are read from the disk to find the rows
};

/// Lists what \a folder holds now, whichever process has put it there. Throws std::filesystem::filesystem_error when
/// the folder cannot be read.
UploadListing listUploads(const std::filesystem::path &folder, const ListingQuery &query,
                          const ListingLimits &limits = {});
