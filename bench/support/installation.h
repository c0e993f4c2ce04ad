#pragma once

#include <QDir>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A throw-away installation of a build of the tool, with a home of its own.
class Installation
{
public:
    /// Copies the program \a tool to where it runs from, in a new folder below \a parent. Throws std::runtime_error
    /// when that fails.
    explicit Installation(const QString &tool, const QString &parent = QDir::currentPath());

    /// The program, for runProcess().
    QStringList command() const { return {program_}; }
    /// All that a run gets of the environment: path, home and language.
    QStringList environment() const;

    /// Path of a new file of \a size bytes, which take no room on the disk.
    QString addFile(const QString &name, long long size) const;
    /// Paths of \a count new files of 4 KiB.
    QStringList addSmallFiles(int count) const;
    /// Writes the tool's list: a user, and a group for each of \a files. The files may be missing.
    void writeList(const QStringList &files) const;
    /// How many files the list still holds.
    int listedFiles() const;

private:
    QString listPath() const { return directory_.filePath(QStringLiteral("app/config/upload.ini")); }

    QTemporaryDir directory_;
    QString program_;
};
