#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// Many clients at once, each of which sends one upload after another, as the tool does: each on a connection of its
/// own.
struct UploadLoad
{
    int port = 0; ///< of 127.0.0.1
    int clients = 64;
    double seconds = 30; ///< no upload is begun later; those that are in flight come to their end
    /// The first line of the request for the upload with that number, without a line end.
    std::function<std::string(std::uint64_t)> requestLine;
};

struct LoadResult
{
    std::vector<std::uint64_t> accepted; ///< numbers of the uploads that were answered with a status from 200 to 204
    double seconds = 0;                  ///< until the last answer
};

/// What the file of an upload holds: 16 KiB, of which the first line is for that number only.
std::string loadContent(std::uint64_t number);
/// The form around it.
std::string loadForm(std::uint64_t number);

/// Throws std::runtime_error when an upload is answered by another status or not within half a minute.
LoadResult runLoad(const UploadLoad &load);

/// Reads every file below \a folder that ends in what loadContent() begins with, as \a expected has it for its number,
/// and throws std::runtime_error unless these are the accepted uploads, each once, and nothing but them.
void checkStored(const std::filesystem::path &folder, const std::vector<std::uint64_t> &accepted,
                 const std::function<std::string(std::uint64_t)> &expected);
