#include "page/htmltext.h"

#include "store/searchtext.h"

namespace {

constexpr char kReplacement[] = "\xef\xbf\xbd";
constexpr char kEllipsis[] = "\xe2\x80\xa6";
constexpr std::size_t kMaxCharacterRest = 3;

bool isControl(char c)
{
    return (static_cast<unsigned char>(c) < 0x20U && c != '\n' && c != '\t') || c == '\x7f';
}

/// Returns what stands for \a c in HTML; empty: itself.
std::string_view escape(char c)
{
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return isControl(c) ? kReplacement : std::string_view();
    }
}

/// Cuts \a text after \a maxBytes bytes, or in front of the character that goes beyond.
std::string_view cut(std::string_view text, std::size_t maxBytes)
{
    if (text.size() <= maxBytes)
        return text;
    auto end = maxBytes;
    while (end > 0 && maxBytes - end < kMaxCharacterRest && (text[end] & '\xc0') == '\x80')
        --end;
    return text.substr(0, end);
}

} // namespace

std::string htmlText(std::string_view text, std::size_t maxBytes)
{
    const auto valid = validUtf8(cut(text, maxBytes));
    std::string html;
    html.reserve(valid.size());
    for (std::size_t i = 0; i < valid.size(); ++i) {
        const auto next = i + 1 < valid.size() ? valid[i + 1] : '\0';
        if (valid[i] == '\r' && next == '\n')
            continue;
        if (valid[i] == '\xc2' && static_cast<unsigned char>(next) < 0xa0U) { // U+0080 to U+009F
            html += kReplacement;
            ++i;
        } else if (const auto instead = escape(valid[i]); !instead.empty()) {
            html += instead;
        } else {
            html += valid[i];
        }
    }
    return text.size() > maxBytes ? html + kEllipsis : html;
}
