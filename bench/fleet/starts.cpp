#include "fleet/starts.h"

#include <array>
#include <numeric>

namespace {

// Starts in each hour of a day: few at night, most when work begins, some after lunch and in the evening.
constexpr std::array<int, 24> kStartsByHour = {1, 1,  1, 1, 1, 2, 4, 9, 16, 15, 10, 8,
                                               8, 10, 9, 8, 7, 7, 6, 5, 4,  3,  2,  2};

} // namespace

void DayOfStarts::draw(std::uint64_t machines, int perMachine, std::mt19937_64 &random)
{
    std::discrete_distribution<std::uint32_t> hour(kStartsByHour.begin(), kStartsByHour.end());
    std::uniform_int_distribution<std::uint32_t> second(0, 3599);
    std::vector<std::uint32_t> seconds(machines * std::uint64_t(perMachine));
    before_.assign(std::size_t(kDaySeconds) + 1, 0);
    for (std::uint32_t &at : seconds) {
        at = 3600 * hour(random) + second(random);
        ++before_[at + 1];
    }
    std::partial_sum(before_.begin(), before_.end(), before_.begin());
    machines_.resize(seconds.size());
    std::vector<std::uint32_t> places(before_);
    for (std::size_t i = 0; i < seconds.size(); ++i)
        machines_[places[seconds[i]]++] = std::uint32_t(i % machines);
    next_ = 0;
    second_ = 0;
}

double DayOfStarts::nextSecond()
{
    while (before_[second_ + 1] <= next_)
        ++second_;
    const double count = before_[second_ + 1] - before_[second_];
    return double(second_) + (double(next_ - before_[second_]) + 0.5) / count;
}
