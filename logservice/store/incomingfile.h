#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct evp_md_ctx_st;

/// A new file that is written once, from its begin to its end. Throws StoreError when the disk fails.
class IncomingFile
{
public:
    /// Makes \a path, which must not exist.
    explicit IncomingFile(const std::filesystem::path &path);
    ~IncomingFile();

    IncomingFile(const IncomingFile &) = delete;
    IncomingFile &operator=(const IncomingFile &) = delete;

    void write(std::string_view bytes);

    /// Returns when everything is on the disk, not only with the system. Nothing may be written behind it.
    void finish();

    std::uint64_t size() const { return size_; }

    /// The SHA-256 of a finished file in lower case hex.
    const std::string &sha256() const { return sha256_; }

private:
    void flushBuffer();

    const std::filesystem::path path_;
    int descriptor_ = -1;
    std::vector<char> buffer_;
    std::unique_ptr<evp_md_ctx_st, void (*)(evp_md_ctx_st *)> digest_;
    std::uint64_t size_ = 0;
    std::string sha256_;
};

/// Returns when what \a descriptor, a file or a folder, holds is on the disk; false when that failed.
bool flushToDisk(int descriptor);

/// Likewise for the entries of \a folder. Throws StoreError.
void flushFolder(const std::filesystem::path &folder);
