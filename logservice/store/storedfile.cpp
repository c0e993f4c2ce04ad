#include "store/storedfile.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

std::shared_ptr<const StoredFile> StoredFile::open(const std::filesystem::path &folder, const UploadId &id,
                                                   const std::string &name)
{
    const auto path = folder / id.text;
    const int upload = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (upload < 0)
        return nullptr;
    // Without O_NONBLOCK, a pipe would be waited for.
    const int descriptor = ::openat(upload, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    ::close(upload);
    if (descriptor < 0)
        return nullptr;
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(descriptor);
        return nullptr;
    }
    return std::shared_ptr<const StoredFile>(new StoredFile(descriptor, static_cast<std::uint64_t>(status.st_size)));
}

StoredFile::~StoredFile()
{
    ::close(descriptor_);
}

std::size_t StoredFile::read(std::uint64_t offset, char *bytes, std::size_t count) const
{
    ssize_t got = 0;
    do {
        got = ::pread(descriptor_, bytes, count, static_cast<off_t>(offset));
    } while (got < 0 && errno == EINTR);
    return got < 0 ? 0 : static_cast<std::size_t>(got);
}

std::string bytesOf(const StoredFile &file, std::uint64_t from, std::size_t count)
{
    const auto there = file.size() - std::min(from, file.size());
    std::string bytes(static_cast<std::size_t>(std::min<std::uint64_t>(there, count)), '\0');
    std::size_t taken = 0;
    while (taken < bytes.size()) {
        const auto got = file.read(from + taken, bytes.data() + taken, bytes.size() - taken);
        if (got == 0)
            break;
        taken += got;
    }
    bytes.resize(taken);
    return bytes;
}
