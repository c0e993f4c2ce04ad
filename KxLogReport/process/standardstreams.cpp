#include "process/standardstreams.h"

#include <QtGlobal>

#ifdef Q_OS_UNIX
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#endif

void secureStandardStreams()
{
#ifdef Q_OS_UNIX
    // The echo of a record must not kill the run when the client, at the other end of a pipe, is gone.
    std::signal(SIGPIPE, SIG_IGN);

    // With a standard descriptor closed, the next file opened would take its number, and the echo would be written
    // into that file, which may be the client's INI file.
    int descriptor = STDIN_FILENO;
    while (descriptor >= STDIN_FILENO && descriptor <= STDERR_FILENO)
        descriptor = ::open("/dev/null", O_RDWR);
    if (descriptor > STDERR_FILENO)
        ::close(descriptor);
#endif
}
