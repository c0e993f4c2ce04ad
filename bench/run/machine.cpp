#include "run/machine.h"

#include <QDir>
#include <QFile>
#include <QStorageInfo>
#include <QStringList>
#include <QSysInfo>
#include <QThread>

#include <array>
#include <cstdlib>

#include <unistd.h>

#ifdef Q_OS_MACOS
#include <sys/sysctl.h>
#endif

namespace {

QString processorModel()
{
#ifdef Q_OS_MACOS
    std::array<char, 256> name{};
    std::size_t size = name.size() - 1;
    ::sysctlbyname("machdep.cpu.brand_string", name.data(), &size, nullptr, 0);
    return QString::fromLatin1(name.data());
#else
    QFile file(QStringLiteral("/proc/cpuinfo"));
    if (!file.open(QIODevice::ReadOnly))
        return QSysInfo::currentCpuArchitecture();
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    const QStringList models = lines.filter(QStringLiteral("model name"));
    return models.isEmpty() ? QSysInfo::currentCpuArchitecture()
                            : models.first().section(QLatin1Char(':'), 1).trimmed();
#endif
}

QString memorySize()
{
    const double bytes = static_cast<double>(::sysconf(_SC_PHYS_PAGES)) * static_cast<double>(::sysconf(_SC_PAGESIZE));
    return QString::number(bytes / (1024.0 * 1024 * 1024), 'f', 0) + QStringLiteral(" GiB");
}

QString load()
{
    std::array<double, 3> averages{};
    ::getloadavg(averages.data(), 3);
    return QString::number(averages[0], 'f', 1);
}

} // namespace

QString machineText()
{
    const QStringList lines{
        QStringLiteral("processor: %1, %2 cores; memory: %3")
            .arg(processorModel())
            .arg(QThread::idealThreadCount())
            .arg(memorySize()),
        QStringLiteral("system: %1, kernel %2 %3")
            .arg(QSysInfo::prettyProductName(), QSysInfo::kernelType(), QSysInfo::kernelVersion()),
        QStringLiteral("Qt %1; file system: %2")
            .arg(QLatin1String(qVersion()), QString::fromLatin1(QStorageInfo(QDir::current()).fileSystemType())),
        QStringLiteral("load average of the last minute: %1").arg(load()),
    };
    return QStringLiteral("- ") + lines.join(QStringLiteral("\n- ")) + QLatin1Char('\n');
}
