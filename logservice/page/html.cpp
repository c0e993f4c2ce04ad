#include "page/html.h"

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

std::string htmlLink(const std::string &address, const std::string &contentHtml)
{
    return "<a href=\"" + htmlText(address) + "\">" + contentHtml + "</a>";
}

std::string htmlNavigation(const std::string &linksHtml)
{
    return linksHtml.empty() ? linksHtml : "<nav>" + linksHtml + "</nav>\n";
}

std::string htmlForm(const std::string &path, const std::string &inputsHtml)
{
    return R"(<form method="get" action=")" + htmlText(path) + "\" role=\"search\">\n" + inputsHtml +
           "<button>Show</button>\n</form>\n";
}

std::string htmlInput(const std::string &label, const std::string &type, const std::string &name,
                      const std::string &value)
{
    return "<label>" + label + " <input type=\"" + type + R"(" name=")" + name + R"(" value=")" + htmlText(value) +
           "\"></label>\n";
}

std::string htmlSelect(const std::string &label, const std::string &name, const std::string &optionsHtml)
{
    return "<label>" + label + " <select name=\"" + name + "\">\n" + optionsHtml + "</select></label>\n";
}

std::string htmlOption(const std::string &value, const std::string &label, bool isSelected)
{
    return "<option value=\"" + htmlText(value) + "\"" + (isSelected ? " selected" : "") + ">" + htmlText(label) +
           "</option>\n";
}

std::string htmlTable(const std::string &className, const std::vector<std::string> &columns,
                      const std::string &rowsHtml)
{
    std::string head;
    for (const auto &column : columns)
        head += "<th scope=\"col\">" + column + "</th>";
    return "<table class=\"" + className + "\">\n<thead><tr>" + head + "</tr></thead>\n<tbody>\n" + rowsHtml +
           "</tbody>\n</table>\n";
}

std::string htmlPage(const std::string &titleHtml, const std::string &contentHtml)
{
    return "<!DOCTYPE html>\n"
           "<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<title>" +
           titleHtml +
           " - kxlogservice</title>\n"
           "<link rel=\"icon\" href=\"data:,\">\n" // keeps browsers from asking for one
           "<link rel=\"stylesheet\" href=\"/style.css\">\n"
           "</head>\n<body>\n<main>\n" +
           contentHtml + "</main>\n</body>\n</html>\n";
}
