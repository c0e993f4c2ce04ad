#include "run/bench.h"
#include "run/measurements.h"

#include <cmath>

namespace {

constexpr double kWatchdogSeconds = 300;

/// Cost of a run with a number of groups.
struct Cost
{
    int groups = 0;
    Samples seconds; ///< without the pauses
    Samples peak;    ///< bytes
};

void addRow(ResultTable &table, const Cost &cost, const Cost &fewest)
{
    const double perUpload = cost.seconds.median() / cost.groups;
    const double perFewest = fewest.seconds.median() / fewest.groups;
    table.add(
        {QStringLiteral("%1 groups: time per upload, peak memory (%2 groups)").arg(cost.groups).arg(fewest.groups),
         durationText(perUpload) + QStringLiteral(", ") + memoryText(cost.peak.median()),
         durationText(perFewest) + QStringLiteral(", ") + memoryText(fewest.peak.median()),
         QString::number(perUpload / perFewest, 'f', 2) + QLatin1Char('x'), QString(), QString()});
}

/// How the cost goes on. Each upload rewrites the list of those that are left: n groups take a * n + b * n^2 seconds.
void addGrowth(ResultTable &table, const Cost &middle, const Cost &most)
{
    const double distance = most.groups - middle.groups;
    const double perMiddle = middle.seconds.median() / middle.groups;
    const double perMost = most.seconds.median() / most.groups;
    const double b = (perMost - perMiddle) / distance;
    const double a = perMiddle - b * middle.groups;
    // Too few groups for a growth that shows.
    if (a <= 0 || b <= 0)
        return;

    const double memory = (most.peak.median() - middle.peak.median()) / distance;
    table.add({QStringLiteral("growth: each upload, more for each group left on the list, memory per upload"),
               durationText(a) + QStringLiteral(", ") + durationText(2 * b) + QStringLiteral(", ") +
                   QString::number(memory / 1024, 'f', 1) + QStringLiteral(" KiB"),
               {},
               {},
               {},
               {}});
    const double available = kWatchdogSeconds - kPausesSeconds;
    const double limit = (std::sqrt(a * a + 4 * b * available) - a) / (2 * b);
    table.add({QStringLiteral("groups that a run can send in its five minutes, by this growth"),
               QString::number(limit, 'f', 0),
               {},
               {},
               {},
               {}});
}

} // namespace

void measureUploadCounts(Bench &bench)
{
    const Installation installation;
    const QStringList files = installation.addSmallFiles(bench.plan.groupCounts.last());
    QVector<Cost> costs;
    for (const int groups : qAsConst(bench.plan.groupCounts)) {
        costs.append(Cost());
        costs.last().groups = groups;
    }
    std::vector<std::function<void()>> contestants;
    for (Cost &cost : costs) {
        contestants.emplace_back([&] {
            const Usage usage = runUploads(bench, installation, files.mid(0, cost.groups));
            cost.seconds.add(usage.wallSeconds - kPausesSeconds);
            cost.peak.add(measuredPeak(usage));
        });
    }
    interleave(bench.plan.rounds, contestants);

    for (const Cost &cost : qAsConst(costs))
        addRow(bench.table, cost, costs.first());
    addGrowth(bench.table, costs.at(costs.size() - 2), costs.last());
}
