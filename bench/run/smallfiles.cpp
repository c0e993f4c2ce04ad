#include "run/bench.h"
#include "run/measurements.h"

#include <QFileInfo>

namespace {

/// A file system in memory, where Linux has it.
constexpr char kMemoryFolder[] = "/dev/shm";

/// Seconds for each file.
double timeTool(Bench &bench, const Installation &installation, const QStringList &files)
{
    return (runUploads(bench, installation, files).wallSeconds - kPausesSeconds) / files.size();
}

double timeCurl(Bench &bench, const Installation &installation, const QStringList &files)
{
    double seconds = 0;
    for (const QString &file : files)
        seconds += runSender(bench, installation, curlCommand(file)).wallSeconds;
    return seconds / files.size();
}

void compare(Bench &bench, double limit, const QString &what, const Installation &installation)
{
    const QStringList files = installation.addSmallFiles(bench.plan.smallFiles);
    Samples ours;
    Samples peer;
    interleave(bench.plan.rounds, {[&] { ours.add(timeTool(bench, installation, files)); },
                                   [&] { peer.add(timeCurl(bench, installation, files)); }});
    bench.table.addAtMost(limit, what, durationText(ours.median()), durationText(peer.median()),
                          ours.median() / peer.median());
}

} // namespace

void measureSmallFiles(Bench &bench)
{
    compare(bench, 0.5,
            QStringLiteral("%1 small files, time per file (curl -F once per file)").arg(bench.plan.smallFiles),
            Installation());

    // The list is flushed to the disk after each file: without a disk there is left what the tool does by itself.
    const QString memory = QLatin1String(kMemoryFolder);
    if (QFileInfo(memory).isWritable()) {
        compare(bench, 0, QStringLiteral("the same in a file system in memory: without the flushes of the list"),
                Installation(Sandbox::builtTool(), memory));
    }
}
