#include "page/uploadpage.h"

#include "page/htmlpage.h"
#include "page/htmltext.h"
#include "page/uploadchart.h"
#include "page/uploadrow.h"

#include <algorithm>
#include <array>

namespace {

std::string given(const UploadPage &page, const std::string &name)
{
    const auto found = page.parameters.find(name);
    return found == page.parameters.end() ? std::string() : found->second;
}

/// An input of the browser's for days; one for text when a time is given, which the other could not show.
std::string timeInput(const UploadPage &page, const char *label, const char *name)
{
    constexpr std::size_t kDayBytes = 10;
    const auto value = given(page, name);
    return labelledInput(label, value.size() > kDayBytes ? "text" : "date", name, value);
}

std::string filterForm(const UploadPage &page)
{
    auto kinds = option("", "all kinds", false);
    for (const auto &kind : page.kinds)
        kinds += option(kind, kind, kind == given(page, "kind"));
    return "<form method=\"get\" action=\"/\" role=\"search\">\n"
           "<label>Kind <select name=\"kind\">\n" +
           kinds + "</select></label>\n" + labelledInput("User", "search", "user", given(page, "user")) +
           labelledInput("Room", "search", "room", given(page, "room")) +
           labelledInput("Any text", "search", "text", given(page, "text")) + timeInput(page, "Since (UTC)", "since") +
           timeInput(page, "Until (UTC)", "until") + "<button>Show</button>\n</form>\n";
}

bool isFiltered(const UploadPage &page)
{
    const std::array<const char *, 6> names = {"kind", "user", "room", "text", "since", "until"};
    return std::any_of(names.begin(), names.end(),
                       [&page](const char *name) { return page.parameters.count(name) > 0; });
}

std::string counted(std::uint64_t count, const std::string &one, const std::string &more)
{
    return std::to_string(count) + " " + (count == 1 ? one : more);
}

/// Says which of the uploads are shown.
std::string status(const UploadPage &page)
{
    const auto &matches = page.matches;
    auto html = R"(<p class="status">)" +
                (isFiltered(page) ? counted(matches.total, "match", "matches") + " among " : "") +
                counted(page.storedCount, "upload", "uploads");
    if (!matches.uploads.empty())
        html += ", " + std::to_string(matches.newerCount + 1) + " to " +
                std::to_string(matches.newerCount + matches.uploads.size()) + ", newest first";
    return html + "." + (page.parameters.empty() ? "" : R"( <a href="/">Show all</a>)") + "</p>\n";
}

std::string emptyText(const UploadPage &page)
{
    if (page.storedCount == 0)
        return R"(<p class="empty">Nothing has arrived yet. Run the tool, or send a file with curl, then load this )"
               "page again:</p>\n<pre><code>curl -F room=nickname-ann. -F namespace=demo -F file=@client.log " +
               htmlText(page.origin) + "/logsys/client/v1/logfile/upload</code></pre>\n";
    return "<p class=\"empty\">No upload matches.</p>\n";
}

std::string table(const std::vector<IndexedUpload> &uploads)
{
    std::string html =
        "<table class=\"uploads\">\n<thead><tr><th scope=\"col\">No.</th><th scope=\"col\">Time (UTC)</th>"
        R"(<th scope="col">Kind</th><th scope="col">User</th><th scope="col">Rooms</th>)"
        "<th scope=\"col\">File or message</th><th scope=\"col\">Size</th></tr></thead>\n<tbody>\n";
    for (const auto &upload : uploads)
        html += uploadRow(upload);
    return html + "</tbody>\n</table>\n";
}

/// A link to another page of the list; \a neighbour is "before" or "after".
std::string pageLink(const UploadPage &page, const char *text, const char *neighbour, const std::optional<UploadId> &id)
{
    if (!id)
        return {};
    auto parameters = page.parameters;
    parameters.erase("before");
    parameters.erase("after");
    parameters[neighbour] = id->text;
    return "<a href=\"" + htmlText(address("/", parameters)) + "\">" + text + "</a>\n";
}

std::string navigation(const UploadPage &page)
{
    const auto links = pageLink(page, "Newer uploads", "after", page.matches.newer) +
                       pageLink(page, "Older uploads", "before", page.matches.older);
    return links.empty() ? links : "<nav>" + links + "</nav>\n";
}

} // namespace

std::string uploadPageHtml(const UploadPage &page)
{
    std::string html = "<h1>Uploads</h1>\n";
    if (page.storedCount > 0)
        html += filterForm(page) + uploadChart(page.days, page.kinds, page.parameters) + status(page);
    html += page.matches.uploads.empty() ? emptyText(page) : table(page.matches.uploads);
    return htmlPage("Uploads", html + navigation(page));
}
