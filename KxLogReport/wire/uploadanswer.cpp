#include "wire/uploadanswer.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace uploadanswer {

Verdict judge(const QByteArray &body)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        return Verdict::NotJson;
    const int code = document.object().value(QStringLiteral("Code")).toInt(0);
    return code == 0 ? Verdict::Accepted : Verdict::Rejected;
}

FileOutcome judgeListedFile(bool transportError, const QByteArray &body, bool sdk)
{
    if (transportError)
        return {};
    const Verdict verdict = judge(body);
    return {verdict == Verdict::Accepted, sdk && verdict != Verdict::NotJson};
}

} // namespace uploadanswer
