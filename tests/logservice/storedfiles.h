#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

/// Everything below \a folder but the service's lock and index, as sorted relative paths of files and folders.
QStringList tree(const QString &folder);

/// \a count bytes of every value, with many line ends and dashes among them; the same ones every time.
QByteArray mixedBytes(int count);
