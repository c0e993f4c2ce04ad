#include "fuzztargets.h"
#include "ini/uploadlist.h"
#include "kxupload.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSet>
#include <QSettings>

#include <chrono>
#include <filesystem>
#include <new>

namespace {

class Uploader : public KxUpload
{
public:
    Uploader() : KxUpload(nullptr) {}
    ~Uploader() override { delete settings; }

    using KxUpload::fileGroups;
    using KxUpload::httpGroups;
    using KxUpload::settings;
};

QString configPath(const QString &name)
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/config/") + name;
}

// Settings objects of one process share what they know of a file, and take one of the same size and time for unchanged:
// each of ours has a time of its own.
void writeNew(const QString &path, const QByteArray &bytes)
{
    static int count = 0;
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size(), "a file can be written");
    file.close();
    std::filesystem::last_write_time(path.toStdString(),
                                     std::filesystem::file_time_type(std::chrono::seconds(++count)));
}

// The file that the last input left may look like the next one after the uploader has rewritten that.
void forgetLastInput(const QString &path)
{
    writeNew(path, QByteArray());
    QSettings(path, QSettings::IniFormat).sync();
}

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// All keys that are on disk.
QStringList keysOnDisk()
{
    const QString copy = configPath(QStringLiteral("copy.ini"));
    writeNew(copy, bytesOf(configPath(QStringLiteral("upload.ini"))));
    try {
        return QSettings(copy, QSettings::IniFormat).allKeys();
    } catch (const std::bad_alloc &) {
        return {};
    }
}

QString groupOf(const QString &key)
{
    return key.section(QLatin1Char('/'), 0, 0);
}

/// Whether Qt writes the \a group in a letter case of its own, so that two of them may become one.
bool isGeneral(const QString &group)
{
    return group.compare(QLatin1String("general"), Qt::CaseInsensitive) == 0;
}

/// Compares what is on disk with \a before; a key outside of the groups goes with the group of its name.
void requireOnlyFinishedAreGone(const QStringList &before, const QStringList &finished)
{
    const QStringList after = keysOnDisk();
    QSet<QString> kept;
    for (const QString &key : after)
        kept.insert(key);
    bool hasNameless = false;
    for (const QString &key : before) {
        // Settings objects cannot write a group without a name: its keys come back as those of no group.
        if (groupOf(key).isEmpty())
            hasNameless = true;
        else if (key.endsWith(QLatin1Char('/')))
            continue; // the same goes for a key without a name
        else if (isGeneral(groupOf(key)))
            continue;
        else if (!finished.contains(groupOf(key)))
            require(kept.contains(key), "what is not finished stays on the list");
    }
    for (const QString &key : after) {
        if (!isGeneral(groupOf(key)))
            require(hasNameless || !finished.contains(groupOf(key)), "what is finished is off the list");
    }
}

} // namespace

void fuzzUploadIni(const QByteArray &input)
{
    static const bool hasFolder = QDir().mkpath(configPath(QString()));
    require(hasFolder, "there is a folder for the configuration");
    const QString path = configPath(QStringLiteral("upload.ini"));
    forgetLastInput(path);
    writeNew(path, input);

    Uploader uploader;
    uploader.initIni();
    uploader.getFileInfo();
    const QStringList groups = uploader.fileGroups + uploader.httpGroups;
    QStringList finished;
    for (int i = 0; i < groups.size(); ++i) {
        const QString group = groups.at(i);
        require(!group.isEmpty(), "a group has a name");
        require(!uploader.getFileName(group).isEmpty(), "a group has a path");
        require(uploader.getFileInfo(group).startsWith(QLatin1String("nickname-")), "a group has its description");
        uploader.isSdkUp(group);
        if (i % 2 == 0)
            finished.append(group);
    }

    const QStringList before = keysOnDisk();
    bool isRewritten = true;
    for (const QString &group : qAsConst(finished))
        isRewritten = static_cast<UploadList *>(uploader.settings)->giveUp(group) && isRewritten;
    if (isRewritten)
        requireOnlyFinishedAreGone(before, finished);
    else
        require(bytesOf(path) == input, "a list that cannot be rewritten stays as it is");
}
