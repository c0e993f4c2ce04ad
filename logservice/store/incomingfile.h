#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

/// A new file that is written once, from its begin to its end. Throws StoreError when the disk fails.
class IncomingFile
{
public:
    /// Makes \a path, which must not exist.
    explicit IncomingFile(const std::filesystem::path &path);

    void write(std::string_view bytes);

    /// Returns when everything is on the disk, not only with the system. Nothing may be written behind it.
    void finish();

    std::uint64_t size() const { return size_; }

    /// The SHA-256 of a finished file in lower case hex.
    const std::string &sha256() const { return sha256_; }

private:
    const std::filesystem::path path_;
    const std::unique_ptr<char[]> buffer_;
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> file_;
    const std::unique_ptr<evp_md_ctx_st, void (*)(evp_md_ctx_st *)> digest_;
    std::uint64_t size_ = 0;
    std::string sha256_;
};

/// Returns when the entries of \a folder are on the disk. Throws StoreError.
void flushFolder(const std::filesystem::path &folder);
