#include "http/partheader.h"

#include "http/refusal.h"
#include "text/quotedtext.h"

#include <algorithm>

#include <strings.h>

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kDisposition = "Content-Disposition:";
constexpr std::size_t kMaxBoundaryBytes = 70; // RFC 2046

/// Whether \a text begins with \a prefix in letters of either case.
bool beginsWith(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && ::strncasecmp(text.data(), prefix.data(), prefix.size()) == 0;
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t";
    const auto begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

/// Takes \a prefix and the blanks in front of it off \a text.
bool takeOff(std::string_view &text, std::string_view prefix)
{
    const auto rest = trimmed(text);
    if (!beginsWith(rest, prefix))
        return false;
    text = rest.substr(prefix.size());
    return true;
}

PartHeader parseDisposition(std::string_view value)
{
    const auto refusal = [value = std::string(value)] {
        return Refusal(400, "a part has the malformed Content-Disposition " + quotedText(value));
    };

    auto rest = value;
    if (!takeOff(rest, "form-data") || !takeOff(rest, ";") || !takeOff(rest, "name=\""))
        throw refusal();
    const auto nameEnd = rest.find('"');
    if (nameEnd == std::string_view::npos)
        throw refusal();

    PartHeader header;
    header.name = rest.substr(0, nameEnd);
    rest.remove_prefix(nameEnd + 1);
    if (rest.empty())
        return header;

    if (!takeOff(rest, ";") || !takeOff(rest, "filename=\"") || rest.empty() || rest.back() != '"')
        throw refusal();
    rest.remove_suffix(1);
    header.fileName = rest;
    return header;
}

} // namespace

PartHeader parsePartHeader(std::string_view lines)
{
    std::optional<PartHeader> header;
    while (!lines.empty()) {
        const auto end = std::min(lines.find(kLineEnd), lines.size());
        const auto line = lines.substr(0, end);
        lines.remove_prefix(std::min(end + kLineEnd.size(), lines.size()));

        if (const auto colon = line.find(':'); colon == 0 || colon == std::string_view::npos)
            throw Refusal(400, "a part has the malformed header line " + quotedText(line));
        if (!beginsWith(line, kDisposition))
            continue;
        if (header)
            throw Refusal(400, "a part has two Content-Disposition headers");
        header = parseDisposition(trimmed(line.substr(kDisposition.size())));
    }
    if (!header)
        throw Refusal(400, "a part has no Content-Disposition header");
    return *header;
}

std::string formBoundary(std::string_view contentType)
{
    auto rest = contentType;
    if (!takeOff(rest, "multipart/form-data") || rest.find_first_not_of("; \t") == 0)
        throw Refusal(400, "the content type is " + quotedText(contentType) + ", not multipart/form-data");
    if (!takeOff(rest, ";") || !takeOff(rest, "boundary="))
        throw Refusal(400, "the content type names no boundary");

    auto boundary = trimmed(rest);
    if (boundary.size() >= 2 && boundary.front() == '"' && boundary.back() == '"')
        boundary = boundary.substr(1, boundary.size() - 2);
    if (boundary.empty() || boundary.size() > kMaxBoundaryBytes ||
        boundary.find_first_of("\";\r\n") != std::string_view::npos || boundary.back() == ' ')
        throw Refusal(400, "the content type names the unusable boundary " + quotedText(boundary));
    return std::string(boundary);
}
