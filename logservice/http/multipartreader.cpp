#include "http/multipartreader.h"

#include "http/refusal.h"

#include <algorithm>

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeaderEnd = "\r\n\r\n";
constexpr std::string_view kClosing = "--";
constexpr std::size_t kMaxHeaderBytes = std::size_t{64} * 1024;
constexpr char kBehind[] = "there are bytes behind the closing boundary";

} // namespace

MultipartReader::MultipartReader(const std::string &boundary, PartSink &sink)
    : delimiter_("\r\n--" + boundary), sink_(sink), buffer_(kLineEnd)
{
}

void MultipartReader::feed(std::string_view bytes)
{
    buffer_ += bytes;
    while (step()) {
    }
}

void MultipartReader::finish()
{
    if (state_ != State::Closed)
        throw Refusal(400, "the form ends before its closing boundary");
    if (!buffer_.empty() && buffer_ != kLineEnd)
        throw Refusal(400, kBehind);
}

/// Returns whether something of the buffer was understood and the rest is worth another look.
bool MultipartReader::step()
{
    switch (state_) {
    case State::Beginning:
        return readBeginning();
    case State::BoundaryLine:
        return readBoundaryLine();
    case State::Header:
        return readHeader();
    case State::Body:
        return readBody();
    case State::Closed:
        break;
    }
    if (kLineEnd.substr(0, buffer_.size()) != buffer_)
        throw Refusal(400, kBehind);
    return false;
}

bool MultipartReader::readBeginning()
{
    const auto known = std::min(buffer_.size(), delimiter_.size());
    if (buffer_.compare(0, known, delimiter_, 0, known) != 0)
        throw Refusal(400, "the form does not begin with the boundary that the content type names");
    if (known < delimiter_.size())
        return false;
    drop(known);
    state_ = State::BoundaryLine;
    return true;
}

bool MultipartReader::readBoundaryLine()
{
    if (buffer_.size() < kLineEnd.size())
        return false;
    const auto end = std::string_view(buffer_).substr(0, kLineEnd.size());
    if (end != kLineEnd && end != kClosing)
        throw Refusal(400, "a boundary is followed by other text in its line");
    state_ = end == kClosing ? State::Closed : State::Header;
    drop(kLineEnd.size());
    return true;
}

bool MultipartReader::readHeader()
{
    // A part without header lines: the line end of the boundary is part of its header's end.
    if (std::string_view(buffer_).substr(0, kLineEnd.size()) == kLineEnd)
        parsePartHeader({});

    const auto end = buffer_.find(kHeaderEnd, searched_);
    if (std::min(end, buffer_.size()) > kMaxHeaderBytes)
        throw Refusal(400, "the header of a part is longer than " + std::to_string(kMaxHeaderBytes) + " bytes");
    if (end == std::string::npos) {
        searched_ = buffer_.size() - std::min(buffer_.size(), kHeaderEnd.size() - 1);
        return false;
    }
    sink_.beginPart(parsePartHeader(std::string_view(buffer_).substr(0, end)));
    drop(end + kHeaderEnd.size());
    searched_ = 0;
    state_ = State::Body;
    return true;
}

bool MultipartReader::readBody()
{
    const auto end = buffer_.find(delimiter_);
    const bool isComplete = end != std::string::npos;
    // The last bytes may be the beginning of a delimiter whose rest has not come yet.
    const auto known = isComplete ? end : buffer_.size() - std::min(buffer_.size(), delimiter_.size() - 1);
    if (known > 0)
        sink_.partData(std::string_view(buffer_).substr(0, known));
    if (!isComplete) {
        drop(known);
        return false;
    }
    sink_.endPart();
    drop(end + delimiter_.size());
    state_ = State::BoundaryLine;
    return true;
}

void MultipartReader::drop(std::size_t bytes)
{
    buffer_.erase(0, bytes);
}
