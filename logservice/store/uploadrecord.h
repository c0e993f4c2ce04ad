#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What is known about one request; while the request is read it holds what has come so far.
struct UploadRecord
{
    std::string kind;                                 ///< Endpoint::kind
    std::string path;                                 ///< Endpoint::path
    std::optional<std::string> fileName;              ///< as the form gives it, any bytes; absent for JSON bodies
    std::uint64_t size = 0;                           ///< bytes of the file, or of the JSON body
    nlohmann::json fields = nlohmann::json::object(); ///< text parts as strings, JSON parts and bodies as they are
};

/// Name of the file that holds what came as a file; what came as JSON is named after its kind.
constexpr char kFileContentName[] = "file.bin";

/// Name of the file that holds uploadJson() beside what was sent.
constexpr char kUploadRecordName[] = "upload.json";

/// Returns the JSON text that is stored as upload.json: "time" (UTC, ISO 8601), "kind", "path", "fileName" (string or
/// null), "size", "sha256" (of the bytes sent, in hex) and "fields". Bytes that are not UTF-8 become U+FFFD.
std::string uploadJson(const UploadRecord &record, const std::string &time, const std::string &sha256);

/// Returns the fields of \a record that \a pointers name, with a space between them.
std::string summary(const UploadRecord &record, const std::vector<std::string> &pointers);
