#pragma once

#include "store/incomingfile.h"
#include "store/storeerror.h"
#include "store/uploadindex.h"
#include "store/uploadrecord.h"

#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

class UploadStore;

/// One upload while it comes in. Destroyed before finish(), it leaves nothing behind.
///
/// Every operation may throw StoreError; the upload is then only good for being destroyed.
class Upload
{
public:
    Upload(UploadStore &store, const std::filesystem::path &folder);
    ~Upload();

    Upload(const Upload &) = delete;
    Upload &operator=(const Upload &) = delete;

    /// Begins a file of the upload. \a name comes from the table of endpoints, never from a request.
    void beginFile(const std::string &name);
    void write(std::string_view bytes) { file_->write(bytes); }
    void endFile();

    /// Keeps the upload, which is on the disk then, and returns the name under which it is found.
    std::string finish(const UploadRecord &record);

private:
    UploadId rename(const std::string &kind);

    UploadStore &store_;
    const std::filesystem::path incoming_;
    std::filesystem::path folder_; ///< at first that, then the upload's own
    std::optional<IncomingFile> file_;
    IndexedUpload upload_; ///< what is known of the last file
    bool isFinished_ = false;
};

/// Stores uploads below one folder: 000001-logfile, 000002-crash and so on, each with its files and upload.json.
///
/// An upload is gathered in a folder .incoming-N and renamed when it is complete and on the disk. The numbers go on
/// behind the highest one that the folder holds, as far as parseUploadId() reads them; then finish() throws. One
/// process at a time may use a folder, and nobody else may write to it. May be used by several threads at once.
class UploadStore
{
public:
    /// Makes the folder when it is missing and removes what an earlier process left unfinished. As uploads arrive, the
    /// oldest ones go, so that the newest \a keep stay; 0: all stay. Throws StoreError.
    explicit UploadStore(const std::filesystem::path &folder, std::size_t keep = 0);

    UploadStore(const UploadStore &) = delete;
    UploadStore &operator=(const UploadStore &) = delete;

    /// The folder as an absolute path.
    const std::filesystem::path &folder() const { return folder_; }

    UploadIndex &index() { return index_; }

    std::unique_ptr<Upload> begin();

    /// Gives up the uploads that are still coming in: they leave nothing behind, and none is finished any more.
    void close() noexcept;

private:
    friend class Upload;

    void scan();
    void removeIncoming() noexcept;
    std::filesystem::path nextIncoming();
    void keep(const IndexedUpload &upload, const nlohmann::json &fields);

    const std::filesystem::path folder_;
    const std::size_t keep_;
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> lock_;
    UploadIndex index_;

    /// Taken for whatever makes, renames or removes a name below the folder.
    std::mutex mutex_;
    bool isClosed_ = false;
    std::uint64_t lastIncoming_ = 0;
    std::uint64_t lastNumber_ = 0;
    std::deque<UploadId> stored_; ///< oldest first
};
