#include "process/lastresort.h"

#include <QtGlobal>

#ifdef Q_OS_UNIX
#include <csignal>
#include <unistd.h>

extern "C" {
static void endProcess(int /*signal*/)
{
    ::_exit(0);
}
}
#endif

void endProcessAfter(unsigned seconds)
{
#ifdef Q_OS_UNIX
    std::signal(SIGALRM, endProcess);
    ::alarm(seconds);
#else
    Q_UNUSED(seconds)
#endif
}
