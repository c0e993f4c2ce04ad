#include "page/htmltext.h"

#include "text/characters.h"

namespace {

constexpr char kReplacement[] = "\xef\xbf\xbd";
constexpr char kEllipsis[] = "\xe2\x80\xa6";

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
    case '\n':
    case '\t':
        return {};
    default:
        return isControl(c) ? kReplacement : std::string_view();
    }
}

} // namespace

std::string htmlText(std::string_view text, std::size_t maxBytes)
{
    const auto valid = validUtf8(shortened(text, maxBytes));
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
