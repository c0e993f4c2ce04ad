#pragma once

#include "store/uploadid.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

/// A plain file of a stored upload, open for reading.
class StoredFile
{
public:
    /// Opens the file \a name of the upload \a id below \a folder; null when it cannot be opened, or when it or the
    /// upload is a link or anything else but what a store makes. \a name must not come from a request.
    static std::shared_ptr<const StoredFile> open(const std::filesystem::path &folder, const UploadId &id,
                                                  const std::string &name);
    ~StoredFile();

    StoredFile(const StoredFile &) = delete;
    StoredFile &operator=(const StoredFile &) = delete;

    /// Bytes that the file had when it was opened.
    std::uint64_t size() const { return size_; }

    /// Reads up to \a count bytes from \a offset on and returns how many; 0 at the end and when reading fails.
    std::size_t read(std::uint64_t offset, char *bytes, std::size_t count) const;

private:
    StoredFile(int descriptor, std::uint64_t size) : descriptor_(descriptor), size_(size) {}

    const int descriptor_;
    const std::uint64_t size_;
};

/// Returns up to \a count bytes of \a file from \a from on; less where it ends, or cannot be read.
std::string bytesOf(const StoredFile &file, std::uint64_t from, std::size_t count);
