#include "page/htmltext.h"

#include "http/utf8.h"

namespace {

constexpr char kReplacement[] = "\xef\xbf\xbd";
constexpr char kEllipsis[] = "\xe2\x80\xa6";

void appendAscii(std::string &html, char c)
{
    switch (c) {
    case '&':
        html += "&amp;";
        break;
    case '<':
        html += "&lt;";
        break;
    case '>':
        html += "&gt;";
        break;
    case '"':
        html += "&quot;";
        break;
    case '\'':
        html += "&#39;";
        break;
    case '\n':
    case '\t':
        html += c;
        break;
    default:
        if (static_cast<unsigned char>(c) < 0x20U || c == '\x7f')
            html += kReplacement;
        else
            html += c;
    }
}

/// U+0080 to U+009F.
bool isControl(std::string_view character)
{
    return character.size() == 2 && character[0] == '\xc2' && static_cast<unsigned char>(character[1]) < 0xa0U;
}

} // namespace

std::string htmlText(std::string_view text, std::size_t maxBytes)
{
    std::string html;
    std::size_t taken = 0;
    while (taken < text.size()) {
        const auto length = utf8Length(text.substr(taken));
        const auto character = text.substr(taken, length == 0 ? 1 : length);
        if (taken + character.size() > maxBytes)
            return html + kEllipsis;
        if (text.substr(taken, 2) == "\r\n") {
            ++taken;
            continue;
        }
        if (length == 0 || isControl(character))
            html += kReplacement;
        else if (length == 1)
            appendAscii(html, character.front());
        else
            html += character;
        taken += character.size();
    }
    return html;
}
