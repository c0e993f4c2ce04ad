#include "support/installation.h"

#include <QFile>

#include <stdexcept>

namespace {

constexpr int kSmallFileSize = 4096;
constexpr char kGroupStart[] = "[client_log_";

} // namespace

Installation::Installation(const QString &tool, const QString &parent) : Sandbox(tool, parent)
{
    if (!isValid())
        throw std::runtime_error("cannot install " + tool.toStdString());
}

QString Installation::addLog(const QString &name, const QByteArray &bytes) const
{
    const QString path = addFile(QStringLiteral("logs/") + name, bytes);
    if (path.isEmpty())
        throw std::runtime_error("cannot write " + name.toStdString());
    return path;
}

QString Installation::addSparseFile(const QString &name, long long size) const
{
    const QString path = addLog(name, {});
    if (!QFile::resize(path, size))
        throw std::runtime_error("cannot make " + path.toStdString());
    return path;
}

QStringList Installation::addSmallFiles(int count) const
{
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        const QString name = QStringLiteral("client_%1.log").arg(i, 5, 10, QLatin1Char('0'));
        paths += addLog(name, QByteArray(kSmallFileSize, 'x'));
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
    if (!writeRawIni(list))
        throw std::runtime_error("cannot write " + iniPath().toStdString());
}

int Installation::listedFiles() const
{
    const QByteArray list = iniBytes();
    if (list.isNull())
        throw std::runtime_error("cannot read " + iniPath().toStdString());
    return list.count(kGroupStart);
}
