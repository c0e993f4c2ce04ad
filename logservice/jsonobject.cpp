#include "jsonobject.h"

namespace {

constexpr int kMaxDepth = 100;

} // namespace

std::optional<nlohmann::json> parseObject(const std::string &text)
{
    bool isTooDeep = false;
    const auto keepsValue = [&isTooDeep](int depth, nlohmann::json::parse_event_t /*event*/,
                                         nlohmann::json & /*value*/) {
        isTooDeep = isTooDeep || depth > kMaxDepth;
        return !isTooDeep;
    };
    auto document = nlohmann::json::parse(text, keepsValue, false);
    if (isTooDeep || !document.is_object())
        return std::nullopt;
    return document;
}
