#include "support/process.h"

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// As char pointers for the system, which does not change them; the list ends in a null pointer.
class TextList
{
public:
    explicit TextList(const QStringList &texts)
    {
        for (const QString &text : texts)
            bytes_.push_back(text.toLocal8Bit());
        for (QByteArray &text : bytes_)
            pointers_.push_back(text.data());
        pointers_.push_back(nullptr);
    }
    char *const *data() const { return pointers_.data(); }

private:
    std::vector<QByteArray> bytes_;
    std::vector<char *> pointers_;
};

double seconds(const timeval &time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

long long peakMemory(const rusage &usage)
{
#ifdef __APPLE__
    return usage.ru_maxrss;
#else
    return usage.ru_maxrss * 1024LL;
#endif
}

pid_t spawn(const QStringList &command, const QStringList &environment)
{
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&streams, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&streams, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

    // This process ignores broken pipes; its children start as they would from a shell.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    pid_t pid = -1;
    const TextList arguments(command);
    const TextList variables(environment);
    const int error =
        posix_spawnp(&pid, arguments.data()[0], &streams, &attributes, arguments.data(), variables.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&streams);
    if (error != 0)
        throw std::runtime_error("cannot start " + command.first().toStdString());
    return pid;
}

} // namespace

Usage runProcess(const QStringList &command, const QStringList &environment, const std::function<void(pid_t)> &started)
{
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = spawn(command, environment);
    if (started)
        started(pid);
    int status = 0;
    rusage used{};
    if (::wait4(pid, &status, 0, &used) != pid)
        throw std::runtime_error("cannot wait for " + command.first().toStdString());

    Usage usage;
    usage.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    usage.cpuSeconds = seconds(used.ru_utime) + seconds(used.ru_stime);
    usage.peakMemory = peakMemory(used);
    if (WIFEXITED(status))
        usage.exitStatus = WEXITSTATUS(status);
    return usage;
}

Usage runToSuccess(const QStringList &command, const QStringList &environment,
                   const std::function<void(pid_t)> &started)
{
    const Usage usage = runProcess(command, environment, started);
    if (usage.exitStatus != 0)
        throw std::runtime_error(command.join(QLatin1Char(' ')).toStdString() + " ended with status " +
                                 std::to_string(usage.exitStatus));
    return usage;
}

long long ownPeakMemory()
{
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    return peakMemory(used);
}
