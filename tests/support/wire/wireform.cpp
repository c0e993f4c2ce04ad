#include "support/wire/wireform.h"

namespace wireform {

QByteArray boundary()
{
    return QByteArrayLiteral("--------GI3Ef1ei4KM7KM7ae0ei4ei4ei4ae0");
}

QByteArray formType()
{
    return "multipart/form-data; boundary=" + boundary();
}

Part textPart(const QByteArray &name, const QByteArray &body)
{
    return {"form-data; name=\"" + name + "\"", body};
}

Part filePart(const QByteArray &fileName, const QByteArray &body)
{
    return {"form-data; name=\"file\"; filename=\"" + fileName + "\"", body, QByteArrayLiteral("image/png")};
}

QByteArray form(const QVector<Part> &parts)
{
    QByteArray bytes;
    for (const Part &part : parts) {
        bytes += "--" + boundary() + "\r\n";
        if (!part.contentType.isEmpty())
            bytes += "Content-Type: " + part.contentType + "\r\n";
        bytes += "Content-Disposition: " + part.disposition + "\r\n\r\n" + part.body + "\r\n";
    }
    return bytes + "--" + boundary() + "--\r\n";
}

QByteArray logForm(const QByteArray &fileName, const QByteArray &body)
{
    return form({textPart("room", "nickname-ann.userid-42."), textPart("namespace", "demo"), filePart(fileName, body)});
}

QByteArray post(const QByteArray &path, const QByteArray &contentType, const QByteArray &body,
                const QByteArray &moreHeaders)
{
    return "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: " + contentType +
           "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n" + moreHeaders + "\r\n" + body;
}

QByteArray logFilePath()
{
    return QByteArrayLiteral("/logsys/client/v1/logfile/upload");
}

QByteArray producerPath()
{
    return QByteArrayLiteral("/v1/clientproducer/upload");
}

QByteArray requestFilePath()
{
    return QByteArrayLiteral("/logsys/client/v1/uploadrequest");
}

QByteArray crashPath()
{
    return QByteArrayLiteral("/logsys/client/v1/crash/upload");
}

QByteArray errorPath()
{
    return QByteArrayLiteral("/logsys/client/v1/error/report");
}

QByteArray reportPath()
{
    return QByteArrayLiteral("/log");
}

} // namespace wireform
