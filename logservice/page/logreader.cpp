#include "page/logreader.h"

#include "store/searchtext.h"
#include "text/characters.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace {

constexpr std::size_t kBufferBytes = std::size_t(1024) * 1024;
constexpr std::size_t kWindowBytes = std::size_t(256) * 1024;

// Longer rows come in pieces of this size, less the rest of a character of UTF-8 that would be cut.
constexpr std::size_t kMaxRowBytes = std::size_t(64) * 1024;
constexpr std::size_t kMaxCharacterRest = 3;

constexpr std::string_view kRecordBeginning = "[0000-00-00 00:00:00][";
constexpr std::size_t kTimeBytes = 19;

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

/// A file and what its rows are.
struct Log
{
    explicit Log(const StoredFile &stored) : file(stored)
    {
        const auto text = bytesOf(file, 0, kMaxRowBytes);
        std::size_t end = 0;
        for (std::size_t line = 0; !hasRecords && end != std::string::npos; line = end + 1) {
            hasRecords = beginsRecord(std::string_view(text).substr(line));
            end = text.find('\n', line);
        }
    }

    /// Whether \a text, behind a line end, is the beginning of a row.
    bool beginsRow(std::string_view text) const { return !hasRecords || beginsRecord(text); }

    const StoredFile &file;
    bool hasRecords = false;
};

/// Reads a log forward, row by row.
class RowReader
{
public:
    RowReader(const Log &log, std::uint64_t from) : log_(log), bufferBegin_(from) {}

    std::uint64_t position() const { return bufferBegin_ + taken_; }

    /// The bytes of the next row, valid until the next call; empty at the end.
    std::string_view next()
    {
        if (!isLast_ && taken_ + kMaxRowBytes + kRecordBeginning.size() > buffer_.size()) {
            buffer_.erase(0, taken_);
            bufferBegin_ += std::exchange(taken_, 0);
            const auto wanted = kBufferBytes - buffer_.size();
            const auto more = bytesOf(log_.file, bufferBegin_ + buffer_.size(), wanted);
            isLast_ = more.size() < wanted;
            buffer_ += more;
        }
        const auto rest = std::string_view(buffer_).substr(taken_);
        const auto row = rest.substr(0, rowBytes(rest));
        taken_ += row.size();
        return row;
    }

private:
    std::size_t rowBytes(std::string_view rest) const
    {
        const auto longest = rest.substr(0, kMaxRowBytes);
        for (auto end = longest.find('\n'); end != std::string_view::npos; end = longest.find('\n', end)) {
            if (++end == rest.size() || log_.beginsRow(rest.substr(end)))
                return end;
        }
        return shortened(rest, kMaxRowBytes).size();
    }

    const Log &log_;
    std::string buffer_;
    std::uint64_t bufferBegin_;
    std::size_t taken_ = 0;
    bool isLast_ = false;
};

/// Returns where the row begins that holds the byte \a at; \a at itself when that is too far in front, as it is for a
/// further piece of a long row.
std::uint64_t rowBeginning(const Log &log, std::uint64_t at)
{
    if (at >= log.file.size())
        return log.file.size();
    const auto back = std::min<std::uint64_t>(at, kMaxRowBytes - kMaxCharacterRest - 1);
    const auto text = bytesOf(log.file, at - back, back + kRecordBeginning.size());
    for (auto i = std::min<std::size_t>(back, text.size()); i > 0; --i) {
        if (text[i - 1] == '\n' && log.beginsRow(std::string_view(text).substr(i)))
            return at - back + i;
    }
    return back == at ? 0 : at;
}

/// Returns where the first row begins from \a from on; \a from itself when none does in front of \a end.
std::uint64_t nextBeginning(const Log &log, std::uint64_t from, std::uint64_t end)
{
    if (from == 0)
        return 0;
    const auto text = bytesOf(log.file, from - 1, end - from + kRecordBeginning.size());
    for (auto i = text.find('\n'); i != std::string::npos && from + i < end; i = text.find('\n', i + 1)) {
        if (log.beginsRow(std::string_view(text).substr(i + 1)))
            return from + i;
    }
    return from;
}

/// Whether \a bytes hold all \a words, which are folded.
bool holds(std::string_view bytes, const std::vector<std::string> &words)
{
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

/// Returns the row that \a bytes are if it is wanted.
std::optional<LogRow> wantedRow(std::string_view bytes, std::uint64_t offset, const LogQuery &query)
{
    if (!query.words.empty() && !holds(bytes, query.words))
        return std::nullopt;
    auto row = parseRow(bytes, offset);
    if (row.level < query.level)
        return std::nullopt;
    return row;
}

void readForward(const Log &log, const LogQuery &query, const LogLimits &limits, LogPage &page)
{
    page.begin = rowBeginning(log, query.from);
    RowReader reader(log, page.begin);
    std::uint64_t shown = 0;
    do {
        const auto offset = reader.position();
        const auto bytes = reader.next();
        page.end = reader.position();
        if (bytes.empty())
            break;
        if (auto row = wantedRow(bytes, offset, query)) {
            shown += bytes.size();
            page.rows.push_back(*std::move(row));
        }
    } while (page.rows.size() < limits.maxRows && shown < limits.maxShownBytes &&
             page.end - page.begin < limits.maxReadBytes);
}

/// Takes rows off the beginning of \a page that are more than \a limits allow.
void dropFirstRows(LogPage &page, const LogLimits &limits)
{
    std::uint64_t shown = 0;
    auto first = page.rows.end();
    while (first != page.rows.begin() && static_cast<std::size_t>(page.rows.end() - first) < limits.maxRows &&
           shown < limits.maxShownBytes)
        shown += (--first)->text.size();
    if (first == page.rows.begin())
        return;
    page.begin = first->offset;
    page.rows.erase(page.rows.begin(), first);
}

void readBackward(const Log &log, const LogQuery &query, const LogLimits &limits, LogPage &page)
{
    page.begin = page.end = std::min(query.before.value_or(0), log.file.size());
    std::uint64_t shown = 0;
    while (page.begin > 0 && page.rows.size() < limits.maxRows && shown < limits.maxShownBytes &&
           page.end - page.begin < limits.maxReadBytes) {
        const auto windowEnd = page.begin;
        page.begin = nextBeginning(log, windowEnd - std::min<std::uint64_t>(windowEnd, kWindowBytes), windowEnd);
        std::vector<LogRow> rows;
        RowReader reader(log, page.begin);
        while (reader.position() < windowEnd) {
            const auto offset = reader.position();
            const auto bytes = reader.next();
            if (bytes.empty())
                break;
            if (auto row = wantedRow(bytes.substr(0, windowEnd - offset), offset, query)) {
                shown += bytes.size();
                rows.push_back(*std::move(row));
            }
        }
        page.rows.insert(page.rows.begin(), std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
    }
    dropFirstRows(page, limits);
}

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
    const Log log(file);
    LogPage page;
    page.hasRecords = log.hasRecords;
    if (query.before)
        readBackward(log, query, limits, page);
    else
        readForward(log, query, limits, page);
    return page;
}
