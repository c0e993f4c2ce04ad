#include "store/incomingfile.h"

#include "store/uploadstore.h"
#include "text/characters.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <openssl/evp.h>

namespace {

constexpr std::size_t kBufferBytes = std::size_t{128} * 1024;

[[noreturn]] void fail(const std::filesystem::path &path)
{
    throw StoreError("cannot write '" + path.string() + "': " + std::generic_category().message(errno));
}

} // namespace

IncomingFile::IncomingFile(const std::filesystem::path &path) : path_(path), digest_(EVP_MD_CTX_new(), &EVP_MD_CTX_free)
{
    if (EVP_DigestInit_ex(digest_.get(), EVP_sha256(), nullptr) != 1)
        throw StoreError("cannot compute a SHA-256");
    descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (descriptor_ < 0)
        fail(path);
}

IncomingFile::~IncomingFile()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

void IncomingFile::write(std::string_view bytes)
{
    EVP_DigestUpdate(digest_.get(), bytes.data(), bytes.size());
    size_ += bytes.size();
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
    if (buffer_.size() >= kBufferBytes)
        flushBuffer();
}

void IncomingFile::finish()
{
    flushBuffer();
    if (!flushToDisk(descriptor_))
        fail(path_);
    const int descriptor = std::exchange(descriptor_, -1);
    if (::close(descriptor) != 0)
        fail(path_);
    std::string digest(EVP_MAX_MD_SIZE, '\0');
    unsigned length = 0;
    EVP_DigestFinal_ex(digest_.get(), reinterpret_cast<unsigned char *>(digest.data()), &length);
    sha256_ = hexText(std::string_view(digest).substr(0, length));
}

void IncomingFile::flushBuffer()
{
    std::string_view rest(buffer_.data(), buffer_.size());
    while (!rest.empty()) {
        const auto written = ::write(descriptor_, rest.data(), rest.size());
        if (written < 0 && errno != EINTR)
            fail(path_);
        rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    buffer_.clear();
}

bool flushToDisk(int descriptor)
{
#ifdef F_FULLFSYNC
    // There, fsync() leaves the bytes with the disk's own cache. Not every file system knows better.
    if (::fcntl(descriptor, F_FULLFSYNC) == 0)
        return true;
#endif
    int result = 0;
    do {
        result = ::fsync(descriptor);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

void flushFolder(const std::filesystem::path &folder)
{
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    const bool isFlushed = descriptor >= 0 && flushToDisk(descriptor);
    const int reason = errno;
    if (descriptor >= 0)
        ::close(descriptor);
    errno = reason;
    if (!isFlushed)
        fail(folder);
}
