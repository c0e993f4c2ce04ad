#pragma once

#include <chrono>
#include <cstddef>
#include <string>

/// One connection to the sink: takes an HTTP request apart just far enough to find its end.
class SinkConnection
{
public:
    using Clock = std::chrono::steady_clock;

    explicit SinkConnection(int descriptor);
    ~SinkConnection();
    SinkConnection(SinkConnection &&other) noexcept;
    SinkConnection &operator=(SinkConnection &&other) noexcept;

    int descriptor() const { return descriptor_; }

    /// Takes up to \a size received bytes, none of them beyond the end of the request. Returns how many were taken; the
    /// rest belongs to the next request.
    std::size_t take(const char *data, std::size_t size);
    /// Whether a whole request was taken. answer() makes room for the next one.
    bool isComplete() const { return hasHead_ && missing_ == 0; }

    /// Bytes of the request's body.
    long long bodySize() const { return bodySize_; }
    /// Since the request's first bytes were taken.
    double seconds() const;

    /// Answers the complete request with status 200 and {"Code":0}.
    void answer();

private:
    std::size_t takeHead(const char *data, std::size_t size);
    void readHead();
    void send(const std::string &text) const;

    int descriptor_;
    std::string head_;
    bool hasHead_ = false;
    long long bodySize_ = 0;
    long long missing_ = 0; ///< bytes of the body still to come
    Clock::time_point start_;
};
