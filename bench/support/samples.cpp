#include "support/samples.h"

#include <algorithm>
#include <iterator>

double Samples::median() const
{
    std::vector<double> sorted = values_;
    std::sort(sorted.begin(), sorted.end());
    const std::size_t middle = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted.at(middle) : (sorted.at(middle - 1) + sorted.at(middle)) / 2;
}

double Samples::largest() const
{
    return *std::max_element(values_.begin(), values_.end());
}

void interleave(int rounds, const std::vector<std::function<void()>> &contestants)
{
    for (int round = 0; round < rounds; ++round) {
        if (round % 2 == 0) {
            for (const auto &contestant : contestants)
                contestant();
        } else {
            std::for_each(contestants.rbegin(), contestants.rend(), [](const auto &contestant) { contestant(); });
        }
    }
}
