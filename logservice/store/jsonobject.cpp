#include "store/jsonobject.h"

std::optional<nlohmann::json> parseObject(const std::string &text, int maxDepth)
{
    bool isTooDeep = false;
    const auto keepsValue = [&isTooDeep, maxDepth](int depth, nlohmann::json::parse_event_t /*event*/,
                                                   nlohmann::json & /*value*/) {
        isTooDeep = isTooDeep || depth > maxDepth;
        return !isTooDeep;
    };
    auto document = nlohmann::json::parse(text, keepsValue, false);
    if (isTooDeep || !document.is_object())
        return std::nullopt;
    return document;
}
