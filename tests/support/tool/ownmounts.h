#pragma once

#include <QString>

/// Gives this process a table of mounts of its own, so that what it mounts is gone with it and nobody else sees it.
/// To be called while the process has one thread. Returns false where the system does not allow that: QSKIP("...").
bool enterOwnMounts();

/// A mount on a folder, gone with its scope.
class Mount
{
public:
    /// An empty file system of \a bytes bytes, in memory, on \a folder.
    static Mount smallDisk(const QString &folder, qint64 bytes);
    /// \a folder as it is, but read-only.
    static Mount readOnly(const QString &folder);
    /// What is in \a source, in place of \a folder.
    static Mount showing(const QString &source, const QString &folder);

    Mount(Mount &&other) noexcept;
    ~Mount();
    Mount(const Mount &) = delete;
    Mount &operator=(const Mount &) = delete;

    bool isValid() const { return valid_; }

private:
    Mount(const QString &folder, bool valid) : folder_(folder), valid_(valid) {}

    QString folder_;
    bool valid_;
};

/// Writes a file at \a path that takes all free space of its file system but \a leftBytes. Returns whether that much,
/// or less if there was less, is left.
bool fillDisk(const QString &path, qint64 leftBytes);
