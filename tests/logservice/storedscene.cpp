#include "storedscene.h"

#include "support/files/fileio.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

bool StoredScene::write(const QString &name, const QByteArray &bytes) const
{
    return QDir().mkpath(QFileInfo(path(name)).path()) && writeFile(path(name), bytes);
}

bool StoredScene::addLog(const QString &id, const QByteArray &room, const QByteArray &fileName,
                         const QByteArray &bytes) const
{
    return write(id + QStringLiteral("/file.bin"), bytes) &&
           write(id + QStringLiteral("/upload.json"),
                 "{\"time\":\"2024-05-01T09:30:00Z\",\"kind\":\"logfile\",\"fileName\":\"" + fileName +
                     "\",\"size\":5,\"fields\":{\"room\":\"" + room + "\",\"namespace\":\"demo\"}}");
}
