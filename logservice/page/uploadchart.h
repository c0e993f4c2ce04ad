#pragma once

#include "page/parameters.h"

#include <string>
#include <vector>

/// Days that the chart shows, and that are counted for it at most.
constexpr int kChartDays = 30;

/// Returns bars for the days up to the newest of \a counts as an inline SVG: one for each day, divided by kind, and a
/// link to that day of the list with \a parameters. Empty without uploads.
std::string uploadChart(const std::vector<DayCount> &counts, const Parameters &parameters);
