#include "store/folderstore.h"

#include "http/timestamp.h"
#include "store/uploadid.h"

#include <algorithm>
#include <fstream>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr char kIncomingPrefix[] = ".incoming-";
constexpr char kLockName[] = ".lock";
constexpr std::size_t kFileBufferBytes = std::size_t{128} * 1024;

} // namespace

class FolderUpload : public Upload
{
public:
    FolderUpload(FolderStore &store, fs::path folder)
        : store_(store), folder_(std::move(folder)), fileBuffer_(kFileBufferBytes)
    {
    }

    ~FolderUpload() override
    {
        if (isFinished_)
            return;
        file_.close();
        const std::lock_guard<std::mutex> guard(store_.mutex_);
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    FolderUpload(const FolderUpload &) = delete;
    FolderUpload &operator=(const FolderUpload &) = delete;

    void beginFile(const std::string &name) override
    {
        const std::lock_guard<std::mutex> guard(store_.mutex_);
        file_.rdbuf()->pubsetbuf(fileBuffer_.data(), static_cast<std::streamsize>(fileBuffer_.size()));
        file_.open(folder_ / name, std::ios::binary | std::ios::trunc);
        check();
    }

    void write(std::string_view bytes) override
    {
        file_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        check();
    }

    void endFile() override
    {
        file_.close();
        check();
    }

    std::string finish(const UploadRecord &record) override
    {
        beginFile(kUploadRecordName);
        write(uploadJson(record, utcTime()));
        endFile();

        const std::lock_guard<std::mutex> guard(store_.mutex_);
        if (store_.isClosed_)
            throw StoreError("the service is ending");
        const auto id = makeUploadId(store_.lastNumber_ + 1, record.kind);
        if (!id)
            throw StoreError("cannot store the upload: the numbers below " + store_.folder_.string() + " are used up");
        ++store_.lastNumber_;
        std::error_code error;
        fs::rename(folder_, store_.folder_ / id->text, error);
        if (error)
            throw StoreError("cannot store the upload: " + error.message());
        isFinished_ = true;
        return id->text;
    }

private:
    void check() const
    {
        if (!file_)
            throw StoreError("cannot write below " + store_.folder_.string());
    }

    FolderStore &store_;
    const fs::path folder_;
    std::vector<char> fileBuffer_;
    std::ofstream file_;
    bool isFinished_ = false;
};

FolderStore::FolderStore(const fs::path &folder)
{
    std::error_code error;
    fs::create_directories(folder, error);
    if (!error)
        folder_ = fs::canonical(folder, error);
    if (!error && !fs::is_directory(folder_, error) && !error)
        error = std::make_error_code(std::errc::not_a_directory);
    if (error)
        throw StoreError("cannot use the folder '" + folder.string() + "': " + error.message());
    lock();
    try {
        scan();
    } catch (const fs::filesystem_error &failure) {
        ::close(lockFile_);
        throw StoreError("cannot use the folder '" + folder_.string() + "': " + failure.code().message());
    }
}

FolderStore::~FolderStore()
{
    ::close(lockFile_);
}

std::unique_ptr<Upload> FolderStore::begin()
{
    const std::lock_guard<std::mutex> guard(mutex_);
    if (isClosed_)
        throw StoreError("the service is ending");
    const auto incoming = folder_ / (kIncomingPrefix + std::to_string(++lastIncoming_));
    std::error_code error;
    fs::create_directory(incoming, error);
    if (error)
        throw StoreError("cannot write below " + folder_.string() + ": " + error.message());
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
}

void FolderStore::removeIncoming() noexcept
{
    std::error_code ignored;
    std::vector<fs::path> found;
    for (fs::directory_iterator entry(folder_, ignored), end; !ignored && entry != end; entry.increment(ignored)) {
        if (entry->path().filename().string().rfind(kIncomingPrefix, 0) == 0)
            found.push_back(entry->path());
    }
    for (const auto &path : found)
        fs::remove_all(path, ignored);
}
