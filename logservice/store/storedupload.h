#pragma once

#include "store/uploadid.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

/// What a folder holds about one upload. Nothing in it is to be trusted: anybody may have put it there.
struct StoredUpload
{
    UploadId id;
    std::string time;                                 ///< as upload.json has it; empty: unknown
    std::optional<std::string> fileName;              ///< likewise; absent also for JSON bodies
    std::optional<std::uint64_t> size;                ///< bytes that the file has now; absent: there is none
    nlohmann::json fields = nlohmann::json::object(); ///< always an object
    std::uint64_t bytesRead = 0;                      ///< of the record, to know all this
};

/// Reads the upload \a id below \a folder. What is missing, of another type or too large stays empty.
StoredUpload readStoredUpload(const std::filesystem::path &folder, const UploadId &id);

/// Returns the name of the file that holds what was sent: the file of a form, or the document.
std::string contentName(const std::string &kind);

/// Returns whether \a text, in small or capital letters of ASCII, is part of the file name or of a value in the fields.
/// Every upload has the empty text.
bool holdsText(const StoredUpload &upload, const std::string &text);
