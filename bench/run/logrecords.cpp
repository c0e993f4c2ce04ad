#include "run/bench.h"
#include "run/measurements.h"

#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <stdexcept>

namespace {

constexpr double kMarkedLimitSeconds = 40e-6;

/// Median seconds by the name of the benchmark.
QHash<QString, double> readMedians(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("logrecord has written no results");
    const QJsonArray runs =
        QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("benchmarks")).toArray();
    QHash<QString, double> medians;
    for (const QJsonValue &value : runs) {
        const QJsonObject run = value.toObject();
        if (run.value(QStringLiteral("aggregate_name")).toString() == QLatin1String("median")) {
            const QString name = run.value(QStringLiteral("run_name")).toString().section(QLatin1Char('/'), 0, 0);
            medians.insert(name, run.value(QStringLiteral("real_time")).toDouble() * 1e-9);
        }
    }
    return medians;
}

QHash<QString, double> runBenchmarks(const QStringList &options)
{
    const QTemporaryDir directory;
    const QString results = directory.filePath(QStringLiteral("results.json"));
    runToSuccess(QStringList{builtProgram(QStringLiteral("logrecord")),
                             QStringLiteral("--benchmark_enable_random_interleaving=true"),
                             QStringLiteral("--benchmark_out_format=json"),
                             QStringLiteral("--benchmark_out=") + results} +
                     options,
                 {QStringLiteral("HOME=") + directory.path(), QStringLiteral("LANG=C.UTF-8")});
    return readMedians(results);
}

} // namespace

void measureLogRecords(Bench &bench)
{
    const QHash<QString, double> medians = runBenchmarks(bench.plan.microOptions);
    const auto compare = [&](const QString &what, const QString &ours, const QString &peer, double limit) {
        const double our = medians.value(ours);
        const double theirs = medians.value(peer);
        if (our <= 0 || theirs <= 0)
            throw std::runtime_error("logrecord has not measured " + what.toStdString());
        bench.table.addAtMost(limit, what, durationText(our), durationText(theirs), our / theirs);
    };
    compare(QStringLiteral("log record, the handler alone (spdlog)"), QStringLiteral("handler"),
            QStringLiteral("plainLibrary"), 0.7);
    compare(QStringLiteral("log record, qDebug(format) (spdlog)"), QStringLiteral("formatted"),
            QStringLiteral("plainLibrary"), 1.05);
    compare(QStringLiteral("log record, qDebug() << (spdlog)"), QStringLiteral("streamed"),
            QStringLiteral("plainLibrary"), 1.3);
    compare(QStringLiteral("log record, four threads at once, the handler alone (spdlog for threads)"),
            QStringLiteral("handlerInThreads"), QStringLiteral("plainLibraryInThreads"), 1);
    compare(QStringLiteral("log record, four threads at once, qDebug(format) (spdlog for threads)"),
            QStringLiteral("formattedInThreads"), QStringLiteral("plainLibraryInThreads"), 1);
    compare(QStringLiteral("log record, reporting on (off)"), QStringLiteral("streamedWhileReporting"),
            QStringLiteral("streamed"), 0);
    const double marked = medians.value(QStringLiteral("markedWhileReporting"));
    const double unreported = medians.value(QStringLiteral("marked"));
    if (marked <= 0 || unreported <= 0)
        throw std::runtime_error("logrecord has not measured marked records");
    bench.table.add(
        {QStringLiteral("marked record, reporting on, until logged and on its way (off)"), durationText(marked),
         durationText(unreported), QStringLiteral("%1x").arg(marked / unreported, 0, 'f', 2),
         QStringLiteral("ours at most ") + durationText(kMarkedLimitSeconds), metText(marked <= kMarkedLimitSeconds)});
    compare(QStringLiteral("marked record, reporting on, until answered (off)"), QStringLiteral("markedUntilAnswered"),
            QStringLiteral("marked"), 0);
}
