#include "http/utf8.h"

namespace {

bool isBetween(char c, unsigned first, unsigned last)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte >= first && byte <= last;
}

/// How many bytes a character has that begins with \a lead; 0 when none does.
std::size_t lengthBy(char lead)
{
    if (isBetween(lead, 0x00, 0x7f))
        return 1;
    if (isBetween(lead, 0xc2, 0xdf))
        return 2;
    if (isBetween(lead, 0xe0, 0xef))
        return 3;
    return isBetween(lead, 0xf0, 0xf4) ? 4 : 0;
}

/// Leaves out overlong forms, surrogates and what lies behind U+10FFFF (RFC 3629).
bool fitsBehind(char lead, char second)
{
    switch (static_cast<unsigned char>(lead)) {
    case 0xe0:
        return isBetween(second, 0xa0, 0xbf);
    case 0xed:
        return isBetween(second, 0x80, 0x9f);
    case 0xf0:
        return isBetween(second, 0x90, 0xbf);
    case 0xf4:
        return isBetween(second, 0x80, 0x8f);
    default:
        return isBetween(second, 0x80, 0xbf);
    }
}

} // namespace

std::size_t utf8Length(std::string_view text)
{
    const auto length = text.empty() ? 0 : lengthBy(text.front());
    if (length <= 1)
        return length;
    if (text.size() < length || !fitsBehind(text[0], text[1]))
        return 0;
    for (std::size_t i = 2; i < length; ++i) {
        if (!isBetween(text[i], 0x80, 0xbf))
            return 0;
    }
    return length;
}
