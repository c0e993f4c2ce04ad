#include "page/logpage.h"

#include "page/htmlpage.h"
#include "page/htmltext.h"
#include "page/uploadrow.h"

#include <algorithm>

namespace {

std::string path(const LogView &view)
{
    return "/uploads/" + view.upload.id.text + "/log";
}

/// The address of the rows from \a offset on, or in front of it: \a name is "from" or "before".
std::string pageAddress(const LogView &view, const char *name, std::uint64_t offset)
{
    auto parameters = view.parameters;
    parameters.erase("from");
    parameters.erase("before");
    parameters[name] = std::to_string(offset);
    return address(path(view), parameters);
}

/// The address of one row: among those around it, also when it was found by a filter.
std::string rowAddress(const LogView &view, const LogRow &row)
{
    // A page that was found backwards may hold more than one that begins where it does.
    const bool isForward = !view.query.isFiltered() && !view.query.before;
    const auto first = isForward ? view.page.begin : row.offset;
    const auto offset = std::to_string(row.offset);
    return address(path(view), {{"from", std::to_string(first)}}) + "#b" + offset;
}

std::string levelName(Level level)
{
    for (const auto &[name, known] : levelNames()) {
        if (known == level)
            return name;
    }
    return {};
}

std::string cell(const char *label, const std::string &html)
{
    return html.empty() ? "<td></td>" : "<td data-label=\"" + std::string(label) + "\">" + html + "</td>";
}

std::string isolated(const std::string &text)
{
    return text.empty() ? text : "<bdi>" + htmlText(text) + "</bdi>";
}

std::string placeHtml(const LogRow &row)
{
    if (row.place.empty() || row.function.empty())
        return isolated(row.place + row.function);
    return "<bdi title=\"" + htmlText(row.function) + "\">" + htmlText(row.place) + "</bdi>";
}

std::string rowHtml(const LogView &view, const LogRow &row)
{
    const auto offset = std::to_string(row.offset);
    const auto level = levelName(row.level);
    auto html = "<tr id=\"b" + offset + "\"" + (level.empty() ? "" : " class=\"" + level + "\"") +
                R"(><th scope="row"><a href=")" + htmlText(rowAddress(view, row)) + "\">" + offset + "</a></th>";
    if (view.page.hasRecords)
        html += cell("Time", isolated(row.time)) + cell("Level", level) + cell("Place", placeHtml(row));
    return html + R"(<td class="text">)" + isolated(row.text) + "</td></tr>\n";
}

std::string table(const LogView &view)
{
    std::string html = "<table class=\"log\">\n<thead><tr><th scope=\"col\">Byte</th>";
    if (view.page.hasRecords)
        html += R"(<th scope="col">Time</th><th scope="col">Level</th><th scope="col">Place</th>)";
    html += "<th scope=\"col\">Text</th></tr></thead>\n<tbody>\n";
    for (const auto &row : view.page.rows)
        html += rowHtml(view, row);
    return html + "</tbody>\n</table>\n";
}

std::string filterForm(const LogView &view)
{
    std::string levels;
    if (view.page.hasRecords) {
        levels = "<label>Level <select name=\"level\">\n" + option("", "all", false);
        for (const auto &[name, level] : levelNames()) {
            if (level > Level::Debug)
                levels += option(name, name + (level < Level::Fatal ? " and above" : ""), level == view.query.level);
        }
        levels += "</select></label>\n";
    }
    const auto text = view.parameters.find("text");
    return R"(<form method="get" action=")" + htmlText(path(view)) + "\" role=\"search\">\n" + levels +
           labelledInput("Words", "search", "text", text == view.parameters.end() ? "" : text->second) +
           "<button>Show</button>\n</form>\n";
}

std::string status(const LogView &view)
{
    const auto &page = view.page;
    const auto *const what = page.hasRecords ? "record" : "line";
    auto html = R"(<p class="status">)" + std::to_string(page.rows.size()) + " " +
                (view.query.isFiltered() ? "matching " : "") + what + (page.rows.size() == 1 ? "" : "s") +
                " in the bytes " + std::to_string(page.begin) + " to " + std::to_string(page.end) + " of " +
                std::to_string(view.fileBytes) + ".";
    if (view.query.isFiltered())
        html += " <a href=\"" + htmlText(address(path(view), {{"from", std::to_string(page.begin)}})) + "\">Show all " +
                what + "s here</a>";
    return html + "</p>\n";
}

std::string navigation(const LogView &view)
{
    const auto link = [&](const char *text, const char *name, std::uint64_t offset) {
        return "<a href=\"" + htmlText(pageAddress(view, name, offset)) + "\">" + text + "</a>\n";
    };
    std::string links;
    if (view.page.begin > 0)
        links += link("Beginning", "from", 0) + link("Earlier", "before", view.page.begin);
    if (view.page.end < view.fileBytes)
        links += link(view.query.isFiltered() ? "Look further" : "Later", "from", view.page.end) +
                 link("End", "before", view.fileBytes);
    return links.empty() ? links : "<nav>" + links + "</nav>\n";
}

std::string about(const LogView &view)
{
    std::string html = R"(<p class="about"><a href="/">All uploads</a> )";
    for (const auto &part : {timeHtml(view.upload), htmlText(view.upload.id.text), userHtml(view.upload)})
        html += part.empty() ? part : "<span>" + part + "</span> ";
    html += "<span>" + sizeText(view.fileBytes) + "</span> " + fileLinks(view.upload) + "</p>\n";
    return html + roomsHtml(view.upload);
}

} // namespace

std::string logPageHtml(const LogView &view)
{
    const auto title = fileTitle(view.upload);
    auto html = "<h1><bdi>" + htmlText(title) + "</bdi></h1>\n" + about(view) + filterForm(view) + status(view) +
                navigation(view);
    if (!view.page.rows.empty())
        html += table(view) + navigation(view);
    return htmlPage(title, html);
}
