#include "run/bench.h"

#include "kxendpoints.h"

#include <QCoreApplication>

#include <memory>
#include <stdexcept>

namespace {

constexpr long long kMiB = 1024 * 1024;

} // namespace

Plan fullPlan()
{
    Plan plan;
    plan.rounds = 5;
    plan.microOptions =
        QStringList{QStringLiteral("--benchmark_repetitions=9"), QStringLiteral("--benchmark_min_time=0.2")};
    plan.smallFiles = 100;
    plan.memoryFileSize = 2048 * kMiB;
    plan.throughputFileSize = 512 * kMiB;
    plan.throughputRounds = 9;
    plan.groupCounts = {10, 100, 1000, 3000};
    plan.fewUploads = 10;
    plan.manyUploads = 1000;
    plan.skippedGroups = 3000;
    plan.logNames = 100000;
    plan.startsPerRound = 20;
    plan.loadRounds = 3;
    plan.loadSeconds = 30;
    plan.service = QStringLiteral(KX_LOGSERVICE_PATH);
    return plan;
}

Plan quickPlan()
{
    Plan plan;
    plan.rounds = 1;
    plan.microOptions =
        QStringList{QStringLiteral("--benchmark_repetitions=2"), QStringLiteral("--benchmark_min_time=0.01")};
    plan.smallFiles = 3;
    plan.memoryFileSize = 8 * kMiB;
    plan.throughputFileSize = 8 * kMiB;
    plan.throughputRounds = 1;
    plan.groupCounts = {2, 10, 20};
    plan.fewUploads = 5;
    plan.manyUploads = 20;
    plan.skippedGroups = 20;
    plan.logNames = 100;
    plan.startsPerRound = 1;
    plan.loadRounds = 1;
    plan.loadSeconds = 3;
    plan.service = QStringLiteral(KX_LOGSERVICE_PATH);
    return plan;
}

QString builtProgram(const QString &name)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
}

QString logFileUrl()
{
    return QLatin1String(kxendpoints::kLogServiceUrl) + QStringLiteral("/v1/logfile/upload");
}

Usage runSender(Bench &bench, const Installation &installation, const QStringList &command, const Watch &watch)
{
    bench.sink.beginRun(watch.request);
    // Whatever happens, the sink must not call an observer that is gone.
    const auto end = [](Sink *sink) { sink->endRun(); };
    const std::unique_ptr<Sink, decltype(end)> run(&bench.sink, end);
    return runToSuccess(command, installation.environment().toStringList(), watch.started);
}

Usage runUploads(Bench &bench, const Installation &installation, const QStringList &files, const Watch &watch)
{
    installation.writeList(files);
    const Usage usage = runSender(bench, installation, {installation.toolPath()}, watch);
    const int uploads = bench.sink.requestCount() - 1;
    if (uploads != files.size() || installation.listedFiles() != 0) {
        throw std::runtime_error("of " + std::to_string(files.size()) + " files the tool sent " +
                                 std::to_string(uploads) + " and left " + std::to_string(installation.listedFiles()) +
                                 " on the list");
    }
    return usage;
}

QStringList curlCommand(const QString &path)
{
    return {QStringLiteral("curl"),
            QStringLiteral("-s"),
            QStringLiteral("-f"),
            QStringLiteral("-F"),
            QStringLiteral("room=nickname-ann.loginname-a1.userid-42.roomid-7.roomname-lobby"),
            QStringLiteral("-F"),
            QStringLiteral("namespace=bench"),
            QStringLiteral("-F"),
            QStringLiteral("file=@%1;type=image/png").arg(path),
            logFileUrl()};
}

double measuredPeak(const Usage &usage)
{
    if (usage.peakMemory <= ownPeakMemory())
        throw std::runtime_error("this program has grown larger than the one whose memory it measures");
    return static_cast<double>(usage.peakMemory);
}
