#include "text/characters.h"

#include <algorithm>

#include <utf8proc.h>

namespace {

bool isWithinCharacter(char c)
{
    return (static_cast<unsigned char>(c) & 0xc0U) == 0x80U;
}

} // namespace

std::string onOneLine(std::string text)
{
    std::replace_if(text.begin(), text.end(), isControl, ' ');
    return text;
}

std::string validUtf8(std::string_view text)
{
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const auto length = characterBytes(text);
        valid += length > 0 ? text.substr(0, length) : "\xef\xbf\xbd";
        text.remove_prefix(std::max(length, std::size_t(1)));
    }
    return valid;
}

std::size_t characterBytes(std::string_view text)
{
    utf8proc_int32_t character = 0;
    const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t *>(text.data()),
                                         static_cast<utf8proc_ssize_t>(text.size()), &character);
    return length > 0 ? static_cast<std::size_t>(length) : 0;
}

std::size_t characterCount(std::string_view text)
{
    return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isWithinCharacter));
}

std::string_view shortened(std::string_view text, std::size_t maxBytes)
{
    if (text.size() <= maxBytes)
        return text;
    auto end = maxBytes;
    while (end > 0 && maxBytes - end < kMaxCharacterRest && isWithinCharacter(text[end]))
        --end;
    return text.substr(0, end);
}

std::string hexText(std::string_view bytes)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0x0fU];
    }
    return text;
}
