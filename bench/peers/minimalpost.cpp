// Peer of a large upload: posts the tool's form with nothing around it.
// Usage: minimalpost URL FILE

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrl>

namespace {

QHttpPart part(const QString &disposition)
{
    QHttpPart result;
    result.setHeader(QNetworkRequest::ContentDispositionHeader, disposition);
    return result;
}

QHttpPart field(const QString &name, const QByteArray &body)
{
    QHttpPart result = part(QStringLiteral("form-data; name=\"%1\"").arg(name));
    result.setBody(body);
    return result;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    QFile file(arguments.value(2));
    if (!file.open(QIODevice::ReadOnly))
        return 1;

    QHttpMultiPart form(QHttpMultiPart::FormDataType);
    form.append(field(QStringLiteral("room"), "nickname-ann.loginname-a1.userid-42.roomid-7.roomname-lobby"));
    form.append(field(QStringLiteral("namespace"), "bench"));
    QHttpPart filePart =
        part(QStringLiteral("form-data; name=\"file\"; filename=\"%1\"").arg(QFileInfo(file).fileName()));
    filePart.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("image/png"));
    filePart.setBodyDevice(&file);
    form.append(filePart);

    QNetworkAccessManager manager;
    QNetworkReply *reply = manager.post(QNetworkRequest(QUrl(arguments.value(1))), &form);
    QObject::connect(reply, &QNetworkReply::finished, qApp,
                     [reply] { QCoreApplication::exit(reply->error() == QNetworkReply::NoError ? 0 : 1); });
    return QCoreApplication::exec();
}
