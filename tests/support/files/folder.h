#pragma once

#include "support/files/fileio.h"

#include <QDir>

/// \a names in the order of their characters.
inline QStringList sorted(QStringList names)
{
    names.sort();
    return names;
}

/// Names of everything in the folder \a path, hidden and special entries too, sorted.
inline QStringList entries(const QString &path)
{
    return sorted(
        QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted));
}

/// Makes a file of one byte for each of \a names in the folder \a path. Returns whether all were written.
inline bool addFiles(const QString &path, const QStringList &names)
{
    for (const QString &name : names) {
        if (!writeFile(path + QLatin1Char('/') + name, QByteArrayLiteral("x")))
            return false;
    }
    return true;
}
