#include "support/sinkconnection.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr char kHeadEnd[] = "\r\n\r\n";
constexpr char kAnswer[] =
    "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 10\r\n\r\n{\"Code\":0}";

/// Value of a header field, lower case; empty when the head has none. The head is lower case, too.
std::string fieldValue(const std::string &head, const std::string &name)
{
    const std::string start = "\r\n" + name + ":";
    const auto found = head.find(start);
    if (found == std::string::npos)
        return {};
    const auto value = head.find_first_not_of(' ', found + start.size());
    return head.substr(value, head.find('\r', value) - value);
}

} // namespace

SinkConnection::SinkConnection(int descriptor) : descriptor_(descriptor) {}

SinkConnection::~SinkConnection()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

SinkConnection::SinkConnection(SinkConnection &&other) noexcept : descriptor_(-1)
{
    *this = std::move(other);
}

SinkConnection &SinkConnection::operator=(SinkConnection &&other) noexcept
{
    std::swap(descriptor_, other.descriptor_);
    head_ = std::move(other.head_);
    hasHead_ = other.hasHead_;
    bodySize_ = other.bodySize_;
    missing_ = other.missing_;
    start_ = other.start_;
    return *this;
}

std::size_t SinkConnection::take(const char *data, std::size_t size)
{
    if (!hasHead_)
        return takeHead(data, size);
    const auto taken = static_cast<std::size_t>(std::min(missing_, static_cast<long long>(size)));
    missing_ -= static_cast<long long>(taken);
    return taken;
}

std::size_t SinkConnection::takeHead(const char *data, std::size_t size)
{
    const std::size_t known = head_.size();
    if (known == 0)
        start_ = Clock::now();
    head_.append(data, size);
    const auto end = head_.find(kHeadEnd);
    if (end == std::string::npos)
        return size;
    head_.resize(end + sizeof kHeadEnd - 1);
    hasHead_ = true;
    readHead();
    return head_.size() - known;
}

void SinkConnection::readHead()
{
    std::transform(head_.begin(), head_.end(), head_.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    const std::string length = fieldValue(head_, "content-length");
    if (length.empty())
        throw std::runtime_error("the sink got a request without a length: " + head_.substr(0, head_.find('\r')));
    bodySize_ = missing_ = std::stoll(length);
    if (fieldValue(head_, "expect") == "100-continue")
        send("HTTP/1.1 100 Continue\r\n\r\n");
}

double SinkConnection::seconds() const
{
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

void SinkConnection::answer()
{
    head_.clear();
    hasHead_ = false;
    send(kAnswer);
}

void SinkConnection::send(const std::string &text) const
{
    // A client that is gone has no use for its answer.
    (void)::send(descriptor_, text.data(), text.size(), 0);
}
