#include "support/tool/ownmounts.h"

#include "support/files/fileio.h"

#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

#ifdef Q_OS_LINUX
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>
#endif

#ifdef Q_OS_LINUX

namespace {

/// The system lets everybody mount who is the superuser among users of his own.
bool enterOwnUsers()
{
    const QByteArray user = QByteArray::number(::geteuid());
    const QByteArray group = QByteArray::number(::getegid());
    return ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeFile(QStringLiteral("/proc/self/setgroups"), "deny") &&
           writeFile(QStringLiteral("/proc/self/uid_map"), "0 " + user + " 1") &&
           writeFile(QStringLiteral("/proc/self/gid_map"), "0 " + group + " 1");
}

} // namespace

bool enterOwnMounts()
{
    const bool entered = ::geteuid() == 0 ? ::unshare(CLONE_NEWNS) == 0 : enterOwnUsers();
    return entered && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

Mount Mount::smallDisk(const QString &folder, qint64 bytes)
{
    const QByteArray options = "mode=755,size=" + QByteArray::number(bytes);
    const QByteArray path = QFile::encodeName(folder);
    return Mount(folder, ::mount("none", path.constData(), "tmpfs", 0, options.constData()) == 0);
}

Mount Mount::readOnly(const QString &folder)
{
    const QByteArray path = QFile::encodeName(folder);
    // A bind mount becomes read-only only in a second step.
    Mount mount(folder, ::mount(path.constData(), path.constData(), nullptr, MS_BIND, nullptr) == 0);
    if (mount.valid_ && ::mount("none", path.constData(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
        qWarning("%s stays writable", path.constData());
    return mount;
}

Mount Mount::showing(const QString &source, const QString &folder)
{
    const QByteArray from = QFile::encodeName(source);
    const QByteArray to = QFile::encodeName(folder);
    return Mount(folder, ::mount(from.constData(), to.constData(), nullptr, MS_BIND, nullptr) == 0);
}

Mount::~Mount()
{
    if (valid_)
        ::umount2(QFile::encodeName(folder_).constData(), MNT_DETACH);
}

#else

bool enterOwnMounts()
{
    return false;
}

Mount Mount::smallDisk(const QString &folder, qint64)
{
    return Mount(folder, false);
}

Mount Mount::readOnly(const QString &folder)
{
    return Mount(folder, false);
}

Mount Mount::showing(const QString &, const QString &folder)
{
    return Mount(folder, false);
}

Mount::~Mount() = default;

#endif

Mount::Mount(Mount &&other) noexcept : folder_(other.folder_), valid_(other.valid_)
{
    other.valid_ = false;
}

bool fillDisk(const QString &path, qint64 leftBytes)
{
    const qint64 bytes = QStorageInfo(QFileInfo(path).path()).bytesAvailable() - leftBytes;
    return bytes <= 0 || writeFile(path, QByteArray(int(bytes), 'x'));
}
