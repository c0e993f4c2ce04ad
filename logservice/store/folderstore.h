#pragma once

#include "store/uploadindex.h"
#include "store/uploadstore.h"

#include <cstdint>
#include <deque>
#include <filesystem>
#include <mutex>

/// Stores uploads below one folder: 000001-logfile, 000002-crash and so on, each with its files and upload.json.
///
/// An upload is gathered in a folder .incoming-N and renamed when it is complete and on the disk. The numbers go on
/// behind the highest one that the folder holds, as far as parseUploadId() reads them; then finish() throws. One
/// process at a time may use a folder, and nobody else may write to it.
class FolderStore : public UploadStore
{
public:
    /// Makes the folder when it is missing and removes what an earlier process left unfinished. As uploads arrive, the
    /// oldest ones go, so that the newest \a keep stay; 0: all stay. Throws StoreError.
    explicit FolderStore(const std::filesystem::path &folder, std::size_t keep = 0);
    ~FolderStore() override;

    FolderStore(const FolderStore &) = delete;
    FolderStore &operator=(const FolderStore &) = delete;

    /// The folder as an absolute path.
    const std::filesystem::path &folder() const { return folder_; }

    const UploadIndex &index() const { return *index_; }

    std::unique_ptr<Upload> begin() override;
    void close() noexcept override;

private:
    friend class FolderUpload;

    void lock();
    void scan();
    void removeIncoming() noexcept;
    std::filesystem::path nextIncoming();
    void keep(const IndexedUpload &upload, const nlohmann::json &fields);

    std::filesystem::path folder_;
    const std::size_t keep_;
    int lockFile_ = -1;
    std::unique_ptr<UploadIndex> index_;

    /// Taken for whatever makes, renames or removes a name below the folder.
    std::mutex mutex_;
    bool isClosed_ = false;
    std::uint64_t lastIncoming_ = 0;
    std::uint64_t lastNumber_ = 0;
    std::deque<UploadId> stored_; ///< oldest first
};
