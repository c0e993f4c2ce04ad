#include "support/installation.h"

#include <QFile>
#include <QFileInfo>

#include <stdexcept>

namespace {

constexpr int kSmallFileSize = 4096;
constexpr char kGroupStart[] = "[client_log_";

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

} // namespace

Installation::Installation(const QString &tool, const QString &parent)
    : directory_(parent + QStringLiteral("/kxbench")), program_(directory_.filePath(QStringLiteral("app/KxLogReport")))
{
    QDir directory(directory_.path());
    const bool made = directory.mkpath(QStringLiteral("app/config")) && directory.mkpath(QStringLiteral("app/logs")) &&
                      directory.mkpath(QStringLiteral("home"));
    if (!made || !QFile::copy(tool, program_))
        throw std::runtime_error("cannot install " + tool.toStdString());
}

QStringList Installation::environment() const
{
    return {QStringLiteral("PATH=") + QString::fromLocal8Bit(qgetenv("PATH")),
            QStringLiteral("HOME=") + directory_.filePath(QStringLiteral("home")),
            QStringLiteral("CFFIXED_USER_HOME=") + directory_.filePath(QStringLiteral("home")),
            QStringLiteral("LANG=C.UTF-8")};
}

QString Installation::addFile(const QString &name, long long size) const
{
    const QString path = directory_.filePath(QStringLiteral("app/logs/") + name);
    write(path, {});
    if (!QFile::resize(path, size))
        throw std::runtime_error("cannot make " + path.toStdString());
    return path;
}

QStringList Installation::addSmallFiles(int count) const
{
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        paths += directory_.filePath(QStringLiteral("app/logs/client_%1.log").arg(i, 5, 10, QLatin1Char('0')));
        write(paths.last(), QByteArray(kSmallFileSize, 'x'));
    }
    return paths;
}

void Installation::writeList(const QStringList &files) const
{
    QByteArray list = "[system]\nnickname=ann\nloginName=a1\nuserId=42\nnamespace=bench\n\n[room]\n7=lobby\n";
    for (int i = 0; i < files.size(); ++i) {
        list += "\n" + QByteArray(kGroupStart) + QByteArray::number(i).rightJustified(5, '0') +
                "]\npath=" + files.at(i).toUtf8() + "\nsdk=0\n";
    }
    write(listPath(), list);
}

int Installation::listedFiles() const
{
    QFile file(listPath());
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + listPath().toStdString());
    return file.readAll().count(kGroupStart);
}
