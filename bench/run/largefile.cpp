#include "run/bench.h"
#include "run/measurements.h"

#include <atomic>
#include <stdexcept>

namespace {

constexpr long long kMiB = 1024 * 1024;
constexpr double kMemoryLimit = 4.0 * kMiB;

QString rateText(double bytesPerSecond)
{
    return QString::number(bytesPerSecond / kMiB, 'f', 0) + QStringLiteral(" MiB/s");
}

/// Keeps the rate of the largest request of a run, which is the file and not the tool's own log.
class RateMeter
{
public:
    Sink::Observer observer()
    {
        return [this](const SinkRequest &request) {
            if (request.bodySize > largest_) {
                largest_ = request.bodySize;
                rate_ = static_cast<double>(request.bodySize) / request.seconds;
            }
        };
    }
    double rate(long long fileSize) const
    {
        if (largest_ < fileSize)
            throw std::runtime_error("the large file has not arrived");
        return rate_;
    }

private:
    // Written on the sink's thread while the process runs that is waited for.
    std::atomic<long long> largest_{0};
    std::atomic<double> rate_{0};
};

} // namespace

void measureThroughput(Bench &bench)
{
    const Installation installation;
    const long long size = bench.plan.throughputFileSize;
    const QString file = installation.addSparseFile(QStringLiteral("large.log"), size);
    const auto rateOf = [&](const QStringList &command) {
        RateMeter meter;
        runSender(bench, installation, command, {meter.observer(), {}});
        return meter.rate(size);
    };
    Samples ours;
    Samples minimal;
    Samples curl;
    const auto runTool = [&] {
        RateMeter meter;
        runUploads(bench, installation, {file}, {meter.observer(), {}});
        ours.add(meter.rate(size));
    };
    const auto runMinimal = [&] {
        minimal.add(rateOf({builtProgram(QStringLiteral("minimalpost")), logFileUrl(), file}));
    };
    const auto runCurl = [&] { curl.add(rateOf(curlCommand(file))); };
    interleave(bench.plan.throughputRounds, {runTool, runMinimal, runCurl});

    const QString what = QStringLiteral("throughput of a file of %1 MiB ").arg(size / kMiB);
    bench.table.addAtLeast(0.95, what + QStringLiteral("(minimal Qt program)"), rateText(ours.median()),
                           rateText(minimal.median()), ours.median() / minimal.median());
    bench.table.add({what + QStringLiteral("(curl -F)"),
                     rateText(ours.median()),
                     rateText(curl.median()),
                     QString::number(ours.median() / curl.median(), 'f', 2) + QLatin1Char('x'),
                     {},
                     {}});
}

void measureLargeFileMemory(Bench &bench)
{
    const Installation installation;
    const QString large = installation.addSparseFile(QStringLiteral("large.log"), bench.plan.memoryFileSize);
    const QString small = installation.addSparseFile(QStringLiteral("small.log"), 1024);
    Samples ours;
    Samples peer;
    interleave(bench.plan.rounds, {[&] { ours.add(measuredPeak(runUploads(bench, installation, {large}))); },
                                   [&] { peer.add(measuredPeak(runUploads(bench, installation, {small}))); }});
    const double more = ours.median() - peer.median();
    bench.table.add(
        {QStringLiteral("peak memory, one file of %1 MiB (one of 1 KiB)").arg(bench.plan.memoryFileSize / kMiB),
         memoryText(ours.median()), memoryText(peer.median()),
         (more < 0 ? QString() : QStringLiteral("+")) + memoryText(more),
         QStringLiteral("at most +") + memoryText(kMemoryLimit), metText(more <= kMemoryLimit)});
}
