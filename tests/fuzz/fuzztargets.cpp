#include "fuzztargets.h"

#include <cstdio>
#include <cstdlib>

QList<FuzzTarget> fuzzTargets()
{
    return {
        {"uploadini", fuzzUploadIni}, {"answer", fuzzAnswer}, {"markedmessage", fuzzMarkedMessage},
        {"retention", fuzzRetention}, {"form", fuzzForm},
    };
}

void require(bool holds, const char *message)
{
    if (holds)
        return;
    std::fprintf(stderr, "Broken promise: %s\n", message);
    std::abort();
}
