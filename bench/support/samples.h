#pragma once

#include <functional>
#include <vector>

/// Figures of the same thing from several rounds.
class Samples
{
public:
    void add(double value) { values_.push_back(value); }
    /// The middle one, of an even number the mean of the two in the middle.
    double median() const;
    double largest() const;

private:
    std::vector<double> values_;
};

/// Runs every contestant once in each round, every other round from the last to the first, so that what changes on the
/// machine meanwhile meets all of them.
void interleave(int rounds, const std::vector<std::function<void()>> &contestants);
