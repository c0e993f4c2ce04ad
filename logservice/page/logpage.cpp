#include "page/logpage.h"

#include "page/html.h"
#include "page/uploadrow.h"

namespace {

std::string path(const LogView &view)
{
    return "/uploads/" + view.upload.id.text + "/log";
}

/// The address of one row: among those around it, also when it was found by a filter.
std::string rowAddress(const LogView &view, const LogRow &row)
{
    // A page that was found backwards may hold more than one that begins where it does.
    const bool isForward = !view.query.isFiltered() && !view.query.before;
    return path(view) + "?from=" + std::to_string(isForward ? view.page.begin : row.offset) + "#b" +
           std::to_string(row.offset);
}

std::string levelName(Level level)
{
    return std::string(kLevelNames[static_cast<std::size_t>(level)]);
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
                R"(><th scope="row">)" + htmlLink(rowAddress(view, row), offset) + "</th>";
    if (view.page.hasRecords)
        html += cell("Time", isolated(row.time)) + cell("Level", level) + cell("Place", placeHtml(row));
    return html + R"(<td class="text">)" + isolated(row.text) + "</td></tr>\n";
}

std::string table(const LogView &view)
{
    std::string rows;
    for (const auto &row : view.page.rows)
        rows += rowHtml(view, row);
    const std::vector<std::string> columns = {"Byte", "Time", "Level", "Place", "Text"};
    return htmlTable("log", view.page.hasRecords ? columns : std::vector<std::string>{"Byte", "Text"}, rows);
}

std::string filterForm(const LogView &view)
{
    std::string levels;
    if (view.page.hasRecords) {
        levels = htmlOption("", "all", false);
        for (const auto level : {Level::Info, Level::Warning, Level::Critical, Level::Fatal}) {
            const auto name = levelName(level);
            levels += htmlOption(name, name + (level < Level::Fatal ? " and above" : ""), level == view.query.level);
        }
        levels = htmlSelect("Level", "level", levels);
    }
    return htmlForm(path(view), levels + htmlInput("Words", "search", "text", valueOf(view.parameters, "text")));
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
        html += " " + htmlLink(path(view) + "?from=" + std::to_string(page.begin),
                               std::string("Show all ") + what + "s here");
    return html + "</p>\n";
}

std::string navigation(const LogView &view)
{
    const auto link = [&](const char *text, const char *name, std::uint64_t offset) {
        auto parameters = withoutPlace(view.parameters);
        parameters[name] = std::to_string(offset);
        return htmlLink(address(path(view), parameters), text) + "\n";
    };
    std::string links;
    if (view.page.begin > 0)
        links += link("Beginning", "from", 0) + link("Earlier", "before", view.page.begin);
    if (view.page.end < view.fileBytes)
        links += link(view.query.isFiltered() ? "Look further" : "Later", "from", view.page.end) +
                 link("End", "before", view.fileBytes);
    return htmlNavigation(links);
}

std::string about(const LogView &view)
{
    auto html = R"(<p class="about">)" + htmlLink("/", "All uploads") + " ";
    for (const auto &part : {timeHtml(view.upload), htmlText(view.upload.id.text), userHtml(view.upload)})
        html += part.empty() ? part : "<span>" + part + "</span> ";
    html += "<span>" + sizeText(view.fileBytes) + "</span> " + fileLinks(view.upload) + "</p>\n";
    return html + roomsHtml(view.upload);
}

} // namespace

std::string logPageHtml(const LogView &view)
{
    const auto title = titleHtml(view.upload);
    auto html =
        "<h1><bdi>" + title + "</bdi></h1>\n" + about(view) + filterForm(view) + status(view) + navigation(view);
    if (!view.page.rows.empty())
        html += table(view) + navigation(view);
    return htmlPage(title, html);
}
