#include "support/process/ownhome.h"

#include <QDir>
#include <QFile>

void useHome(const QString &path)
{
    QDir().mkpath(path);
    qputenv("HOME", QFile::encodeName(path));
    // What macOS asks instead.
    qputenv("CFFIXED_USER_HOME", QFile::encodeName(path));
    qunsetenv("XDG_CONFIG_HOME");
}
