#include "wire/uploadtexts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

namespace uploadtexts {

QString userWithoutEmpty(const QString &nickname, const QString &loginName, const QString &userId)
{
    QString text;
    if (!nickname.isEmpty())
        text += QStringLiteral("nickname-") + nickname + QLatin1Char('.');
    if (!loginName.isEmpty())
        text += QStringLiteral("loginname-") + loginName + QLatin1Char('.');
    if (!userId.isEmpty())
        text += QStringLiteral("userid-") + userId + QLatin1Char('.');
    return text;
}

QString userWithAllLabels(const QString &nickname, const QString &loginName, const QString &userId)
{
    return QStringLiteral("nickname-") + nickname + QStringLiteral(".loginname-") + loginName +
           QStringLiteral(".userid-") + userId + QLatin1Char('.');
}

QString joinRooms(const QString &prefix, const QMap<QString, QVariant> &rooms)
{
    QStringList entries;
    for (auto room = rooms.cbegin(); room != rooms.cend(); ++room) {
        entries +=
            prefix + QStringLiteral("roomid-") + room.key() + QStringLiteral(".roomname-") + room.value().toString();
    }
    return entries.join(QLatin1Char(','));
}

QByteArray crashBase(const CrashBase &values)
{
    const QJsonObject base{
        {QStringLiteral("sdk"), 5},
        {QStringLiteral("namespace"), values.nameSpace},
        {QStringLiteral("user_id"), values.userId},
        {QStringLiteral("nickname"), values.nickname},
        {QStringLiteral("version"), values.version},
    };
    return QJsonDocument(base).toJson(QJsonDocument::Compact);
}

QByteArray crashRooms(const QMap<QString, QVariant> &rooms)
{
    QJsonArray list;
    for (auto room = rooms.cbegin(); room != rooms.cend(); ++room) {
        list.append(QJsonObject{
            {QStringLiteral("room_sdk_id"), room.key()},
            {QStringLiteral("room_name"), room.value().toString()},
        });
    }
    return QJsonDocument(QJsonObject{{QStringLiteral("info"), list}}).toJson(QJsonDocument::Compact);
}

} // namespace uploadtexts
