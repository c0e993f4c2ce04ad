#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

#include <filesystem>

/// A folder of stored uploads that was filled by somebody else.
class StoredScene
{
public:
    QString path(const QString &name = QString()) const { return dir_.filePath(name); }
    std::filesystem::path folder() const { return dir_.path().toStdString(); }

    /// Writes the file \a name, making its folder. Returns whether it is there.
    bool write(const QString &name, const QByteArray &bytes) const;

    /// Adds the upload \a id of a log file with that "room" and file name, which has to be JSON text without quotes.
    bool addLog(const QString &id, const QByteArray &room, const QByteArray &fileName,
                const QByteArray &bytes = QByteArrayLiteral("bytes")) const;

private:
    const QTemporaryDir dir_;
};
