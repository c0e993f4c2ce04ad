#include "service.h"

#include "http/listener.h"
#include "intake/routes.h"
#include "page/pageroutes.h"
#include "store/folderstore.h"

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <optional>

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

/// \a destination is empty when nothing is stored.
std::string readyLine(const std::string &origin, const std::optional<Listener> &reports, const std::string &destination)
{
    return "kxlogservice: listening on " + origin + " (" +
           (reports ? "reports on " + std::to_string(reports->port()) : "no reports") + "), " +
           (destination.empty() ? "storing nothing"
                                : "what arrives is shown on " + origin + "/ and stored below " + destination);
}

} // namespace

int runService(const Options &options)
{
    const auto endSignals = holdBackEndSignals();

    std::unique_ptr<UploadStore> store;
    RequestLog log;
    // Behind what their threads use, so that they end first.
    Listener uploads(options.port);
    std::optional<Listener> reports;
    if (options.takesReports)
        reports.emplace(options.reportPort);

    // Only now: a folder in use says less than a port in use when the same command is given twice.
    std::string destination;
    const UploadIndex *index = nullptr;
    if (options.discards) {
        store = makeDiscardingStore();
    } else {
        auto folderStore = std::make_unique<FolderStore>(options.folder, options.keep);
        destination = folderStore->folder().string();
        index = &folderStore->index();
        store = std::move(folderStore);
    }

    std::atomic<bool> hasFailed = false;
    const auto fail = [&hasFailed] {
        hasFailed = true;
        ::kill(::getpid(), SIGTERM);
    };
    const auto origin = "http://127.0.0.1:" + std::to_string(uploads.port());
    const RouteContext context = {options.code, *store, log};
    addRoutes(uploads.server(), Port::Main, context);
    addPageRoutes(uploads.server(), {index, log, destination, origin, kinds()});
    uploads.start(fail);
    if (reports) {
        addRoutes(reports->server(), Port::Report, context);
        reports->start(fail);
    }
    std::cout << readyLine(origin, reports, destination) << std::endl;

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
        std::_Exit(status);
    }
    return status;
}
