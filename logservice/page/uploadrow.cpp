#include "page/uploadrow.h"

#include "page/html.h"
#include "text/timestamp.h"

#include <algorithm>

namespace {

// The rest is found behind the link to the fields.
constexpr std::size_t kMaxValueBytes = 200;
constexpr std::size_t kMaxUnsplitBytes = 500;
constexpr std::size_t kMaxRooms = 5;

/// \a label stands before the content where the table is too wide to be one.
std::string cell(const char *label, const std::string &html)
{
    return "<td data-label=\"" + std::string(label) + "\"><div>" + (html.empty() ? "-" : html) + "</div></td>\n";
}

std::string value(const std::string &text)
{
    return "<bdi>" + htmlText(text, kMaxValueBytes) + "</bdi>";
}

std::string link(const std::string &target, const std::string &id, const char *text)
{
    return R"(<a class="more" href=")" + htmlText(target) + R"(" aria-label=")" + text + " of " + htmlText(id) + "\">" +
           text + "</a>";
}

std::string fileHtml(const IndexedUpload &upload)
{
    std::string html;
    if (upload.bytes)
        html = R"(<a class="file" href="/uploads/)" + htmlText(upload.id.text) + "/log\"><bdi>" + titleHtml(upload) +
               "</bdi></a> ";
    return html + fileLinks(upload);
}

std::string sizeHtml(const std::optional<std::uint64_t> &size)
{
    return size ? "<span title=\"" + std::to_string(*size) + " bytes\">" + sizeText(*size) + "</span>" : std::string();
}

} // namespace

std::string uploadRow(const IndexedUpload &upload)
{
    return "<tr id=\"" + htmlText(upload.id.text) + "\">\n<th scope=\"row\">" + std::to_string(upload.id.number) +
           "</th>\n" + cell("Time", timeHtml(upload)) + cell("Kind", htmlText(upload.id.kind)) +
           cell("User", userHtml(upload)) + cell("Rooms", roomsHtml(upload)) + cell("File", fileHtml(upload)) +
           cell("Size", sizeHtml(upload.bytes)) + "</tr>\n";
}

std::string userHtml(const IndexedUpload &upload)
{
    if (!upload.unsplit.empty())
        return R"(<bdi class="unsplit">)" + htmlText(upload.unsplit, kMaxUnsplitBytes) + "</bdi>";
    std::string html = upload.nickname.empty() ? "" : "<b>" + value(upload.nickname) + "</b> ";
    if (!upload.loginName.empty())
        html += R"(<span class="more">login )" + value(upload.loginName) + "</span> ";
    if (!upload.userId.empty())
        html += R"(<span class="more">id )" + value(upload.userId) + "</span>";
    return html;
}

std::string roomsHtml(const IndexedUpload &upload)
{
    const auto &rooms = upload.rooms;
    if (rooms.empty())
        return {};
    std::string html = "<ul>";
    for (std::size_t i = 0; i < std::min(rooms.size(), kMaxRooms); ++i) {
        html += "<li>" + (rooms[i].name.empty() ? "" : value(rooms[i].name) + " ");
        html += R"(<span class="more">id )" + value(rooms[i].id) + "</span></li>";
    }
    if (rooms.size() > kMaxRooms)
        html += "<li>and " + std::to_string(rooms.size() - kMaxRooms) + " more</li>";
    return html + "</ul>";
}

std::string timeHtml(const IndexedUpload &upload)
{
    if (!isUtcTime(upload.time))
        return upload.time.empty() ? std::string() : value(upload.time);
    constexpr std::size_t kDayBytes = 10;
    const auto shown = upload.time.substr(0, kDayBytes) + " " + upload.time.substr(kDayBytes + 1, 8);
    return "<time datetime=\"" + upload.time + "\">" + shown + "</time>";
}

std::string fileLinks(const IndexedUpload &upload)
{
    const auto folder = "/uploads/" + upload.id.text;
    std::string html;
    if (upload.bytes)
        html = link(folder + "/file", upload.id.text, "raw") + " " +
               link(folder + "/file?download", upload.id.text, "download") + " ";
    return html + link(folder + "/fields", upload.id.text, "fields");
}

std::string titleHtml(const IndexedUpload &upload)
{
    const auto name = upload.fileName.value_or("");
    return htmlText(!upload.message.empty() ? upload.message
                    : name.empty()          ? upload.contentName
                                            : name,
                    kMaxValueBytes);
}

std::string sizeText(std::uint64_t bytes)
{
    if (bytes < 1000)
        return std::to_string(bytes) + " B";
    const char *unit = "kMGTPE";
    for (; bytes >= 1000000; bytes /= 1000)
        ++unit;
    const auto tenths = bytes < 10000 ? "." + std::to_string(bytes % 1000 / 100) : "";
    return std::to_string(bytes / 1000) + tenths + " " + *unit + "B";
}
