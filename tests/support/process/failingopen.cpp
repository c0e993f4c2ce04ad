#include "support/process/failingopen.h"

#include <QFile>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>

namespace {

// No object with a constructor: files may be opened before any constructor of this unit has run.
char watchedPath[4096];
std::atomic<int> successesLeft{0};
std::atomic<int> failuresLeft{0};
std::atomic<int> attemptCount{0};

using OpenFunction = int (*)(const char *, int, ...);

void watch(const char *path, int successes, int failures)
{
    std::strncpy(watchedPath, path, sizeof watchedPath - 1);
    attemptCount = 0;
    successesLeft = successes;
    failuresLeft = failures;
}

bool fails(const char *path)
{
    if (watchedPath[0] == '\0' || std::strcmp(path, watchedPath) != 0)
        return false;
    ++attemptCount;
    return successesLeft.fetch_sub(1) <= 0 && failuresLeft.fetch_sub(1) > 0;
}

int forward(const char *name, const char *path, int flags, mode_t mode)
{
    if (fails(path)) {
        errno = EACCES;
        return -1;
    }
    const auto next = reinterpret_cast<OpenFunction>(dlsym(RTLD_NEXT, name));
    return next(path, flags, mode);
}

mode_t modeArgument(int flags, va_list arguments)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

__attribute__((constructor)) void watchFromEnvironment()
{
    if (const char *path = std::getenv("KX_FAILING_OPEN"))
        watch(path, 0, 1);
}

} // namespace

extern "C" int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    return forward("open", path, flags, mode);
}

extern "C" int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    return forward("open64", path, flags, mode);
}

namespace failingopen {

void failNext(const QString &path, int count)
{
    failAfter(path, 0, count);
}

void failAfter(const QString &path, int successes, int count)
{
    watch(QFile::encodeName(path).constData(), successes, count);
}

int attempts()
{
    return attemptCount;
}

} // namespace failingopen
