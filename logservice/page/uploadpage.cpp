#include "page/uploadpage.h"

#include "page/html.h"
#include "page/uploadchart.h"
#include "page/uploadrow.h"

namespace {

/// An input of the browser's for days; one for text when a time is given, which the other could not show.
std::string timeInput(const UploadPage &page, const char *label, const char *name)
{
    constexpr std::size_t kDayBytes = 10;
    const auto value = valueOf(page.parameters, name);
    return htmlInput(label, value.size() > kDayBytes ? "text" : "date", name, value);
}

std::string filterForm(const UploadPage &page)
{
    const auto input = [&page](const char *label, const char *name) {
        return htmlInput(label, "search", name, valueOf(page.parameters, name));
    };
    auto kinds = htmlOption("", "all kinds", false);
    for (const auto &kind : page.kinds)
        kinds += htmlOption(kind, kind, kind == valueOf(page.parameters, "kind"));
    return htmlForm("/", htmlSelect("Kind", "kind", kinds) + input("User", "user") + input("Room", "room") +
                             input("Any text", "text") + timeInput(page, "Since (UTC)", "since") +
                             timeInput(page, "Until (UTC)", "until"));
}

bool isFiltered(const UploadPage &page)
{
    auto filters = withoutPlace(page.parameters);
    filters.erase("limit");
    return !filters.empty();
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
                counted(page.matches.storedCount, "upload", "uploads");
    if (!matches.uploads.empty())
        html += ", " + std::to_string(matches.newerCount + 1) + " to " +
                std::to_string(matches.newerCount + matches.uploads.size()) + ", newest first";
    return html + "." + (page.parameters.empty() ? "" : " " + htmlLink("/", "Show all")) + "</p>\n";
}

std::string emptyText(const UploadPage &page)
{
    if (page.matches.storedCount == 0)
        return R"(<p class="empty">Nothing has arrived yet. Run the tool, or send a file with curl, then load this )"
               "page again:</p>\n<pre><code>curl -F room=nickname-ann. -F namespace=demo -F file=@client.log " +
               htmlText(page.origin) + "/logsys/client/v1/logfile/upload</code></pre>\n";
    return "<p class=\"empty\">No upload matches.</p>\n";
}

std::string table(const std::vector<IndexedUpload> &uploads)
{
    std::string rows;
    for (const auto &upload : uploads)
        rows += uploadRow(upload);
    return htmlTable("uploads", {"No.", "Time (UTC)", "Kind", "User", "Rooms", "File or message", "Size"}, rows);
}

/// A link to another page of the list; \a neighbour is "before" or "after".
std::string pageLink(const UploadPage &page, const char *text, const char *neighbour, const std::optional<UploadId> &id)
{
    if (!id)
        return {};
    auto parameters = withoutPlace(page.parameters);
    parameters[neighbour] = id->text;
    return htmlLink(address("/", parameters), text) + "\n";
}

/// What the page of newer uploads comes behind: the first one here, or nothing where all are too new to be here.
std::optional<UploadId> neighbourOfNewer(const UploadMatches &matches)
{
    const bool isBehindTheOldest = matches.uploads.empty() && matches.newerCount > 0;
    return isBehindTheOldest ? makeUploadId(0, "none") : matches.newer; // numbers begin with 1
}

} // namespace

std::string uploadPageHtml(const UploadPage &page)
{
    std::string html = "<h1>Uploads</h1>\n";
    if (page.matches.storedCount > 0)
        html += filterForm(page) + uploadChart(page.matches.days, page.parameters) + status(page);
    html += page.matches.uploads.empty() ? emptyText(page) : table(page.matches.uploads);
    return htmlPage("Uploads",
                    html + htmlNavigation(pageLink(page, "Newer uploads", "after", neighbourOfNewer(page.matches)) +
                                          pageLink(page, "Older uploads", "before", page.matches.older)));
}
