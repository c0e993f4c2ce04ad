#pragma once

#include <QByteArray>
#include <QString>

/// All bytes of the file at \a path; null when it cannot be read, which tells it from an empty file.
QByteArray readFile(const QString &path);

/// Makes the file at \a path hold \a bytes and nothing else. Returns whether all of them were written.
bool writeFile(const QString &path, const QByteArray &bytes);
