#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

constexpr double kDaySeconds = 86400;

/// The starts of all machines in one day, in their order.
class DayOfStarts
{
public:
    /// Draws \a perMachine starts for each of \a machines: the hour by the hours of an office, the second at random.
    void draw(std::uint64_t machines, int perMachine, std::mt19937_64 &random);

    bool isOver() const { return next_ == machines_.size(); }
    /// Seconds from the beginning of the day to the next start. Those of one second are spread over it evenly.
    double nextSecond();
    /// Index of the machine of the next start, which is the one behind it from then on.
    std::uint32_t take() { return machines_[next_++]; }

private:
    std::vector<std::uint32_t> machines_;
    std::vector<std::uint32_t> before_; ///< how many starts there are before each second
    std::size_t next_ = 0;
    std::size_t second_ = 0; ///< of the start before
};
