#pragma once

#include "support/tool/sandbox.h"

#include <QDir>

/// A sandbox for measurements. What cannot be made throws std::runtime_error.
class Installation : public Sandbox
{
public:
    /// Installs the program \a tool in a new folder below \a parent.
    explicit Installation(const QString &tool = builtTool(), const QString &parent = QDir::currentPath());

    /// Path of a new file of \a size bytes, which take no room on the disk.
    QString addSparseFile(const QString &name, long long size) const;
    /// Paths of \a count new files of 4 KiB.
    QStringList addSmallFiles(int count) const;
    /// Writes the tool's list: a user, and a group for each of \a files. The files may be missing.
    void writeList(const QStringList &files) const;
    /// How many files the list still holds.
    int listedFiles() const;

private:
    QString addLog(const QString &name, const QByteArray &bytes) const;
};
