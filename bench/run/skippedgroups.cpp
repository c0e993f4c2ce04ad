#include "run/bench.h"
#include "run/measurements.h"

#include <stdexcept>

namespace {

// The tool forgets these groups without a request, so only its own log arrives.
Usage runSkips(Bench &bench, const Installation &installation, const QStringList &missingFiles)
{
    installation.writeList(missingFiles);
    const Usage usage = runSender(bench, installation, {installation.toolPath()});
    if (bench.sink.requestCount() != 1 || installation.listedFiles() != 0)
        throw std::runtime_error("the tool has not skipped all missing files");
    return usage;
}

} // namespace

void measureSkippedGroups(Bench &bench)
{
    const Installation installation;
    QStringList missingFiles;
    for (int i = 0; i < bench.plan.skippedGroups; ++i)
        missingFiles += QStringLiteral("/nowhere/client_%1.log").arg(i, 5, 10, QLatin1Char('0'));

    Samples seconds;
    Samples peak;
    for (int round = 0; round < bench.plan.rounds; ++round) {
        const Usage usage = runSkips(bench, installation, missingFiles);
        seconds.add(usage.wallSeconds - kPausesSeconds);
        peak.add(measuredPeak(usage));
    }
    bench.table.add({QStringLiteral("%1 skipped groups: time in all, per group, peak memory").arg(missingFiles.size()),
                     durationText(seconds.median()) + QStringLiteral(", ") +
                         durationText(seconds.median() / missingFiles.size()) + QStringLiteral(", ") +
                         memoryText(peak.median()),
                     {},
                     {},
                     {},
                     {}});
}
