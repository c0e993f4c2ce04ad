#include "page/uploadchart.h"

#include "page/html.h"
#include "text/timestamp.h"

#include <algorithm>
#include <numeric>

namespace {

constexpr int kBarWidth = 20; // with the gap
constexpr int kGap = 4;
constexpr int kHeight = 100;

using CountsByKind = std::map<std::string, std::uint64_t>;

std::uint64_t sum(const CountsByKind &counts)
{
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t(0),
                           [](std::uint64_t all, const auto &count) { return all + count.second; });
}

/// Such as "2026-11-22: 1 crash, 3 logfile".
std::string inWords(const std::string &what, const CountsByKind &counts)
{
    std::string words;
    for (const auto &[kind, count] : counts)
        words += (words.empty() ? ": " : ", ") + std::to_string(count) + " " + kind;
    return htmlText(what + words);
}

std::string attribute(const char *name, const std::string &value)
{
    return std::string(" ") + name + "=\"" + htmlText(value) + "\"";
}

/// The bar of a day, \a x from the left, where \a highest uploads take the whole height.
std::string bar(int x, const CountsByKind &counts, std::uint64_t highest)
{
    std::string svg;
    double y = kHeight;
    for (const auto &[kind, count] : counts) {
        const double height = kHeight * static_cast<double>(count) / static_cast<double>(highest);
        y -= height;
        svg += "<rect" + attribute("class", "kind-" + kind) + attribute("x", std::to_string(x)) +
               attribute("y", std::to_string(y)) + attribute("width", std::to_string(kBarWidth - kGap)) +
               attribute("height", std::to_string(height)) + "/>";
    }
    return svg;
}

std::string legend(const CountsByKind &totals)
{
    std::string html = R"(<ul class="legend">)";
    for (const auto &[kind, count] : totals)
        html += "<li><svg" + attribute("class", "key kind-" + kind) +
                R"( viewBox="0 0 1 1" aria-hidden="true"><rect width="1" height="1"/></svg> )" + htmlText(kind) + " " +
                std::to_string(count) + "</li>";
    return html + "</ul>";
}

} // namespace

std::string uploadChart(const std::vector<DayCount> &counts, const Parameters &parameters)
{
    if (counts.empty())
        return {};
    const auto last = counts.back().day;
    const auto first = dayAfter(last, 1 - kChartDays);
    std::map<std::string, CountsByKind> days;
    CountsByKind totals;
    std::uint64_t highest = 0;
    for (const auto &[day, kind, count] : counts) {
        if (day < first)
            continue;
        days[day][kind] += count;
        totals[kind] += count;
        highest = std::max(highest, sum(days[day]));
    }

    std::string bars;
    for (int i = 0; i < kChartDays; ++i) {
        const auto day = days.find(dayAfter(first, i));
        if (day == days.end())
            continue;
        auto ofDay = withoutPlace(parameters);
        ofDay["since"] = ofDay["until"] = day->first;
        bars += htmlLink(address("/", ofDay), "<title>" + inWords(day->first, day->second) + "</title>" +
                                                  bar(i * kBarWidth, day->second, highest)) +
                "\n";
    }
    return "<figure class=\"chart\">\n<svg viewBox=\"0 0 " + std::to_string(kChartDays * kBarWidth - kGap) + " " +
           std::to_string(kHeight) +
           R"(" preserveAspectRatio="none" role="group" aria-labelledby="chart-title chart-text">)"
           "\n<title id=\"chart-title\">Uploads per day by kind</title>\n<desc id=\"chart-text\">" +
           inWords(first + " to " + last, totals) + "</desc>\n" + bars + "</svg>\n<figcaption><span>" +
           htmlText(first) + "</span><span>at most " + std::to_string(highest) + " a day</span><span>" +
           htmlText(last) + "</span>" + legend(totals) + "</figcaption>\n</figure>\n";
}
