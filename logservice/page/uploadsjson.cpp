#include "page/uploadsjson.h"

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

template<typename Value>
Json orNull(const std::optional<Value> &value)
{
    return value ? Json(*value) : Json();
}

Json uploadJson(const IndexedUpload &upload)
{
    auto rooms = Json::array();
    for (const auto &room : upload.rooms)
        rooms.push_back({{"id", room.id}, {"name", room.name}});
    return {{"id", upload.id.text},          {"time", upload.time},           {"kind", upload.id.kind},
            {"nickname", upload.nickname},   {"loginName", upload.loginName}, {"userId", upload.userId},
            {"rooms", std::move(rooms)},     {"namespace", upload.nameSpace}, {"file", orNull(upload.fileName)},
            {"bytes", orNull(upload.bytes)}, {"sha256", upload.sha256},       {"message", upload.message}};
}

} // namespace

std::string uploadsJson(const UploadMatches &matches)
{
    auto uploads = Json::array();
    for (const auto &upload : matches.uploads)
        uploads.push_back(uploadJson(upload));
    const Json document = {{"total", matches.total},
                           {"uploads", std::move(uploads)},
                           {"next", matches.older ? Json(matches.older->text) : Json()}};
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}
