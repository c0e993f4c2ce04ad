#include "store/uploadstore.h"

#include "store/storedfile.h"
#include "text/characters.h"
#include "text/timestamp.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr char kIncomingPrefix[] = ".incoming-";
constexpr char kLockName[] = ".lock";

// Somebody may have made a few folders of such names while the service runs.
constexpr int kMaxIncomingTries = 100;

// Taking out many at once, after a first start with a lower number, would keep an upload waiting for its answer.
constexpr std::size_t kRemovedAtOnce = 100;

std::error_code systemError()
{
    return {errno, std::generic_category()};
}

bool isIncoming(const std::string &name)
{
    const std::string prefix = kIncomingPrefix;
    return name.rfind(prefix, 0) == 0 && name.size() > prefix.size() &&
           name.find_first_not_of("0123456789", prefix.size()) == std::string::npos;
}

/// Makes \a folder, and what is missing above it, such that no loss of power takes it away again.
void makeFolder(const fs::path &folder)
{
    if (fs::exists(folder))
        return;
    const auto above = fs::absolute(folder).parent_path();
    makeFolder(above);
    if (!fs::create_directory(folder))
        return;
    try {
        flushFolder(fs::canonical(above));
    } catch (const StoreError &) {
        std::error_code ignored;
        fs::remove(folder, ignored); // the next start tries it again
        throw;
    }
}

/// What others can put in or take out of \a folder would be followed, overwritten, or shown as an upload.
void refuseWritableByOthers(const fs::path &folder)
{
    struct stat status = {};
    if (::stat(folder.c_str(), &status) != 0)
        throw fs::filesystem_error("stat", folder, systemError());
    if (!S_ISDIR(status.st_mode))
        throw fs::filesystem_error("stat", folder, std::make_error_code(std::errc::not_a_directory));
    if (status.st_uid != ::geteuid())
        throw StoreError("the folder '" + folder.string() + "' belongs to another user");
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        throw StoreError("other users may write to the folder '" + folder.string() + "', see chmod go-w");
}

/// Returns the real path of \a folder, which is there from now on.
fs::path usableFolder(const fs::path &folder)
{
    makeFolder(folder);
    auto real = fs::canonical(folder);
    refuseWritableByOthers(real);
    return real;
}

/// Returns the file that keeps other processes out of \a folder while it is open.
std::unique_ptr<std::FILE, int (*)(std::FILE *)> lockOf(const fs::path &folder)
{
    const int descriptor = ::open((folder / kLockName).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(descriptor < 0 ? nullptr : ::fdopen(descriptor, "r+"),
                                                          &std::fclose);
    if (!file)
        throw StoreError("cannot write below '" + folder.string() + "': " + systemError().message());
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
        return file;
    if (errno == EWOULDBLOCK)
        throw StoreError("another kxlogservice uses the folder '" + folder.string() + "'");
    throw StoreError("cannot lock the folder '" + folder.string() + "': " + systemError().message());
}

} // namespace

Upload::Upload(UploadStore &store, const fs::path &folder) : store_(store), incoming_(folder), folder_(folder) {}

Upload::~Upload()
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

void Upload::beginFile(const std::string &name)
{
    // Not while the folder is removed: what is made meanwhile would stay.
    const std::lock_guard<std::mutex> guard(store_.mutex_);
    file_.emplace(folder_ / name);
    upload_.contentName = name;
}

void Upload::endFile()
{
    file_->finish();
    upload_.bytes = file_->size();
    upload_.sha256 = file_->sha256();
    file_.reset();
}

std::string Upload::finish(const UploadRecord &record)
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

UploadId Upload::rename(const std::string &kind)
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

UploadStore::UploadStore(const fs::path &folder, std::size_t keep)
try : folder_(usableFolder(folder)), keep_(keep), lock_(lockOf(folder_)), index_(folder_) {
    scan();
} catch (const fs::filesystem_error &failure) {
    throw StoreError("cannot use the folder '" + folder.string() + "': " + failure.code().message());
}

std::unique_ptr<Upload> UploadStore::begin()
{
    const std::lock_guard<std::mutex> guard(mutex_);
    if (isClosed_)
        throw StoreError("the service is ending");
    for (int tries = 1;; ++tries) {
        const auto incoming = nextIncoming();
        if (::mkdir(incoming.c_str(), 0777) == 0)
            return std::make_unique<Upload>(*this, incoming);
        // What is there already is not ours, and may hold links.
        if (errno != EEXIST || tries == kMaxIncomingTries)
            throw StoreError("cannot make '" + incoming.string() + "': " + systemError().message());
    }
}

void UploadStore::close() noexcept
{
    const std::lock_guard<std::mutex> guard(mutex_);
    isClosed_ = true;
    removeIncoming();
}

void UploadStore::scan()
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

void UploadStore::removeIncoming() noexcept
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

fs::path UploadStore::nextIncoming()
{
    return folder_ / (kIncomingPrefix + std::to_string(++lastIncoming_));
}

void UploadStore::keep(const IndexedUpload &upload, const nlohmann::json &fields)
{
    try {
        index_.add(upload, fields);    // first: whoever removes the upload has to find it there
    } catch (const std::exception &) { // the upload is stored, and found as soon as the index can be written again
    }
    std::vector<fs::path> removed;
    std::vector<UploadId> gone;
    if (keep_ > 0) {
        const std::lock_guard<std::mutex> guard(mutex_);
        // Two that are finished at once may come here in either order.
        stored_.insert(std::upper_bound(stored_.begin(), stored_.end(), upload.id, isOlder), upload.id);
        auto oldest = stored_.begin();
        for (auto tries = std::min(stored_.size() - std::min(stored_.size(), keep_), kRemovedAtOnce); tries > 0;
             --tries) {
            // Under a name that the next process removes, should this one end in the middle.
            auto path = nextIncoming();
            std::error_code error;
            fs::rename(folder_ / oldest->text, path, error);
            if (error && error != std::errc::no_such_file_or_directory) {
                ++oldest; // it is tried again with the next upload
                continue;
            }
            removed.push_back(std::move(path));
            gone.push_back(std::move(*oldest));
            oldest = stored_.erase(oldest);
        }
    }
    for (const auto &path : removed) {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    try {
        for (const auto &id : gone)
            index_.remove(id);
    } catch (const std::exception &) { // likewise
    }
}
