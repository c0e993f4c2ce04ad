#include "kxlog/logreport.h"

#include <QJsonDocument>

namespace logreport {

namespace {

constexpr std::string_view kReportTag = "kx_log";
const QLatin1String kReportTagText(kReportTag.data(), static_cast<int>(kReportTag.size()));

// A JSON value of Qt 5 is written as a double, which has no room for all numbers of 64 bits.
bool isExactInJson(qint64 number)
{
    constexpr qint64 kLargestExact = Q_INT64_C(1) << 53;
    return QT_VERSION >= QT_VERSION_CHECK(6, 0, 0) || (number >= -kLargestExact && number <= kLargestExact);
}

QString clientDescription(int clientType)
{
    switch (clientType) {
    case 0:
    case 3:
        return QStringLiteral("kx_client");
    case kSignalClient:
        return QStringLiteral("signal_client");
    case kMediaClient:
        return QStringLiteral("media_client");
    default:
        return {};
    }
}

QString reportTitle(int clientType, int reconnectCount)
{
    if (reconnectCount <= 0)
        return QStringLiteral("kx_error");
    // The service knows the client type as one byte; the title follows what it sees.
    switch (static_cast<unsigned char>(clientType)) {
    case kSignalClient:
        return QStringLiteral("signal_reconnect");
    case kMediaClient:
        return QStringLiteral("media_reconnect");
    default:
        return {};
    }
}

} // namespace

bool isReportMessage(const QString &message)
{
    return message.contains(kReportTagText);
}

bool isReportMessage(std::string_view message)
{
    return message.find(kReportTag) != std::string_view::npos;
}

Message parseMessage(const QString &message)
{
    Message result;
    result.text = message;
    result.text.remove(kReportTagText);
    // The order is part of the format: each marker is looked for in what the ones before it left.
    result.uploadSpeed = takeMarkedInt(result.text, QStringLiteral("$#$"), QStringLiteral("upload speed:%1KB/s"));
    result.downloadSpeed = takeMarkedInt(result.text, QStringLiteral("#$#"), QStringLiteral("download speed:%1KB/s"));
    result.clientType = takeMarkedInt(result.text, QStringLiteral("$$"), QString());
    result.reconnectCount = takeMarkedInt(result.text, QStringLiteral("@@"), QStringLiteral("count:%1"));
    result.clientDescription = clientDescription(result.clientType);
    result.title = reportTitle(result.clientType, result.reconnectCount);
    // Undoes the escaping that the debug stream applies to quoted text.
    result.text.remove(QLatin1String("\\n"));
    result.text.remove(QLatin1Char('\\'));
    return result;
}

QString recordText(const QString &head, const QString &location, const Message &message)
{
    return head + location + message.clientDescription + QStringLiteral("   ") + message.title + QStringLiteral("  ") +
           message.text + QStringLiteral("\r\n");
}

int takeMarkedInt(QString &text, const QString &marker, const QString &format)
{
    const auto start = text.indexOf(marker);
    if (start < 0)
        return 0;
    const auto valueStart = start + marker.size();
    const auto valueEnd = text.indexOf(marker, valueStart);
    const QString digits = text.mid(valueStart, valueEnd < 0 ? -1 : valueEnd - valueStart);
    const int value = digits.toInt();

    const auto end = text.lastIndexOf(marker) + marker.size();
    // Unlike QString::arg(), this takes a format without the place for the value as it is.
    text.replace(start, end - start, QString(format).replace(QLatin1String("%1"), QString::number(value)));
    return value;
}

unsigned char reportLevel(QtMsgType type)
{
    // Not in the order of severity: these are the service's own numbers.
    switch (type) {
    case QtDebugMsg:
        return 2;
    case QtWarningMsg:
        return 4;
    case QtCriticalMsg:
        return 5;
    case QtFatalMsg:
        return 0;
    case QtInfoMsg:
        return 1;
    }
    return 0;
}

QJsonObject reportDocument(const Report &report)
{
    // Keys of Latin-1 go in as they are; those of QString would be converted first.
    QJsonObject document;
    document.insert(QLatin1String("Level"), report.level);
    document.insert(QLatin1String("CType"), report.clientType);
    document.insert(QLatin1String("Trigger"), report.trigger);
    document.insert(QLatin1String("AppKey"), report.appKey);
    document.insert(QLatin1String("RoomId"), report.roomId);
    document.insert(QLatin1String("CDesc"), report.clientDescription);
    document.insert(QLatin1String("Device"), report.device);
    document.insert(QLatin1String("SVer"), report.serviceVersion);
    document.insert(QLatin1String("CVer"), report.clientVersion);
    document.insert(QLatin1String("OS"), report.system);
    document.insert(QLatin1String("ProdDesc"), report.clientName);
    document.insert(QLatin1String("UserSid"), report.userId);
    document.insert(QLatin1String("LogTitle"), report.title);
    document.insert(QLatin1String("LogData"), report.data);
    document.insert(QLatin1String("Server"), report.server);
    document.insert(QLatin1String("CIP"), report.clientAddress);
    document.insert(QLatin1String("VUpload"), report.uploadSpeed);
    document.insert(QLatin1String("VDownload"), report.downloadSpeed);
    document.insert(QLatin1String("ReconnCnt"), report.reconnectCount);
    document.insert(QLatin1String("Timestamp"), report.timestamp);
    document.insert(QLatin1String("ElapsedTime"), report.elapsedSeconds);
    return document;
}

QByteArray errorDocument(const QString &roomSdkId, const QString &userId, int role, const QString &userName,
                         const QString &message, qint64 type)
{
    QJsonObject document;
    if (!roomSdkId.isEmpty())
        document.insert(QStringLiteral("room_sdk_id"), roomSdkId);
    document.insert(QStringLiteral("namespace"), QStringLiteral("kavri"));
    document.insert(QStringLiteral("message"), message);
    if (role >= 0)
        document.insert(QStringLiteral("role"), role);
    if (!userId.isEmpty())
        document.insert(QStringLiteral("user_id"), userId);
    if (!userName.isEmpty())
        document.insert(QStringLiteral("username"), userName);
    document.insert(QStringLiteral("type"), isExactInJson(type) ? type : 0);
    document.insert(QStringLiteral("sdk"), QStringLiteral("5"));
    QByteArray text = QJsonDocument(document).toJson();
    // The beginning of the line tells the member from any text: there, line feeds are escaped.
    const QByteArray member = QByteArrayLiteral("\n    \"type\": ");
    if (!isExactInJson(type))
        text.replace(member + '0', member + QByteArray::number(type));
    return text;
}

} // namespace logreport
