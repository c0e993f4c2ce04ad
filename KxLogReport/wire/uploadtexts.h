#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVariant>

/// Texts of the forms, made of what the list says.
namespace uploadtexts {

/// "nickname-ann.loginname-a1.userid-42.", without the labels of empty values.
QString userWithoutEmpty(const QString &nickname, const QString &loginName, const QString &userId);
/// The same with all three labels: the service splits the description of a single group by them, which differs on
/// purpose.
QString userWithAllLabels(const QString &nickname, const QString &loginName, const QString &userId);

/// One entry per room, joined by ",": \a prefix and "roomid-7.roomname-lobby". Empty without rooms.
QString joinRooms(const QString &prefix, const QMap<QString, QVariant> &rooms);

/// What a crash dump is sent with besides the rooms.
struct CrashBase
{
    QString nameSpace;
    QString userId;
    QString nickname;
    QString version;
};

/// The form field "base" of a crash dump.
QByteArray crashBase(const CrashBase &values);
/// The form field "info" of a crash dump.
QByteArray crashRooms(const QMap<QString, QVariant> &rooms);

} // namespace uploadtexts
