#include "page/uploadchart.h"

#include "page/htmltext.h"
#include "text/timestamp.h"

#include <algorithm>

namespace {

constexpr int kBarWidth = 20; // with the gap
constexpr int kGap = 4;
constexpr int kHeight = 100;

/// Counts by kind, in the order of the kinds.
using Counts = std::vector<std::uint64_t>;

Counts countsOf(const std::string &day, const std::vector<DayCount> &counts, const std::vector<std::string> &kinds)
{
    Counts found(kinds.size(), 0);
    for (const auto &count : counts) {
        const auto kind = std::find(kinds.begin(), kinds.end(), count.kind);
        if (count.day == day && kind != kinds.end())
            found[static_cast<std::size_t>(kind - kinds.begin())] += count.count;
    }
    return found;
}

std::uint64_t sum(const Counts &counts)
{
    std::uint64_t all = 0;
    for (const auto count : counts)
        all += count;
    return all;
}

/// Such as "2026-11-22: 3 logfile, 1 crash".
std::string inWords(const std::string &what, const Counts &counts, const std::vector<std::string> &kinds)
{
    std::string words;
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        if (counts[i] > 0)
            words += (words.empty() ? ": " : ", ") + std::to_string(counts[i]) + " " + kinds[i];
    }
    return what + words;
}

std::string attribute(const char *name, const std::string &value)
{
    return std::string(" ") + name + "=\"" + htmlText(value) + "\"";
}

std::string rect(const std::string &kind, int x, double y, double height)
{
    return "<rect" + attribute("class", "kind-" + kind) + attribute("x", std::to_string(x)) +
           attribute("y", std::to_string(y)) + attribute("width", std::to_string(kBarWidth - kGap)) +
           attribute("height", std::to_string(height)) + "/>";
}

/// The bar of a day, \a x from the left, where \a highest uploads take the whole height.
std::string bar(int x, const Counts &counts, std::uint64_t highest, const std::vector<std::string> &kinds)
{
    std::string svg;
    double y = kHeight;
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        if (counts[i] == 0)
            continue;
        const double height = kHeight * static_cast<double>(counts[i]) / static_cast<double>(highest);
        y -= height;
        svg += rect(kinds[i], x, y, height);
    }
    return svg;
}

std::string legend(const Counts &totals, const std::vector<std::string> &kinds)
{
    std::string html = R"(<ul class="legend">)";
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        if (totals[i] > 0)
            html += "<li><svg" + attribute("class", "key kind-" + kinds[i]) +
                    R"( viewBox="0 0 1 1" aria-hidden="true"><rect width="1" height="1"/></svg> )" +
                    htmlText(kinds[i]) + " " + std::to_string(totals[i]) + "</li>";
    }
    return html + "</ul>";
}

} // namespace

std::string uploadChart(const std::vector<DayCount> &counts, const std::vector<std::string> &kinds,
                        const Parameters &parameters)
{
    if (counts.empty())
        return {};
    const auto last = counts.back().day;
    std::vector<std::string> days;
    std::uint64_t highest = 1;
    Counts totals(kinds.size(), 0);
    for (int back = kChartDays - 1; back >= 0; --back) {
        days.push_back(dayAfter(last, -back));
        const auto ofDay = countsOf(days.back(), counts, kinds);
        highest = std::max(highest, sum(ofDay));
        std::transform(ofDay.begin(), ofDay.end(), totals.begin(), totals.begin(), std::plus<>());
    }

    std::string svg;
    for (std::size_t i = 0; i < days.size(); ++i) {
        const auto ofDay = countsOf(days[i], counts, kinds);
        if (sum(ofDay) == 0)
            continue;
        auto link = parameters;
        link["since"] = link["until"] = days[i];
        link.erase("before");
        link.erase("after");
        svg += "<a" + attribute("href", address("/", link)) + "><title>" + htmlText(inWords(days[i], ofDay, kinds)) +
               "</title>" + bar(static_cast<int>(i) * kBarWidth, ofDay, highest, kinds) + "</a>\n";
    }
    const auto width = std::to_string(static_cast<int>(days.size()) * kBarWidth - kGap);
    return "<figure class=\"chart\">\n<svg viewBox=\"0 0 " + width + " " + std::to_string(kHeight) +
           R"(" preserveAspectRatio="none" role="group" aria-labelledby="chart-title chart-text">)"
           "\n<title id=\"chart-title\">Uploads per day by kind</title>\n<desc id=\"chart-text\">" +
           htmlText(inWords(days.front() + " to " + last, totals, kinds)) + "</desc>\n" + svg +
           "</svg>\n<figcaption><span>" + htmlText(days.front()) + "</span><span>at most " + std::to_string(highest) +
           " a day</span><span>" + htmlText(last) + "</span>" + legend(totals, kinds) + "</figcaption>\n</figure>\n";
}
