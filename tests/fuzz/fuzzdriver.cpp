#include "fuzztargets.h"

#include <QCoreApplication>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void dropMessage(QtMsgType, const QMessageLogContext &, const QString &) {}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // Local time has gaps in most places.
    ::setenv("TZ", "UTC", 1);
    static const QCoreApplication application(*argc, *argv);
    qInstallMessageHandler(dropMessage);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    KX_FUZZ_TARGET(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));
    return 0;
}
