#include "capture.h"
#include "support/files/fileio.h"

#include <QCoreApplication>
#include <cstdio>

/// Prints the page that its argument names with the requests of this build in the places of its examples.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QByteArray page = readFile(QCoreApplication::arguments().value(1));
    if (page.isEmpty()) {
        std::fputs("protocolcapture: expected the path of the page\n", stderr);
        return 2;
    }
    const Captures captures = captureRequests();
    for (const QString &problem : captures.problems)
        std::fprintf(stderr, "protocolcapture: %s\n", qPrintable(problem));
    if (!captures.problems.isEmpty())
        return 1;
    if (!canCaptureCrash())
        std::fputs("protocolcapture: this system cannot send the crash dump, its example stays as it is\n", stderr);
    const QByteArray result = withExamples(page, captures.examples);
    return std::fwrite(result.constData(), 1, static_cast<std::size_t>(result.size()), stdout) ==
                   static_cast<std::size_t>(result.size())
               ? 0
               : 1;
}
