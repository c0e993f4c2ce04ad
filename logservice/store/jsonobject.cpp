#include "store/jsonobject.h"

#include <string_view>

namespace {

/// Whether \a text, if it is a JSON document, keeps within the bounds. The library's parser could be asked while it
/// reads (by a callback), but then takes time by the square of the members.
bool isBounded(std::string_view text, int maxDepth, int maxElements)
{
    int depth = 0;
    int elements = 0;
    bool isInText = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"')
            isInText = !isInText;
        else if (isInText)
            i += c == '\\' ? 1 : 0;
        else if (c == '{' || c == '[')
            ++depth;
        else if (c == '}' || c == ']')
            --depth;
        // In front of each value there is one of these.
        elements += !isInText && (c == '{' || c == '[' || c == ',') ? 1 : 0;
        if (depth > maxDepth || elements > maxElements)
            return false;
    }
    return true;
}

} // namespace

std::optional<nlohmann::json> parseObject(const std::string &text, int maxDepth, int maxElements)
{
    if (!isBounded(text, maxDepth, maxElements))
        return std::nullopt;
    auto document = nlohmann::json::parse(text, nullptr, false);
    if (!document.is_object())
        return std::nullopt;
    return document;
}
