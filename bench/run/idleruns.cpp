#include "run/bench.h"
#include "run/measurements.h"

namespace {

constexpr double kCpuLimitSeconds = 0.1;

double timeStarts(int starts, const QString &program, const QStringList &environment)
{
    Samples times;
    for (int i = 0; i < starts; ++i)
        times.add(runToSuccess({program}, environment).wallSeconds);
    return times.median();
}

} // namespace

void measureStart(Bench &bench)
{
    const Installation installation;
    const QStringList environment = installation.environment().toStringList();
    // The first start of a day leaves the markers of the retention passes.
    runToSuccess({installation.toolPath()}, environment);

    const int starts = bench.plan.startsPerRound;
    const QString program = installation.toolPath();
    Samples ours;
    Samples peer;
    interleave(bench.plan.rounds,
               {[&] { ours.add(timeStarts(starts, program, environment)); },
                [&] { peer.add(timeStarts(starts, builtProgram(QStringLiteral("emptyapplication")), environment)); }});
    bench.table.addAtMost(2, QStringLiteral("start with nothing to do (empty QCoreApplication)"),
                          durationText(ours.median()), durationText(peer.median()), ours.median() / peer.median());
}

void measureOwnLogOnly(Bench &bench)
{
    const Installation installation;
    const Installation restless(builtProgram(QStringLiteral("restlesstool")));
    Samples ours;
    Samples peer;
    interleave(bench.plan.rounds, {[&] { ours.add(runUploads(bench, installation, {}).cpuSeconds); },
                                   [&] { peer.add(runUploads(bench, restless, {}).cpuSeconds); }});
    bench.table.add({QStringLiteral("processor time of a run that sends only its own log (pauses that do not rest)"),
                     durationText(ours.median()), durationText(peer.median()),
                     QString::number(ours.median() / peer.median(), 'f', 2) + QLatin1Char('x'),
                     QStringLiteral("ours at most ") + durationText(kCpuLimitSeconds),
                     metText(ours.median() <= kCpuLimitSeconds)});
}
