#include "store/uploadrecord.h"

std::string uploadJson(const UploadRecord &record, const std::string &time, const std::string &sha256)
{
    nlohmann::ordered_json document;
    document["time"] = time;
    document["kind"] = record.kind;
    document["path"] = record.path;
    document["fileName"] = nullptr;
    if (record.fileName)
        document["fileName"] = *record.fileName;
    document["size"] = record.size;
    document["sha256"] = sha256;
    document["fields"] = record.fields; // last: readStoredUpload() may not come that far

    constexpr int kNoIndent = -1; // which would take a hundred times the space of deep documents
    return document.dump(kNoIndent, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string summary(const UploadRecord &record, const std::vector<std::string> &pointers)
{
    std::string text;
    for (const auto &name : pointers) {
        const nlohmann::json::json_pointer pointer(name);
        if (!record.fields.contains(pointer))
            continue;
        const auto &field = record.fields[pointer];
        if (!field.is_string() || field.get_ref<const std::string &>().empty())
            continue;
        if (!text.empty())
            text += ' ';
        text += field.get_ref<const std::string &>();
    }
    return text;
}
