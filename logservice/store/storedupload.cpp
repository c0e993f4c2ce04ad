#include "store/storedupload.h"

#include "intake/endpoints.h"
#include "store/jsonobject.h"
#include "store/storedfile.h"
#include "store/uploadrecord.h"

#include <algorithm>

namespace {

constexpr char kAnyContentName[] = "file.bin";

// Texts and documents are part of the record. The client's are small; a page of large ones would take seconds.
constexpr std::size_t kMaxRecordBytes = std::size_t(1024) * 1024;

// The record has the documents of a form in "fields", each under its name.
constexpr int kMaxRecordDepth = kMaxDocumentDepth + 2;

char smallLetter(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string inSmallLetters(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), smallLetter);
    return text;
}

/// \a part is in small letters.
bool contains(const std::string &text, const std::string &part)
{
    return inSmallLetters(text).find(part) != std::string::npos;
}

bool anyValueContains(const nlohmann::json &value, const std::string &part)
{
    if (value.is_structured())
        return std::any_of(value.begin(), value.end(),
                           [&part](const auto &inner) { return anyValueContains(inner, part); });
    return value.is_string() ? contains(value.get_ref<const std::string &>(), part) : contains(value.dump(), part);
}

} // namespace

StoredUpload readStoredUpload(const std::filesystem::path &folder, const UploadId &id)
{
    StoredUpload upload;
    upload.id = id;
    if (const auto content = StoredFile::open(folder, id, contentName(id.kind)))
        upload.size = content->size();

    const auto file = StoredFile::open(folder, id, kUploadRecordName);
    if (!file)
        return upload;
    const auto text = contentOf(*file, kMaxRecordBytes);
    upload.bytesRead = text.size();
    auto record = parseObject(text, kMaxRecordDepth);
    if (!record)
        return upload;
    if (auto &time = (*record)["time"]; time.is_string())
        upload.time = time.get<std::string>();
    if (auto &fileName = (*record)["fileName"]; fileName.is_string())
        upload.fileName = fileName.get<std::string>();
    if (auto &fields = (*record)["fields"]; fields.is_object())
        upload.fields = std::move(fields);
    return upload;
}

std::string contentName(const std::string &kind)
{
    for (const auto &endpoint : endpoints()) {
        if (endpoint.kind == kind && !endpoint.document.empty())
            return endpoint.document;
    }
    return kAnyContentName;
}

bool holdsText(const StoredUpload &upload, const std::string &text)
{
    if (text.empty())
        return true;
    const auto part = inSmallLetters(text);
    return (upload.fileName && contains(*upload.fileName, part)) || anyValueContains(upload.fields, part);
}
