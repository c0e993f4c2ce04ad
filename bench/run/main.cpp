// Measures and prints the machine and one table, in Markdown, to standard output; progress goes to standard error.
// The files of the measurements stand below the current directory meanwhile.

#include "kxendpoints.h"
#include "run/bench.h"
#include "run/machine.h"
#include "run/measurements.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QUrl>

#include <csignal>
#include <cstdio>
#include <exception>

namespace {

struct Measurement
{
    const char *name;
    void (*measure)(Bench &);
};

constexpr Measurement kMeasurements[] = {
    {"records", measureLogRecords},
    {"start", measureStart},
    {"ownlog", measureOwnLogOnly},
    {"small", measureSmallFiles},
    {"throughput", measureThroughput},
    {"memory", measureLargeFileMemory},
    {"held", measureHeldResources},
    {"counts", measureUploadCounts},
    {"skipped", measureSkippedGroups},
    {"load", measureManyUploads},
    // Last: with its many names this program grows larger than those whose memory the others measure.
    {"retention", measureRetention},
};

QString measurementNames()
{
    QStringList names;
    for (const Measurement &measurement : kMeasurements)
        names += QLatin1String(measurement.name);
    return names.join(QLatin1Char(' '));
}

/// Measures what is called \a name, everything when it is empty.
ResultTable measure(const Plan &plan, const QString &name)
{
    const QUrl service{QLatin1String(kxendpoints::kLogServiceUrl)};
    Sink sink(service.host().toStdString(), service.port());
    ResultTable table;
    Bench bench{plan, sink, table};
    for (const Measurement &measurement : kMeasurements) {
        if (name.isEmpty() || name == QLatin1String(measurement.name))
            measurement.measure(bench);
    }
    return table;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    std::signal(SIGPIPE, SIG_IGN);

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({QStringLiteral("quick"), QStringLiteral("A few seconds, to see that everything runs.")});
    parser.addOption(
        {QStringLiteral("only"), QStringLiteral("Measure one of: ") + measurementNames(), QStringLiteral("name")});
    parser.addOption(
        {QStringLiteral("rounds"), QStringLiteral("How often each contestant runs."), QStringLiteral("number")});
    parser.addOption({QStringLiteral("service"), QStringLiteral("Measure another build of the log service."),
                      QStringLiteral("program")});
    parser.process(application);
    const QString only = parser.value(QStringLiteral("only"));
    if (!only.isEmpty() && !measurementNames().split(QLatin1Char(' ')).contains(only)) {
        std::fprintf(stderr, "kxbench: there is no measurement '%s', only %s\n", qPrintable(only),
                     qPrintable(measurementNames()));
        return 2;
    }

    try {
        Plan plan = parser.isSet(QStringLiteral("quick")) ? quickPlan() : fullPlan();
        if (parser.isSet(QStringLiteral("rounds")))
            plan.rounds = plan.loadRounds = qMax(1, parser.value(QStringLiteral("rounds")).toInt());
        if (parser.isSet(QStringLiteral("service")))
            plan.service = parser.value(QStringLiteral("service"));
        const QString before = machineText();
        const QString table = measure(plan, only).markdown();
        std::printf("%s\n%s", before.toUtf8().constData(), table.toUtf8().constData());
    } catch (const std::exception &error) {
        std::fprintf(stderr, "kxbench: %s\n", error.what());
        return 1;
    }
    return 0;
}
