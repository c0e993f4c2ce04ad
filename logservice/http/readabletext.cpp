#include "http/readabletext.h"

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

bool isContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xc0U) == 0x80U;
}

void appendHex(std::string &line, char c)
{
    const auto byte = static_cast<unsigned char>(c);
    line += "\\x";
    line += kHexDigits[byte >> 4U];
    line += kHexDigits[byte & 0x0fU];
}

void appendAscii(std::string &line, char c)
{
    switch (c) {
    case '\n':
        line += "\\n";
        break;
    case '\r':
        line += "\\r";
        break;
    case '\t':
        line += "\\t";
        break;
    case '"':
    case '\\':
        line += '\\';
        line += c;
        break;
    default:
        if (static_cast<unsigned char>(c) < 0x20U || c == '\x7f')
            appendHex(line, c);
        else
            line += c;
    }
}

} // namespace

std::string quotedText(std::string_view text, std::size_t maxBytes)
{
    auto end = text.size();
    if (end > maxBytes) {
        end = maxBytes;
        while (end > 0 && isContinuation(text[end]))
            --end;
    }

    std::string line = "\"";
    for (std::size_t i = 0; i < end; ++i) {
        // U+0080 to U+009F: terminals may take them for commands.
        const bool isC1 = text[i] == '\xc2' && i + 1 < end && static_cast<unsigned char>(text[i + 1]) < 0xa0U &&
                          isContinuation(text[i + 1]);
        if (isC1) {
            appendHex(line, text[i]);
            appendHex(line, text[++i]);
        } else {
            appendAscii(line, text[i]);
        }
    }
    line += end < text.size() ? "...\"" : "\"";
    return line;
}
