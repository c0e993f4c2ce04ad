#pragma once

#include "store/uploadstore.h"

#include <cstdint>
#include <filesystem>
#include <mutex>

/// Stores uploads below one folder: 000001-logfile, 000002-crash and so on, each with its files and upload.json.
///
/// An upload is gathered in a folder .incoming-N and renamed when it is complete. The numbers go on behind the highest
/// one that the folder holds, as far as parseUploadId() reads them; then finish() throws. One process at a time may use
/// a folder.
class FolderStore : public UploadStore
{
public:
    /// Makes the folder when it is missing and removes what an earlier process left unfinished. Throws StoreError.
    explicit FolderStore(const std::filesystem::path &folder);
    ~FolderStore() override;

    FolderStore(const FolderStore &) = delete;
    FolderStore &operator=(const FolderStore &) = delete;

    /// The folder as an absolute path.
    const std::filesystem::path &folder() const { return folder_; }

    std::unique_ptr<Upload> begin() override;
    void close() noexcept override;

private:
    friend class FolderUpload;

    void lock();
    void scan();
    void removeIncoming() noexcept;

    std::filesystem::path folder_;
    int lockFile_ = -1;

    /// Taken for whatever makes, renames or removes a name below the folder.
    std::mutex mutex_;
    bool isClosed_ = false;
    std::uint64_t lastIncoming_ = 0;
    std::uint64_t lastNumber_ = 0;
};
