#include "support/uploader/uploadini.h"

#include "support/files/fileio.h"
#include "support/files/inifile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <chrono>
#include <filesystem>

namespace {

void makeFolder()
{
    QDir().mkpath(QFileInfo(uploadini::path()).path());
}

// Settings objects of one process share what they have read until size or time of the file change. Two writes between
// two ticks of the file system's clock would look the same to them.
void setTimeOfItsOwn()
{
    static int writes = 0;
    const auto time =
        std::filesystem::file_time_type::clock::now() - std::chrono::hours(24) + std::chrono::seconds(++writes);
    std::filesystem::last_write_time(QFile::encodeName(uploadini::path()).toStdString(), time);
}

} // namespace

namespace uploadini {

QString path()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/config/upload.ini");
}

void write(const QByteArray &content)
{
    makeFolder();
    if (!writeFile(path(), content))
        qFatal("cannot write %s", qPrintable(path()));
    setTimeOfItsOwn();
}

void append(const QByteArray &content)
{
    write(readFile(path()) + content);
}

void set(const QString &key, const QVariant &value)
{
    makeFolder();
    if (!IniFile(path()).change([&](QSettings &settings) { settings.setValue(key, value); }))
        qFatal("cannot change %s", qPrintable(path()));
    setTimeOfItsOwn();
}

void remove()
{
    QFile::remove(path());
}

QStringList groups()
{
    return IniFile(path()).groups();
}

QVariantMap values()
{
    return IniFile(path()).values();
}

} // namespace uploadini
