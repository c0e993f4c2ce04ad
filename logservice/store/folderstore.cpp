#include "store/folderstore.h"

#include "store/incomingfile.h"
#include "store/storedfile.h"
#include "text/characters.h"
#include "text/timestamp.h"

#include <algorithm>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr char kIncomingPrefix[] = ".incoming-";
constexpr char kLockName[] = ".lock";

// Taking out many at once, after a first start with a lower number, would keep an upload waiting for its answer.
constexpr std::size_t kRemovedAtOnce = 100;

bool isIncoming(const std::string &name)
{
    const std::string prefix = kIncomingPrefix;
    return name.rfind(prefix, 0) == 0 && name.size() > prefix.size() &&
           name.find_first_not_of("0123456789", prefix.size()) == std::string::npos;
}

/// What others can put in or take out of \a folder would be followed, overwritten, or shown as an upload.
void refuseWritableByOthers(const fs::path &folder)
{
    struct stat status = {};
    if (::stat(folder.c_str(), &status) != 0)
        throw StoreError("cannot use the folder '" + folder.string() + "': " + std::generic_category().message(errno));
    if (status.st_uid != ::geteuid())
        throw StoreError("the folder '" + folder.string() + "' belongs to another user");
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        throw StoreError("other users may write to the folder '" + folder.string() + "', see chmod go-w");
}

} // namespace

class FolderUpload : public Upload
{
public:
    FolderUpload(FolderStore &store, const fs::path &folder) : store_(store), incoming_(folder), folder_(folder) {}

    ~FolderUpload() override
    {
        if (isFinished_)
            return;
        file_.reset();
        const std::lock_guard<std::mutex> guard(store_.mutex_);
        // What had its name already, but not for good, is no upload from now on, even if it is not removed to the end.
        std::error_code error;
        fs::rename(folder_, incoming_, error);
        std::error_code ignored;
        fs::remove_all(error ? folder_ : incoming_, ignored);
    }

    FolderUpload(const FolderUpload &) = delete;
    FolderUpload &operator=(const FolderUpload &) = delete;

    void beginFile(const std::string &name) override
    {
        // Not while the folder is removed: what is made meanwhile would stay.
        const std::lock_guard<std::mutex> guard(store_.mutex_);
        file_.emplace(folder_ / name);
        upload_.contentName = name;
    }

    void write(std::string_view bytes) override { file_->write(bytes); }

    void endFile() override
    {
        file_->finish();
        upload_.bytes = file_->size();
        upload_.sha256 = file_->sha256();
        file_.reset();
    }

    std::string finish(const UploadRecord &record) override
    {
        auto upload = upload_; // of the last file, which is what was sent
        upload.time = utcTime();
        beginFile(kUploadRecordName);
        write(uploadJson(record, upload.time, upload.sha256));
        endFile();
        flushFolder(folder_);
        upload.id = rename(record.kind);
        flushFolder(store_.folder_);
        isFinished_ = true;

        if (record.fileName)
            upload.fileName = validUtf8(*record.fileName);
        setFields(upload, record.fields);
        store_.keep(upload, record.fields);
        return upload.id.text;
    }

private:
    UploadId rename(const std::string &kind)
    {
        const std::lock_guard<std::mutex> guard(store_.mutex_);
        if (store_.isClosed_)
            throw StoreError("the service is ending");
        auto id = makeUploadId(store_.lastNumber_ + 1, kind);
        if (!id)
            throw StoreError("cannot store the upload: the numbers below " + store_.folder_.string() + " are used up");
        ++store_.lastNumber_;
        const auto target = store_.folder_ / id->text;
        std::error_code error;
        fs::rename(folder_, target, error);
        if (error)
            throw StoreError("cannot store the upload: " + error.message());
        folder_ = target;
        return *std::move(id);
    }

    FolderStore &store_;
    const fs::path incoming_;
    fs::path folder_; ///< at first that, then the upload's own
    std::optional<IncomingFile> file_;
    IndexedUpload upload_; ///< what is known of the last file
    bool isFinished_ = false;
};

FolderStore::FolderStore(const fs::path &folder, std::size_t keep) : keep_(keep)
{
    std::error_code error;
    fs::create_directories(folder, error);
    if (!error)
        folder_ = fs::canonical(folder, error);
    if (!error && !fs::is_directory(folder_, error) && !error)
        error = std::make_error_code(std::errc::not_a_directory);
    if (error)
        throw StoreError("cannot use the folder '" + folder.string() + "': " + error.message());
    refuseWritableByOthers(folder_);
    lock();
    try {
        scan();
        index_ = std::make_unique<UploadIndex>(folder_);
    } catch (const fs::filesystem_error &failure) {
        ::close(lockFile_);
        throw StoreError("cannot use the folder '" + folder_.string() + "': " + failure.code().message());
    } catch (const StoreError &) {
        ::close(lockFile_);
        throw;
    }
}

FolderStore::~FolderStore()
{
    index_.reset();
    ::close(lockFile_);
}

std::unique_ptr<Upload> FolderStore::begin()
{
    const std::lock_guard<std::mutex> guard(mutex_);
    if (isClosed_)
        throw StoreError("the service is ending");
    const auto incoming = nextIncoming();
    // What is there already is not ours, and may hold links.
    if (::mkdir(incoming.c_str(), 0777) != 0)
        throw StoreError("cannot make '" + incoming.string() + "': " + std::generic_category().message(errno));
    return std::make_unique<FolderUpload>(*this, incoming);
}

void FolderStore::close() noexcept
{
    const std::lock_guard<std::mutex> guard(mutex_);
    isClosed_ = true;
    removeIncoming();
}

void FolderStore::lock()
{
    lockFile_ = ::open((folder_ / kLockName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (lockFile_ < 0)
        throw StoreError("cannot write below '" + folder_.string() +
                         "': " + std::error_code(errno, std::generic_category()).message());
    if (::flock(lockFile_, LOCK_EX | LOCK_NB) != 0) {
        ::close(lockFile_);
        throw StoreError("another kxlogservice uses the folder '" + folder_.string() + "'");
    }
}

void FolderStore::scan()
{
    removeIncoming();
    for (const auto &entry : fs::directory_iterator(folder_)) {
        if (const auto id = parseUploadId(entry.path().filename().string()))
            lastNumber_ = std::max(lastNumber_, id->number);
    }
    if (keep_ == 0)
        return;
    // Somebody else's folder may have a name like that of an upload: it is none without a record.
    for (const auto &text : storedIds(folder_)) {
        if (auto id = parseUploadId(text); StoredFile::open(folder_, *id, kUploadRecordName))
            stored_.push_back(*std::move(id));
    }
    std::sort(stored_.begin(), stored_.end(), isOlder);
}

void FolderStore::removeIncoming() noexcept
{
    std::error_code ignored;
    std::vector<fs::path> found;
    for (fs::directory_iterator entry(folder_, ignored), end; !ignored && entry != end; entry.increment(ignored)) {
        if (isIncoming(entry->path().filename().string()))
            found.push_back(entry->path());
    }
    for (const auto &path : found)
        fs::remove_all(path, ignored);
}

fs::path FolderStore::nextIncoming()
{
    return folder_ / (kIncomingPrefix + std::to_string(++lastIncoming_));
}

void FolderStore::keep(const IndexedUpload &upload, const nlohmann::json &fields)
{
    try {
        index_->add(upload, fields);
    } catch (const std::exception &) { // the upload is stored, and found as soon as the index can be written again
    }
    if (keep_ == 0)
        return;
    std::vector<fs::path> removed;
    std::vector<UploadId> gone;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        // Two that are finished at once may come here in either order.
        stored_.insert(std::upper_bound(stored_.begin(), stored_.end(), upload.id, isOlder), upload.id);
        while (stored_.size() > keep_ && removed.size() < kRemovedAtOnce) {
            // Under a name that the next process removes, should this one end in the middle.
            removed.push_back(nextIncoming());
            std::error_code ignored;
            fs::rename(folder_ / stored_.front().text, removed.back(), ignored);
            gone.push_back(std::move(stored_.front()));
            stored_.pop_front();
        }
    }
    for (const auto &path : removed) {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    try {
        for (const auto &id : gone)
            index_->remove(id);
    } catch (const std::exception &) { // likewise
    }
}
