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
constexpr std::size_t kMaxCharacterRest = 3;

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
            page_.end += takeRow(rest, page_.end, file_.size());
        } while (!rest.empty() && !isFull());
        return std::move(page_);
    }

    LogPage backward(std::uint64_t before)
    {
        page_.begin = page_.end = std::min(before, file_.size());
        while (page_.begin > 0 && !isFull()) {
            const auto end = page_.begin;
            page_.begin -= std::min<std::uint64_t>(end, kWindowBytes);
            const auto text = bytesOf(file_, page_.begin, end - page_.begin + kLookAhead);
            std::string_view rest = text;
            if (page_.begin > 0) {
                const auto first = nextBeginning(rest, end - page_.begin);
                rest.remove_prefix(first);
                page_.begin += first;
            }
            const auto later = page_.rows.size();
            for (auto at = page_.begin; at < end && !rest.empty();)
                at += takeRow(rest, at, end);
            const auto middle = page_.rows.begin() + static_cast<std::ptrdiff_t>(later);
            std::rotate(page_.rows.begin(), middle, page_.rows.end());
        }
        dropFirstRows();
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
    std::size_t nextBeginning(std::string_view text, std::size_t end) const
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

    /// Takes the row that begins at \a offset off \a rest, but nothing from \a end on; keeps it if it is wanted.
    /// Returns how many bytes that are.
    std::size_t takeRow(std::string_view &rest, std::uint64_t offset, std::uint64_t end)
    {
        const auto bytes = rest.substr(0, std::min<std::uint64_t>(rowBytes(rest), end - offset));
        rest.remove_prefix(bytes.size());
        if (bytes.empty() || !holds(bytes, query_.words))
            return bytes.size();
        auto row = parseRow(bytes, offset);
        if (row.level >= query_.level) {
            shownBytes_ += bytes.size();
            page_.rows.push_back(std::move(row));
        }
        return bytes.size();
    }

    /// Takes rows off the beginning of the page that are more than the limits allow.
    void dropFirstRows()
    {
        auto &rows = page_.rows;
        std::uint64_t shown = 0;
        auto first = rows.end();
        while (first != rows.begin() && static_cast<std::size_t>(rows.end() - first) < limits_.maxRows &&
               shown < limits_.maxShownBytes)
            shown += (--first)->text.size();
        if (first == rows.begin())
            return;
        page_.begin = first->offset;
        rows.erase(rows.begin(), first);
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
