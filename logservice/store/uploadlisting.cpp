#include "store/uploadlisting.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace {

std::vector<UploadId> storedIds(const fs::path &folder)
{
    std::vector<UploadId> ids;
    for (const auto &entry : fs::directory_iterator(folder)) {
        std::error_code ignored;
        auto id = parseUploadId(entry.path().filename().string());
        if (id && entry.symlink_status(ignored).type() == fs::file_type::directory)
            ids.push_back(*std::move(id));
    }
    return ids;
}

ListedUpload listed(StoredUpload upload)
{
    auto sender = senderOf(upload.id.kind, upload.fields);
    return {std::move(upload.id), std::move(upload.time), std::move(upload.fileName), upload.size, std::move(sender)};
}

} // namespace

UploadListing listUploads(const fs::path &folder, const ListingQuery &query, const ListingLimits &limits)
{
    UploadListing listing;
    auto ids = storedIds(folder);
    listing.storedCount = ids.size();

    const auto isUnwanted = [&query](const UploadId &id) {
        return (!query.kind.empty() && id.kind != query.kind) || (query.before && !isOlder(id, *query.before));
    };
    ids.erase(std::remove_if(ids.begin(), ids.end(), isUnwanted), ids.end());
    std::sort(ids.begin(), ids.end(), [](const UploadId &a, const UploadId &b) { return isOlder(b, a); });

    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (listing.uploads.size() == limits.maxRows || i == limits.maxLookedAt || bytes >= limits.maxBytes) {
            listing.older = ids[i - 1];
            break;
        }
        auto upload = readStoredUpload(folder, ids[i]);
        bytes += upload.bytesRead;
        if (holdsText(upload, query.text))
            listing.uploads.push_back(listed(std::move(upload)));
    }
    return listing;
}
