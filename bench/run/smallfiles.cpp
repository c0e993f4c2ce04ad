#include "run/bench.h"
#include "run/measurements.h"

void measureSmallFiles(Bench &bench)
{
    const Installation installation(builtTool());
    const QStringList files = installation.addSmallFiles(bench.plan.smallFiles);
    Samples ours;
    Samples peer;
    const auto runTool = [&] {
        ours.add((runUploads(bench, installation, files).wallSeconds - kPausesSeconds) / files.size());
    };
    const auto runCurl = [&] {
        double seconds = 0;
        for (const QString &file : files)
            seconds += runSender(bench, installation, curlCommand(file)).wallSeconds;
        peer.add(seconds / files.size());
    };
    interleave(bench.plan.rounds, {runTool, runCurl});
    bench.table.addAtMost(0.5,
                          QStringLiteral("%1 small files, time per file (curl -F once per file)").arg(files.size()),
                          durationText(ours.median()), durationText(peer.median()), ours.median() / peer.median());
}
