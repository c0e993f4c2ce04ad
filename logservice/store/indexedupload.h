#pragma once

#include "store/descriptiontext.h"
#include "store/uploadid.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// What lists and searches know of one stored upload. All texts are UTF-8; none of them is to be trusted.
struct IndexedUpload
{
    UploadId id;
    std::string time; ///< UTC, as "2016-05-01T13:07:09Z"; empty: unknown
    std::string nickname;
    std::string loginName;
    std::string userId;
    std::vector<Room> rooms;
    std::string nameSpace;
    std::optional<std::string> fileName; ///< as the form gave it; absent for JSON bodies
    std::string contentName;             ///< file below the upload's folder that holds what was sent
    std::optional<std::uint64_t> bytes;  ///< of that file; absent: there is none
    std::string sha256;                  ///< of that file, lower case hex; empty: unknown
    std::string message;                 ///< what a report or an error tells, in one line; else empty
    std::string unsplit;                 ///< the text of "room" when it cannot be split; user and rooms are empty then
};

/// Sets what the \a fields of a record tell about \a upload, by the kind of its id.
void setFields(IndexedUpload &upload, const nlohmann::json &fields);

/// What the folder of an upload holds about it.
struct StoredUpload
{
    IndexedUpload upload;
    nlohmann::json fields = nlohmann::json::object(); ///< always an object
};

/// Reads the upload \a id below \a folder. What is missing or of another type stays empty, and so do the fields of a
/// record above 32 MiB. Nothing in the folder is trusted: anybody may have put it there.
StoredUpload readStoredUpload(const std::filesystem::path &folder, const UploadId &id);

/// Returns the ids of the uploads below \a folder, by their text. Throws std::filesystem::filesystem_error.
std::vector<std::string> storedIds(const std::filesystem::path &folder);
