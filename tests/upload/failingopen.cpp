#include "failingopen.h"

#include <QFile>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>

namespace {

// Nothing that is destroyed at the end: files are opened after that too.
std::array<char, 4096> watchedPath{};
std::atomic<int> failuresLeft{0};
std::atomic<int> attemptCount{0};

using OpenFunction = int (*)(const char *, int, ...);

bool fails(const char *path)
{
    if (watchedPath.front() == '\0' || std::strcmp(path, watchedPath.data()) != 0)
        return false;
    ++attemptCount;
    return failuresLeft.fetch_sub(1) > 0;
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
    qstrncpy(watchedPath.data(), QFile::encodeName(path).constData(), uint(watchedPath.size()));
    attemptCount = 0;
    failuresLeft = count;
}

int attempts()
{
    return attemptCount;
}

} // namespace failingopen
