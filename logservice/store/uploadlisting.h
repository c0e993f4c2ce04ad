#pragma once

#include "store/sender.h"
#include "store/storedupload.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// What one row shows of a stored upload. The fields themselves are left out: they may be large.
struct ListedUpload
{
    UploadId id;
    std::string time;                    ///< see StoredUpload
    std::optional<std::string> fileName; ///< likewise
    std::optional<std::uint64_t> size;   ///< likewise
    Sender sender;
};

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
    std::vector<ListedUpload> uploads;
    std::optional<UploadId> older; ///< ListingQuery::before of the next page; absent: nothing older is left to look at
    std::size_t storedCount = 0;   ///< uploads in the folder, wanted or not
};

/// Longest ListingQuery::text that a request may have.
constexpr std::size_t kMaxQueryTextBytes = 200;

/// How far one page goes: to the limit that is reached first.
struct ListingLimits
{
    std::size_t maxRows = 50;
    std::size_t maxLookedAt = 5000;                           ///< uploads that are read from the disk to find the rows
    std::uint64_t maxBytes = std::uint64_t(16) * 1024 * 1024; ///< of their records; the last one may go beyond
};

/// Lists what \a folder holds now, whichever process has put it there. Throws std::filesystem::filesystem_error when
/// the folder cannot be read.
UploadListing listUploads(const std::filesystem::path &folder, const ListingQuery &query,
                          const ListingLimits &limits = {});
