#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QtGlobal>

#include <string_view>

/// Pure functions of the two reports of the logging module: marked message -> record text and fields; fields -> JSON.
///
/// A message that contains "kx_log" is a report message. It carries numbers wrapped in marker strings inside its text,
/// for example "$#$120$#$" for an upload speed of 120.
namespace logreport {

/// Client types that have a server and a title of their own.
inline constexpr int kSignalClient = 1;
inline constexpr int kMediaClient = 2;

/// What a report message says, as cut out of its text. A number that is missing or does not convert is 0.
struct Message
{
    int uploadSpeed = 0;   ///< KB/s
    int downloadSpeed = 0; ///< KB/s
    int clientType = 0;    ///< any int; 0 to 3 have a description
    int reconnectCount = 0;
    QString clientDescription; ///< "kx_client", "signal_client", "media_client" or empty
    QString title;             ///< "kx_error", "signal_reconnect", "media_reconnect" or empty
    QString text;              ///< the message without tag and escapes, its fields as readable text
};

/// Whether \a message is a report message.
bool isReportMessage(const QString &message);
bool isReportMessage(std::string_view message);

/// Cuts the fields out of a report message.
Message parseMessage(const QString &message);

/// Record of a report message, line end included: \a head (bracketed time and level), \a location (bracketed file, line
/// and function), description, title and text.
QString recordText(const QString &head, const QString &location, const Message &message);

/// Extracts one marked integer and rewrites \a text in place.
///
/// The value is the text between the first two markers, or all that follows the only one. Everything from the first
/// marker to the end of the last one is replaced by \a format with the value for its "%1", or removed when \a format is
/// empty. Occurrences of the last marker may overlap others. The value is 0 when it is not a number, and when the
/// marker is missing; \a text is then unchanged.
int takeMarkedInt(QString &text, const QString &marker, const QString &format);

/// Report level of a message type: debug 2, warning 4, critical 5, fatal 0, info 1.
unsigned char reportLevel(QtMsgType type);

/// What one remote report says, to be filled by name. JSON names in the comments.
struct Report
{
    unsigned char level = 0;      ///< "Level", see reportLevel()
    unsigned char clientType = 0; ///< "CType", low byte of the client type
    unsigned char trigger = 0;    ///< "Trigger"
    QString appKey;               ///< "AppKey"
    QString roomId;               ///< "RoomId"
    QString clientDescription;    ///< "CDesc"
    QString device;               ///< "Device", hardware description, JSON text
    QString serviceVersion;       ///< "SVer"
    QString clientVersion;        ///< "CVer"
    QString system;               ///< "OS"
    QString userId;               ///< "UserSid"
    QString title;                ///< "LogTitle"
    QString data;                 ///< "LogData", location and text
    QString server;               ///< "Server"
    QString clientAddress;        ///< "CIP"
    int uploadSpeed = 0;          ///< "VUpload", KB/s
    int downloadSpeed = 0;        ///< "VDownload", KB/s
    int reconnectCount = 0;       ///< "ReconnCnt"
    int timestamp = 0;            ///< "Timestamp"
    int elapsedSeconds = 0;       ///< "ElapsedTime"
    QString clientName;           ///< "ProdDesc"
};

/// The JSON document of a remote report: one object with 21 members.
QJsonObject reportDocument(const Report &report);

/// The JSON document of an error report, as indented text. An empty \a roomSdkId, \a userId or \a userName and a
/// negative \a role leave their members out; \a type keeps all its 64 bits.
QByteArray errorDocument(const QString &roomSdkId, const QString &userId, int role, const QString &userName,
                         const QString &message, qint64 type);

} // namespace logreport
