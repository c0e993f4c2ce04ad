#include "run/processresources.h"

#include <QDir>

#include <stdexcept>

namespace {

int countEntries(pid_t pid, const QString &folder)
{
    const QString path = QStringLiteral("/proc/%1/%2").arg(pid).arg(folder);
    // Without QDir::System links to sockets and pipes, which lead nowhere, are left out.
    const int count =
        QDir(path)
            .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Unsorted)
            .size();
    if (count == 0)
        throw std::runtime_error("cannot read " + path.toStdString());
    return count;
}

} // namespace

bool canCountResources()
{
    return QDir(QStringLiteral("/proc/self/task")).exists();
}

ProcessResources countResources(pid_t pid)
{
    return {countEntries(pid, QStringLiteral("task")), countEntries(pid, QStringLiteral("fd"))};
}
