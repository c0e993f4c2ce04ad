#include "page/uploadpage.h"

#include "http/percentencoding.h"
#include "page/htmltext.h"
#include "page/uploadrow.h"

namespace {

std::string kindOptions(const UploadPage &page)
{
    std::string html = "<option value=\"\">all kinds</option>\n";
    for (const auto &kind : page.kinds) {
        html += "<option value=\"" + htmlText(kind) + "\"" + (kind == page.query.kind ? " selected" : "") + ">" +
                htmlText(kind) + "</option>\n";
    }
    return html;
}

std::string filterForm(const UploadPage &page)
{
    return "<form method=\"get\" action=\"/\" role=\"search\">\n"
           "<label>Kind <select name=\"kind\">\n" +
           kindOptions(page) +
           "</select></label>\n"
           "<label>Text in the fields or the file name <input type=\"search\" name=\"text\" value=\"" +
           htmlText(page.query.text) +
           "\"></label>\n"
           "<button>Show</button>\n"
           "</form>\n";
}

bool isFiltered(const UploadQuery &query)
{
    return !query.kind.empty() || !query.text.empty();
}

std::string counted(std::uint64_t count)
{
    return std::to_string(count) + (count == 1 ? " upload" : " uploads");
}

/// Says which of the uploads are shown.
std::string status(const UploadPage &page)
{
    const auto &matches = page.matches;
    auto html = "<p class=\"status\">" + std::to_string(matches.uploads.size()) + " shown of ";
    if (isFiltered(page.query))
        html += std::to_string(matches.total) + (matches.total == 1 ? " match" : " matches") + " among ";
    html += counted(page.storedCount);
    html += page.query.before ? ", from before " + htmlText(page.query.before->text) : "";
    html += ", newest first.";
    if (isFiltered(page.query) || page.query.before)
        html += " <a href=\"/\">Show all</a>";
    return html + "</p>\n";
}

std::string emptyText(const UploadPage &page)
{
    if (!page.stores)
        return "<p class=\"empty\">This service was started with <code>--discard</code>: it keeps nothing that "
               "arrives, so there is nothing to show.</p>\n";
    if (page.storedCount == 0)
        return "<p class=\"empty\">Nothing has arrived yet. Run the tool, or send a file with curl, then load this "
               "page again:</p>\n<pre><code>curl -F room=nickname-ann. -F namespace=demo -F file=@client.log " +
               htmlText(page.origin) + "/logsys/client/v1/logfile/upload</code></pre>\n";
    return "<p class=\"empty\">No upload matches.</p>\n";
}

std::string table(const std::vector<IndexedUpload> &uploads)
{
    std::string html = "<table>\n<thead><tr><th scope=\"col\">No.</th><th scope=\"col\">Time</th>"
                       "<th scope=\"col\">Kind</th><th scope=\"col\">User</th><th scope=\"col\">Rooms</th>"
                       "<th scope=\"col\">File</th><th scope=\"col\">Size</th></tr></thead>\n<tbody>\n";
    for (const auto &upload : uploads)
        html += uploadRow(upload);
    return html + "</tbody>\n</table>\n";
}

std::string olderLink(const UploadPage &page)
{
    if (!page.matches.older)
        return {};
    const auto target = "/?kind=" + percentEncoded(page.query.kind) + "&text=" + percentEncoded(page.query.text) +
                        "&before=" + percentEncoded(page.matches.older->text);
    return R"(<nav><a rel="next" href=")" + htmlText(target) + "\">Older uploads</a></nav>\n";
}

} // namespace

std::string uploadPageHtml(const UploadPage &page)
{
    std::string html = "<!DOCTYPE html>\n"
                       "<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<title>Uploads - kxlogservice</title>\n"
                       "<link rel=\"icon\" href=\"data:,\">\n" // keeps browsers from asking for one
                       "<link rel=\"stylesheet\" href=\"/style.css\">\n"
                       "</head>\n<body>\n<main>\n<h1>Uploads</h1>\n";
    if (page.stores && page.storedCount > 0)
        html += filterForm(page) + status(page);
    html += page.matches.uploads.empty() ? emptyText(page) : table(page.matches.uploads);
    return html + olderLink(page) + "</main>\n</body>\n</html>\n";
}
