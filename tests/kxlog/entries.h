#pragma once

#include <QDir>

/// Names of everything in the directory `path`, hidden and special entries too, in the order of their characters.
inline QStringList entries(const QString &path)
{
    QStringList names =
        QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
    names.sort();
    return names;
}
