#include "store/incomingfile.h"

#include "store/storeerror.h"
#include "text/characters.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <openssl/evp.h>

namespace {

constexpr std::size_t kBufferBytes = std::size_t{64} * 1024;

[[noreturn]] void fail(const std::filesystem::path &path)
{
    throw StoreError("cannot write '" + path.string() + "': " + std::generic_category().message(errno));
}

/// Returns when what \a descriptor, a file or a folder, holds is on the disk; false when that failed.
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

} // namespace

IncomingFile::IncomingFile(const std::filesystem::path &path)
    : path_(path), buffer_(new char[kBufferBytes]), file_(nullptr, &std::fclose),
      digest_(EVP_MD_CTX_new(), &EVP_MD_CTX_free)
{
    if (EVP_DigestInit_ex(digest_.get(), EVP_sha256(), nullptr) != 1)
        throw StoreError("cannot compute a SHA-256");
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    file_.reset(descriptor < 0 ? nullptr : ::fdopen(descriptor, "w"));
    if (!file_)
        fail(path);
    std::setvbuf(file_.get(), buffer_.get(), _IOFBF, kBufferBytes);
}

void IncomingFile::write(std::string_view bytes)
{
    EVP_DigestUpdate(digest_.get(), bytes.data(), bytes.size());
    size_ += bytes.size();
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size())
        fail(path_);
}

void IncomingFile::finish()
{
    if (std::fflush(file_.get()) != 0 || !flushToDisk(::fileno(file_.get())) || std::fclose(file_.release()) != 0)
        fail(path_);
    std::string digest(EVP_MAX_MD_SIZE, '\0');
    unsigned length = 0;
    EVP_DigestFinal_ex(digest_.get(), reinterpret_cast<unsigned char *>(digest.data()), &length);
    sha256_ = hexText(std::string_view(digest).substr(0, length));
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
