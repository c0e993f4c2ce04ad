#include "support/wire/arrivals.h"

#include "support/wire/multipartform.h"

#include <QRegularExpression>

QString sentFileName(const RecordedRequest &request)
{
    static const QRegularExpression ownLog(QStringLiteral("^upload_\\d{4}(_\\d\\d){5}\\.log$"));
    const MultipartForm form = parseForm(request);
    if (!form.isWellFormed())
        return form.problem;
    const QString name = form.parts.last().fileName;
    return ownLog.match(name).hasMatch() ? QStringLiteral("own log") : name;
}

QStringList sentFileNames(const ScriptedServer &server)
{
    QStringList names;
    for (const RecordedRequest &request : server.requests())
        names.append(sentFileName(request));
    return names;
}

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
