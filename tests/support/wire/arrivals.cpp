#include "support/wire/arrivals.h"

#include "support/tool/toolsetup.h"
#include "support/wire/multipartform.h"

#include <QFileInfo>

QList<Arrival> arrivals(const ScriptedServer &server)
{
    QList<Arrival> arrived;
    for (const RecordedRequest &request : server.distinctRequests()) {
        const MultipartForm form = parseForm(request);
        if (request.bodyComplete && form.isWellFormed())
            arrived.append({sentFileName(request), form.parts.last().body});
    }
    return arrived;
}

QStringList arrivedNames(const ScriptedServer &server)
{
    QStringList names;
    for (const Arrival &arrival : arrivals(server))
        names.append(arrival.name);
    return names;
}

QString fastFolder()
{
    const QFileInfo memory(QStringLiteral("/dev/shm"));
    return memory.isDir() && memory.isWritable() ? memory.filePath() : QString();
}
