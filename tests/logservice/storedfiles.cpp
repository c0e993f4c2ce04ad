#include "storedfiles.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QRegularExpression>

QStringList tree(const QString &folder)
{
    QStringList paths;
    QDirIterator found(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (found.hasNext())
        paths << QDir(folder).relativeFilePath(found.next());
    paths = paths.filter(QRegularExpression(QStringLiteral("^(?!\\.lock$|\\.index\\.sqlite)")));
    paths.sort();
    return paths;
}

QByteArray mixedBytes(int count)
{
    QByteArray bytes(count, '\0');
    quint32 state = 1;
    for (char &byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = "\r\n-"[(state >> 24U) % 3];
        if ((state >> 16U) % 4 != 0)
            byte = char(state >> 24U);
    }
    return bytes;
}
