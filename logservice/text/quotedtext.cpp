#include "text/quotedtext.h"

#include "text/characters.h"

namespace {

std::string escaped(char c)
{
    switch (c) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    case '"':
    case '\\':
        return {'\\', c};
    default:
        return isControl(c) ? "\\x" + hexText({&c, 1}) : std::string(1, c);
    }
}

} // namespace

std::string quotedText(std::string_view text, std::size_t maxBytes)
{
    std::string line = "\"";
    const auto shown = shortened(text, maxBytes);
    for (std::size_t i = 0; i < shown.size(); ++i) {
        const auto next = i + 1 < shown.size() ? shown[i + 1] : '\0';
        const bool isC1 = shown[i] == '\xc2' && (static_cast<unsigned char>(next) & 0xe0U) == 0x80U;
        if (isC1) // U+0080 to U+009F: terminals may take them for commands
            line += "\\xc2\\x" + hexText({&shown[++i], 1});
        else
            line += escaped(shown[i]);
    }
    return line + (shown.size() < text.size() ? "...\"" : "\"");
}
