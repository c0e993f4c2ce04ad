#include "page/logreader.h"

#include "store/searchtext.h"
#include "text/characters.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::size_t kBufferBytes = std::size_t(1024) * 1024;
constexpr std::size_t kWindowBytes = std::size_t(256) * 1024;

// Longer rows come in pieces of this size, less the rest of a character of UTF-8 that would be cut.
constexpr std::size_t kMaxRowBytes = std::size_t(64) * 1024;

constexpr std::string_view kRecordBeginning = "[0000-00-00 00:00:00][";
constexpr std::size_t kTimeBytes = 19;

// Bytes behind a line end that tell whether a record begins there.
constexpr std::size_t kLookAhead = kRecordBeginning.size();

bool beginsRecord(std::string_view text)
{
    return text.size() >= kRecordBeginning.size() &&
           std::equal(kRecordBeginning.begin(), kRecordBeginning.end(), text.begin(),
                      [](char shape, char c) { return shape == '0' ? isDigit(c) : c == shape; });
}

/// Takes a text in brackets, which may hold pairs of them, off the beginning of \a text.
std::optional<std::string_view> takeBracketed(std::string_view &text)
{
    int depth = 0;
    for (std::size_t i = 0; i < text.size() && text[i] != '\n'; ++i) {
        depth += text[i] == '[' ? 1 : text[i] == ']' ? -1 : 0;
        if (depth > 0)
            continue;
        if (i == 0)
            break;
        const auto inner = text.substr(1, i - 1);
        text.remove_prefix(i + 1);
        return inner;
    }
    return std::nullopt;
}

Level takeLevel(std::string_view &text)
{
    constexpr std::array<std::pair<std::string_view, Level>, 4> kLevels = {{{"[Debug]", Level::Debug},
                                                                            {"[Warning]", Level::Warning},
                                                                            {"[Critical]", Level::Critical},
                                                                            {"[Fatal]", Level::Fatal}}};
    for (const auto &[name, level] : kLevels) {
        if (text.substr(0, name.size()) == name) {
            text.remove_prefix(name.size());
            return level;
        }
    }
    return Level::Info;
}

std::string withoutLineEnd(std::string_view text)
{
    return std::string(text.substr(0, text.find_last_not_of("\r\n") + 1));
}

/// Whether \a bytes hold all \a words, which are folded.
bool holds(std::string_view bytes, const std::vector<std::string> &words)
{
    if (words.empty())
        return true;
    const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80U; };
    std::string text(bytes);
    if (!std::all_of(bytes.begin(), bytes.end(), isAscii))
        text = folded(bytes);
    else // the same, many times as fast
        std::transform(text.begin(), text.end(), text.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? c | ' ' : c; });
    return std::all_of(words.begin(), words.end(),
                       [&text](const std::string &word) { return text.find(word) != std::string::npos; });
}

/// Reads one page.
class PageReader
{
public:
    PageReader(const StoredFile &file, const LogQuery &query, const LogLimits &limits)
        : file_(file), query_(query), limits_(limits)
    {
        const auto text = bytesOf(file, 0, kMaxRowBytes);
        std::size_t end = 0;
        for (std::size_t line = 0; !page_.hasRecords && end != std::string::npos; line = end + 1) {
            page_.hasRecords = beginsRecord(std::string_view(text).substr(line));
            end = text.find('\n', line);
        }
    }

    LogPage forward()
    {
        page_.begin = page_.end = rowBeginning(query_.from);
        std::string text;
        std::string_view rest;
        bool isLast = false;
        do {
            if (!isLast && rest.size() < kMaxRowBytes + kLookAhead) {
                rest = text = bytesOf(file_, page_.end, kBufferBytes);
                isLast = rest.size() < kBufferBytes;
            }
            const auto row = rest.substr(0, rowBytes(rest));
            keepIfWanted(row, page_.end);
            page_.end += row.size();
            rest.remove_prefix(row.size());
        } while (!rest.empty() && !isFull());
        return std::move(page_);
    }

    LogPage backward(std::uint64_t before)
    {
        page_.begin = page_.end = std::min(before, file_.size());
        while (page_.begin > 0 && !isFull()) {
            const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(page_.begin, kWindowBytes));
            const auto window = bytesOf(file_, page_.begin - count, count + kLookAhead);
            if (window.size() < count)
                break; // somebody has shortened the file
            const std::string_view text = window;
            std::vector<std::string_view> rows;
            for (auto at = page_.begin > count ? firstBeginning(text, count) : 0; at < count; at += rows.back().size())
                rows.push_back(text.substr(at, std::min(rowBytes(text.substr(at)), count - at)));
            // Up to a row for which there is no room: what is not wanted needs no other look.
            for (auto row = rows.rbegin(); row != rows.rend() && keepIfWanted(*row, page_.begin - row->size()); ++row)
                page_.begin -= row->size();
        }
        std::reverse(page_.rows.begin(), page_.rows.end());
        return std::move(page_);
    }

private:
    /// Whether \a text, behind a line end, is the beginning of a row.
    bool beginsRow(std::string_view text) const { return !page_.hasRecords || beginsRecord(text); }

    bool isFull() const
    {
        return page_.rows.size() >= limits_.maxRows || shownBytes_ >= limits_.maxShownBytes ||
               page_.end - page_.begin >= limits_.maxReadBytes;
    }

    /// Returns where the row begins that holds the byte \a at; \a at itself when that is too far in front, as it is for
    /// a further piece of a long row.
    std::uint64_t rowBeginning(std::uint64_t at) const
    {
        if (at >= file_.size())
            return file_.size();
        const auto back = std::min<std::uint64_t>(at, kMaxRowBytes - kMaxCharacterRest - 1);
        const auto text = bytesOf(file_, at - back, back + kLookAhead);
        for (auto i = std::min<std::size_t>(back, text.size()); i > 0; --i) {
            if (text[i - 1] == '\n' && beginsRow(std::string_view(text).substr(i)))
                return at - back + i;
        }
        return back == at ? 0 : at;
    }

    /// Returns where in \a text the first row begins behind a line end; 0 when none does in front of \a end.
    std::size_t firstBeginning(std::string_view text, std::size_t end) const
    {
        for (auto i = text.find('\n'); i < end - 1; i = text.find('\n', i + 1)) {
            if (beginsRow(text.substr(i + 1)))
                return i + 1;
        }
        return 0;
    }

    /// The bytes of the row that \a text begins with.
    std::size_t rowBytes(std::string_view text) const
    {
        const auto longest = text.substr(0, kMaxRowBytes);
        for (auto end = longest.find('\n'); end != std::string_view::npos; end = longest.find('\n', end)) {
            if (++end == text.size() || beginsRow(text.substr(end)))
                return end;
        }
        return shortened(text, kMaxRowBytes).size();
    }

    /// Keeps the row that \a bytes are if it is wanted. Returns false when it is and there is no room.
    bool keepIfWanted(std::string_view bytes, std::uint64_t offset)
    {
        if (bytes.empty() || !holds(bytes, query_.words))
            return true;
        auto row = parseRow(bytes, offset);
        if (row.level < query_.level)
            return true;
        if (isFull())
            return false;
        shownBytes_ += bytes.size();
        page_.rows.push_back(std::move(row));
        return true;
    }

    const StoredFile &file_;
    const LogQuery &query_;
    const LogLimits &limits_;
    LogPage page_;
    std::uint64_t shownBytes_ = 0;
};

} // namespace

LogRow parseRow(std::string_view bytes, std::uint64_t offset)
{
    LogRow row;
    row.offset = offset;
    if (!beginsRecord(bytes)) {
        row.text = withoutLineEnd(bytes);
        return row;
    }
    row.time = bytes.substr(1, kTimeBytes);
    auto rest = bytes.substr(kRecordBeginning.size() - 1);
    const auto level = takeLevel(rest);
    auto message = rest;
    const auto file = takeBracketed(message);
    const auto line = takeBracketed(message);
    const auto function = takeBracketed(message);
    const bool hasPlace = function && !line->empty() && std::all_of(line->begin(), line->end(), isDigit);
    if (hasPlace && !file->empty())
        row.place = std::string(*file) + ":" + std::string(*line);
    if (hasPlace)
        row.function = *function;
    row.level = hasPlace || level != Level::Info ? level : Level::None;
    row.text = withoutLineEnd(hasPlace ? message : rest);
    return row;
}

LogPage readLog(const StoredFile &file, const LogQuery &query, const LogLimits &limits)
{
    PageReader reader(file, query, limits);
    return query.before ? reader.backward(*query.before) : reader.forward();
}
