#include "support/tool/processfacts.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

namespace {

QString folderOf(qint64 process)
{
    return QStringLiteral("/proc/%1").arg(process);
}

int entryCount(const QString &directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

} // namespace

bool knowsProcesses()
{
    return QFile::exists(QStringLiteral("/proc/self/status"));
}

int descriptorCount(qint64 process)
{
    return entryCount(folderOf(process) + QStringLiteral("/fd"));
}

int threadCount(qint64 process)
{
    return entryCount(folderOf(process) + QStringLiteral("/task"));
}

qint64 peakMemoryKiB(qint64 process)
{
    static const QRegularExpression peak(QStringLiteral("^VmHWM:\\s*(\\d+) kB$"), QRegularExpression::MultilineOption);
    QFile status(folderOf(process) + QStringLiteral("/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QRegularExpressionMatch match = peak.match(QString::fromLatin1(status.readAll()));
    return match.hasMatch() ? match.captured(1).toLongLong() : -1;
}
