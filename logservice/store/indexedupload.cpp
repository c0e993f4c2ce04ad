#include "store/indexedupload.h"

#include "store/jsonobject.h"
#include "store/storedfile.h"
#include "store/uploadrecord.h"
#include "text/characters.h"

#include <algorithm>
#include <array>

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::json;

// Two documents, each with what escaping adds to most texts.
constexpr std::size_t kMaxRecordBytes = std::size_t(32) * 1024 * 1024;

// The record has the documents of a form in "fields", each under its name.
constexpr int kMaxRecordDepth = kMaxDocumentDepth + 2;
constexpr int kMaxRecordElements = 3 * kMaxDocumentElements;

/// The member \a name of \a value; null when there is none.
const Json &member(const Json &value, const char *name)
{
    static const Json null;
    const auto found = value.find(name);
    return found == value.end() ? null : *found;
}

/// The member \a name of \a value as text; empty when it is neither text nor number.
std::string text(const Json &value, const char *name)
{
    const auto &found = member(value, name);
    if (found.is_number())
        return found.dump();
    return found.is_string() ? validUtf8(found.get_ref<const std::string &>()) : std::string();
}

void addRoom(IndexedUpload &upload, const std::string &id)
{
    if (!id.empty())
        upload.rooms.push_back({id, {}});
}

/// Both parts with a colon between them, as far as there are two, on one line.
std::string line(const std::string &title, const std::string &rest)
{
    return onOneLine(title + (title.empty() || rest.empty() ? "" : ": ") + rest);
}

void setCrash(IndexedUpload &upload, const Json &fields)
{
    const auto &base = member(fields, "base");
    upload.nickname = text(base, "nickname");
    upload.userId = text(base, "user_id");
    upload.nameSpace = text(base, "namespace");
    const auto &rooms = member(member(fields, "info"), "info");
    if (rooms.is_array()) {
        for (const auto &room : rooms)
            upload.rooms.push_back({text(room, "room_sdk_id"), text(room, "room_name")});
    }
}

void setError(IndexedUpload &upload, const Json &fields)
{
    upload.nickname = text(fields, "username");
    upload.userId = text(fields, "user_id");
    upload.nameSpace = text(fields, "namespace");
    upload.message = line(text(fields, "type"), text(fields, "message"));
    addRoom(upload, text(fields, "room_sdk_id"));
}

void setReport(IndexedUpload &upload, const Json &fields)
{
    upload.userId = text(fields, "UserSid");
    upload.message = line(text(fields, "LogTitle"), text(fields, "LogData"));
    addRoom(upload, text(fields, "RoomId"));
}

void setForm(IndexedUpload &upload, const Json &fields)
{
    upload.nameSpace = text(fields, "namespace");
    const auto room = text(fields, "room");
    auto description = splitDescription(room);
    if (!description) {
        upload.unsplit = room;
        return;
    }
    upload.nickname = std::move(description->nickname);
    upload.loginName = std::move(description->loginName);
    upload.userId = std::move(description->userId);
    upload.rooms = std::move(description->rooms);
}

/// The record in \a file; of a large one what stands in front of its fields.
std::optional<Json> recordOf(const StoredFile &file)
{
    auto content = bytesOf(file, 0, kMaxRecordBytes);
    if (file.size() > kMaxRecordBytes) {
        // Within a text, the quotation marks would have backslashes.
        content.resize(std::min(content.find("\"fields\":"), content.size()));
        content.resize(content.find_last_not_of(", \n") + 1);
        content += '}';
    }
    return parseObject(content, kMaxRecordDepth, kMaxRecordElements);
}

} // namespace

void setFields(IndexedUpload &upload, const nlohmann::json &fields)
{
    if (upload.id.kind == "crash")
        setCrash(upload, fields);
    else if (upload.id.kind == "error")
        setError(upload, fields);
    else if (upload.id.kind == "report")
        setReport(upload, fields);
    else
        setForm(upload, fields);
}

StoredUpload readStoredUpload(const fs::path &folder, const UploadId &id)
{
    StoredUpload stored;
    auto &upload = stored.upload;
    upload.id = id;
    // What came as JSON is kept under the name of its kind, files of forms under one name.
    const std::array<std::string, 2> names = {kFileContentName, id.kind + ".json"};
    for (const auto &name : names) {
        if (const auto content = StoredFile::open(folder, id, name)) {
            upload.contentName = name;
            upload.bytes = content->size();
            break;
        }
    }
    const auto file = StoredFile::open(folder, id, kUploadRecordName);
    const auto record = file ? recordOf(*file) : std::nullopt;
    if (!record)
        return stored;
    upload.time = text(*record, "time");
    upload.sha256 = text(*record, "sha256");
    if (member(*record, "fileName").is_string())
        upload.fileName = text(*record, "fileName");
    if (const auto &fields = member(*record, "fields"); fields.is_object())
        stored.fields = fields;
    setFields(upload, stored.fields);
    return stored;
}

std::vector<std::string> storedIds(const fs::path &folder)
{
    std::vector<std::string> ids;
    for (const auto &entry : fs::directory_iterator(folder)) {
        auto name = entry.path().filename().string();
        std::error_code ignored;
        if (parseUploadId(name) && !entry.is_symlink(ignored) && entry.is_directory(ignored))
            ids.push_back(std::move(name));
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}
