#include "page/attachment.h"

#include "http/percentencoding.h"
#include "http/utf8.h"

namespace {

constexpr std::size_t kMaxNameBytes = 200;
constexpr char kNoName[] = "upload";

/// U+200E, U+200F, U+202A to U+202E and U+2066 to U+2069, in UTF-8.
bool changesDirection(std::string_view character)
{
    const auto isFrom = [character](std::string_view first, std::string_view last) {
        return character >= first && character <= last;
    };
    return isFrom("\xe2\x80\x8e", "\xe2\x80\x8f") || isFrom("\xe2\x80\xaa", "\xe2\x80\xae") ||
           isFrom("\xe2\x81\xa6", "\xe2\x81\xa9");
}

/// \a character is one character of UTF-8.
bool isHarmless(std::string_view character)
{
    constexpr std::string_view kWithMeaning = "/\\\"<>:|?*";
    if (character.size() == 2)
        return character[0] != '\xc2' || static_cast<unsigned char>(character[1]) >= 0xa0U;
    if (changesDirection(character))
        return false;
    const char c = character.front();
    return character.size() > 1 ||
           (static_cast<unsigned char>(c) >= 0x20U && c != '\x7f' && kWithMeaning.find(c) == std::string_view::npos);
}

std::string safeName(std::string_view sentName)
{
    const auto slash = sentName.find_last_of("/\\");
    auto rest = sentName.substr(slash == std::string_view::npos ? 0 : slash + 1);
    std::string name;
    while (!rest.empty()) {
        const auto length = utf8Length(rest);
        const auto character = rest.substr(0, length == 0 ? 1 : length);
        if (name.size() + character.size() > kMaxNameBytes)
            break;
        const bool isKept = length > 0 && isHarmless(character) && (character != "." || !name.empty());
        name += isKept ? character : "_";
        rest.remove_prefix(character.size());
    }
    return name.empty() ? kNoName : name;
}

/// For programs that know no other names: everything but ASCII becomes "_". Percent signs too, as some decode them.
std::string asciiName(const std::string &name)
{
    std::string ascii;
    for (const char c : name)
        ascii += static_cast<unsigned char>(c) < 0x80U && c != '%' ? c : '_';
    return ascii;
}

} // namespace

std::string attachmentDisposition(std::string_view sentName)
{
    const auto name = safeName(sentName);
    return "attachment; filename=\"" + asciiName(name) + "\"; filename*=UTF-8''" + percentEncoded(name);
}
