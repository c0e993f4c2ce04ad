// What one log record costs: beside a plain logging library, and with remote reporting on beside off.

#include "kxendpoints.h"
#include "kxlog/kxlog.h"
#include "support/sink.h"

#include <QCoreApplication>
#include <QDebug>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QUrl>

#include <benchmark/benchmark.h>
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <chrono>
#include <cstdio>
#include <memory>

namespace {

constexpr int kReportPort = 21999;
// A report has a network manager of its own: enough for a median, too few to run out of ports.
constexpr int kReports = 200;

constexpr int kThreads = 4;

std::unique_ptr<spdlog::logger> plainLogger;
std::unique_ptr<spdlog::logger> sharedLogger;

template<typename Sink>
std::unique_ptr<spdlog::logger> makeLogger(const QString &path)
{
    auto logger = std::make_unique<spdlog::logger>("plain", std::make_shared<Sink>(path.toStdString()));
    logger->set_formatter(std::make_unique<spdlog::pattern_formatter>("[%Y-%m-%d %H:%M:%S][%l][%g][%#][%!]%v",
                                                                      spdlog::pattern_time_type::local, "\r\n\n"));
    logger->set_level(spdlog::level::trace);
    logger->flush_on(spdlog::level::trace);
    return logger;
}

void logWith(spdlog::logger &logger, benchmark::State &state)
{
    int packet = 0;
    for (auto _ : state) {
        logger.log(spdlog::source_loc{__FILE__, __LINE__, Q_FUNC_INFO}, spdlog::level::debug, "packet {} of call {}",
                   ++packet, "lobby");
    }
}

void plainLibrary(benchmark::State &state)
{
    logWith(*plainLogger, state);
}

void plainLibraryInThreads(benchmark::State &state)
{
    logWith(*sharedLogger, state);
}

// What is ours of a record: Qt has made the text before it calls.
void handler(benchmark::State &state)
{
    const QMessageLogContext context(__FILE__, __LINE__, Q_FUNC_INFO, "default");
    const QString text = QStringLiteral("packet 1234567 of call lobby");
    for (auto _ : state)
        outputMessage(QtDebugMsg, context, text);
}

void formatted(benchmark::State &state)
{
    int packet = 0;
    for (auto _ : state)
        qDebug("packet %d of call %s", ++packet, "lobby");
}

void streamed(benchmark::State &state)
{
    int packet = 0;
    for (auto _ : state)
        qDebug() << "packet" << ++packet << "of call"
                 << "lobby";
}

void streamedWhileReporting(benchmark::State &state)
{
    KxLog::instance()->startReport();
    streamed(state);
    KxLog::instance()->stopReport();
}

void logMarked(int reconnects)
{
    qDebug("kx_log $$1$$ connection lost @@%d@@", reconnects);
}

void marked(benchmark::State &state)
{
    int reconnects = 0;
    for (auto _ : state)
        logMarked(++reconnects);
}

void waitForReport()
{
    QEventLoop loop;
    QObject::connect(KxLog::instance()->findChild<QNetworkAccessManager *>(), &QObject::destroyed, &loop,
                     &QEventLoop::quit);
    loop.exec();
}

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Until the message is logged and its report on its way: what the client waits for.
void markedWhileReporting(benchmark::State &state)
{
    KxLog::instance()->startReport();
    int reconnects = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        logMarked(++reconnects);
        state.SetIterationTime(secondsSince(start));
        waitForReport();
    }
    KxLog::instance()->stopReport();
}

/// Until the report is answered and everything about it released.
void markedUntilAnswered(benchmark::State &state)
{
    KxLog::instance()->startReport();
    int reconnects = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        logMarked(++reconnects);
        waitForReport();
        state.SetIterationTime(secondsSince(start));
    }
    KxLog::instance()->stopReport();
}

void registerAll()
{
    benchmark::RegisterBenchmark("plainLibrary", plainLibrary);
    benchmark::RegisterBenchmark("handler", handler);
    benchmark::RegisterBenchmark("formatted", formatted);
    benchmark::RegisterBenchmark("streamed", streamed);
    benchmark::RegisterBenchmark("streamedWhileReporting", streamedWhileReporting);
    benchmark::RegisterBenchmark("plainLibraryInThreads", plainLibraryInThreads)->Threads(kThreads)->UseRealTime();
    benchmark::RegisterBenchmark("handlerInThreads", handler)->Threads(kThreads)->UseRealTime();
    benchmark::RegisterBenchmark("formattedInThreads", formatted)->Threads(kThreads)->UseRealTime();
    benchmark::RegisterBenchmark("marked", marked);
    benchmark::RegisterBenchmark("markedWhileReporting", markedWhileReporting)->UseManualTime()->Iterations(kReports);
    benchmark::RegisterBenchmark("markedUntilAnswered", markedUntilAnswered)->UseManualTime()->Iterations(kReports);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;

    try {
        const QString reportHost = QUrl(QLatin1String(kxendpoints::kReportApiUrl)).host();
        const Sink sink(reportHost.toStdString(), kReportPort);
        const QTemporaryDir directory(QStringLiteral("kxbench"));
        plainLogger = makeLogger<spdlog::sinks::basic_file_sink_st>(directory.filePath(QStringLiteral("plain.log")));
        sharedLogger = makeLogger<spdlog::sinks::basic_file_sink_mt>(directory.filePath(QStringLiteral("shared.log")));
        KxLog::instance()->install_log(directory.path());
        registerAll();
        benchmark::RunSpecifiedBenchmarks();
        qInstallMessageHandler(nullptr);
        plainLogger.reset();
        sharedLogger.reset();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "logrecord: %s\n", error.what());
        return 1;
    }
    return 0;
}
