#include "page/uploadrow.h"

#include "http/timestamp.h"
#include "page/htmltext.h"

#include <algorithm>
#include <array>
#include <cstdio>

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

std::string timeHtml(const std::string &utc)
{
    if (utc.empty())
        return {};
    const auto local = localTimeOf(utc);
    return local.empty() ? value(utc) : "<time datetime=\"" + htmlText(utc) + "\">" + htmlText(local) + "</time>";
}

std::string userHtml(const IndexedUpload &user)
{
    if (!user.unsplit.empty())
        return "<bdi class=\"unsplit\">" + htmlText(user.unsplit, kMaxUnsplitBytes) + "</bdi>";
    std::string html = user.nickname.empty() ? "" : "<b>" + value(user.nickname) + "</b> ";
    if (!user.loginName.empty())
        html += "<span class=\"more\">login " + value(user.loginName) + "</span> ";
    if (!user.userId.empty())
        html += "<span class=\"more\">id " + value(user.userId) + "</span>";
    return html;
}

std::string roomsHtml(const std::vector<Room> &rooms)
{
    if (rooms.empty())
        return {};
    std::string html = "<ul>";
    for (std::size_t i = 0; i < std::min(rooms.size(), kMaxRooms); ++i) {
        html += "<li>" + (rooms[i].name.empty() ? "" : value(rooms[i].name) + " ");
        html += "<span class=\"more\">id " + value(rooms[i].id) + "</span></li>";
    }
    if (rooms.size() > kMaxRooms)
        html += "<li>and " + std::to_string(rooms.size() - kMaxRooms) + " more</li>";
    return html + "</ul>";
}

std::string link(const std::string &target, const std::string &id, const char *text)
{
    return R"(<a class="more" href=")" + htmlText(target) + R"(" aria-label=")" + text + " of " + htmlText(id) + "\">" +
           text + "</a>";
}

std::string fileHtml(const IndexedUpload &upload)
{
    const auto folder = "/uploads/" + upload.id.text;
    std::string html;
    if (upload.bytes) {
        const bool isNamed = upload.fileName && !upload.fileName->empty();
        html = R"(<a class="file" href=")" + htmlText(folder + "/file") + "\">" +
               value(isNamed ? *upload.fileName : upload.contentName) + "</a> " +
               link(folder + "/file?download", upload.id.text, "download") + " ";
    }
    return html + link(folder + "/fields", upload.id.text, "fields");
}

std::string sizeHtml(const std::optional<std::uint64_t> &size)
{
    return size ? "<span title=\"" + std::to_string(*size) + " bytes\">" + sizeText(*size) + "</span>" : std::string();
}

} // namespace

std::string uploadRow(const IndexedUpload &upload)
{
    return "<tr id=\"" + htmlText(upload.id.text) + "\">\n<th scope=\"row\">" + std::to_string(upload.id.number) +
           "</th>\n" + cell("Time", timeHtml(upload.time)) + cell("Kind", htmlText(upload.id.kind)) +
           cell("User", userHtml(upload)) + cell("Rooms", roomsHtml(upload.rooms)) + cell("File", fileHtml(upload)) +
           cell("Size", sizeHtml(upload.bytes)) + "</tr>\n";
}

std::string sizeText(std::uint64_t bytes)
{
    constexpr std::array<const char *, 6> kUnits = {"kB", "MB", "GB", "TB", "PB", "EB"};
    constexpr std::uint64_t kStep = 1000;
    if (bytes < kStep)
        return std::to_string(bytes) + " B";
    std::size_t unit = 0;
    auto whole = bytes / kStep;
    auto rest = bytes % kStep;
    for (; whole >= kStep; ++unit) {
        rest = whole % kStep;
        whole /= kStep;
    }
    const auto tenths = whole < 10 ? "." + std::to_string(rest / 100) : "";
    return std::to_string(whole) + tenths + " " + kUnits[unit];
}
