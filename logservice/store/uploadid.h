#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The name of a stored upload's folder, such as 000001-logfile.
struct UploadId
{
    std::uint64_t number = 0;
    std::string kind; ///< small letters of ASCII
    std::string text; ///< the whole name
};

/// Reads \a text as such a name: up to 18 digits, a dash, small letters. Nothing for any other text, so that an id is
/// never a path.
std::optional<UploadId> parseUploadId(std::string_view text);

/// Returns the name for the upload \a number of \a kind. Nothing when parseUploadId() would not read it: the numbers
/// are used up then, or the kind is none.
std::optional<UploadId> makeUploadId(std::uint64_t number, const std::string &kind);

/// Whether \a a came before \a b.
bool isOlder(const UploadId &a, const UploadId &b);
