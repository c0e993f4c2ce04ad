#include "run/bench.h"
#include "run/measurements.h"
#include "support/tool/processfacts.h"

#include <atomic>
#include <stdexcept>

namespace {

/// What a running process holds.
struct ProcessResources
{
    int threads = 0;
    int descriptors = 0;
};

ProcessResources countResources(pid_t process)
{
    const ProcessResources held{threadCount(process), descriptorCount(process)};
    if (held.threads == 0 || held.descriptors == 0)
        throw std::runtime_error("the tool cannot be looked at");
    return held;
}

struct Held
{
    ProcessResources few;
    ProcessResources many;
};

/// Looks at the tool while the sink keeps it waiting for an answer.
Held runOnce(Bench &bench, const Installation &installation, const QStringList &files)
{
    std::atomic<pid_t> tool{-1};
    Held held;
    const auto look = [&](const SinkRequest &request) {
        if (request.number == bench.plan.fewUploads)
            held.few = countResources(tool);
        else if (request.number == bench.plan.manyUploads)
            held.many = countResources(tool);
    };
    runUploads(bench, installation, files, {look, [&](pid_t pid) { tool = pid; }});
    return held;
}

} // namespace

void measureHeldResources(Bench &bench)
{
    const QString what = QStringLiteral("threads and descriptors in upload %1 (in upload %2)")
                             .arg(bench.plan.manyUploads)
                             .arg(bench.plan.fewUploads);
    const QString target = QStringLiteral("equal");
    if (!knowsProcesses()) {
        bench.table.add({what, QStringLiteral("not measured on this system"), {}, {}, target, {}});
        return;
    }

    const Installation installation;
    const QStringList files = installation.addSmallFiles(bench.plan.manyUploads);
    ProcessResources few;
    ProcessResources many;
    bool areEqual = true;
    for (int round = 0; round < bench.plan.rounds; ++round) {
        const Held held = runOnce(bench, installation, files);
        few = held.few;
        many = held.many;
        areEqual = areEqual && many.threads == few.threads && many.descriptors == few.descriptors;
    }
    const auto text = [](const ProcessResources &resources) {
        return QStringLiteral("%1 and %2").arg(resources.threads).arg(resources.descriptors);
    };
    bench.table.add({what, text(many), text(few), QString(), target, metText(areEqual)});
}
