#include "service.h"

#include "http/listener.h"
#include "intake/routes.h"
#include "page/pageroutes.h"
#include "store/uploadstore.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <optional>

#include <sys/resource.h>
#include <unistd.h>

namespace {

// A client that is idle or silent may hold its connection for much longer; ending does not wait for it.
constexpr std::chrono::milliseconds kStopPatience(300);

/// Keeps SIGINT and SIGTERM from all threads that are started from now on, and returns the two for sigwait().
sigset_t holdBackEndSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

std::vector<std::string> kinds()
{
    std::vector<std::string> names;
    for (const auto &endpoint : endpoints())
        names.push_back(endpoint.kind);
    return names;
}

std::string readyLine(const std::string &origin, const std::optional<Listener> &reports, const std::string &folder)
{
    return "kxlogservice: listening on " + origin + " (" +
           (reports ? "reports on " + std::to_string(reports->port()) : "no reports") + "), what arrives is shown on " +
           origin + "/ and stored below " + folder;
}

/// Each connection takes a descriptor, and another one while its file is written.
void allowManyDescriptors()
{
    constexpr rlim_t kWanted = 2048;
    rlimit files = {};
    if (::getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < kWanted) {
        files.rlim_cur = std::min(files.rlim_max, kWanted);
        ::setrlimit(RLIMIT_NOFILE, &files);
    }
}

} // namespace

int runService(const Options &options)
{
    allowManyDescriptors();
    const auto endSignals = holdBackEndSignals();

    std::optional<UploadStore> store;
    RequestLog log(STDOUT_FILENO);
    // Behind what their threads use, so that they end first.
    Listener uploads(options.port);
    std::optional<Listener> reports;
    if (options.takesReports)
        reports.emplace(options.reportPort);

    // Only now: a folder in use says less than a port in use when the same command is given twice.
    store.emplace(options.folder, options.keep);

    std::atomic<bool> hasFailed = false;
    const auto fail = [&hasFailed] {
        hasFailed = true;
        ::kill(::getpid(), SIGTERM);
    };
    const auto origin = "http://127.0.0.1:" + std::to_string(uploads.port());
    const RouteContext context = {options.code, options.status, std::chrono::milliseconds(options.delayMs), *store,
                                  log};
    addRoutes(uploads.server(), Port::Main, context);
    addPageRoutes(uploads.server(), {store->index(), log, store->folder(), origin, kinds()});
    uploads.start(fail);
    if (reports) {
        addRoutes(reports->server(), Port::Report, context);
        reports->start(fail);
    }
    std::cout << readyLine(origin, reports, store->folder().string()) << std::endl;

    int signal = 0;
    sigwait(&endSignals, &signal);

    bool allEnded = uploads.stop(kStopPatience);
    if (reports)
        allEnded = reports->stop(kStopPatience) && allEnded;
    if (hasFailed)
        std::cerr << "kxlogservice: the system has ended a listening port" << std::endl;
    const int status = hasFailed ? EXIT_FAILURE : EXIT_SUCCESS;
    if (!allEnded) {
        store->close();
        log.end();
        std::_Exit(status);
    }
    return status;
}
