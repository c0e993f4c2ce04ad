#include "wire/uploadrequest.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QVariant>

namespace {

// A constant of the protocol: the service expects this boundary in every form.
constexpr char kBoundary[] = "--------GI3Ef1ei4KM7KM7ae0ei4ei4ei4ae0";
constexpr char kFileProperty[] = "file";

QHttpPart part(const QString &disposition)
{
    QHttpPart result;
    result.setHeader(QNetworkRequest::ContentDispositionHeader, disposition);
    return result;
}

// The bare name, with what would break out of the quoted text written as browsers write it in forms.
QString quotedFileName(const QFile &file)
{
    return QFileInfo(file.fileName())
        .fileName()
        .replace(QLatin1Char('"'), QLatin1String("%22"))
        .replace(QLatin1Char('\r'), QLatin1String("%0D"))
        .replace(QLatin1Char('\n'), QLatin1String("%0A"));
}

QHttpPart filePart(QFile *file)
{
    QHttpPart result = part(QStringLiteral("form-data; name=\"file\"; filename=\"%1\"").arg(quotedFileName(*file)));
    // Deliberately one content type for all files: the service takes no other.
    result.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("image/png"));
    result.setBodyDevice(file);
    return result;
}

// Nobody owns the form and it is never released: Qt may read from it until its manager ends, and the process ends then.
QHttpMultiPart *createForm()
{
    auto *form = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    form->setBoundary(kBoundary);
    return form;
}

} // namespace

UploadRequest::UploadRequest(const QUrl &url) : request_(url)
{
    request_.setHeader(QNetworkRequest::ContentTypeHeader,
                       QString(QStringLiteral("multipart/form-data; boundary=") + QLatin1String(kBoundary)));
    // Whatever the default of Qt is: personal data goes to no address but the one of the build.
    request_.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
}

void UploadRequest::addField(const QByteArray &name, const QByteArray &body)
{
    QHttpPart field = part(QStringLiteral("form-data; name=\"%1\"").arg(QLatin1String(name)));
    field.setBody(body);
    fields_.append(field);
}

QNetworkReply *UploadRequest::post(QFile *file, QObject *owner)
{
    QHttpMultiPart *form = createForm();
    for (const QHttpPart &field : qAsConst(fields_))
        form->append(field);
    form->append(filePart(file));

    auto *manager = new QNetworkAccessManager(owner);
    QNetworkReply *reply = manager->post(request_, form);
    file->setParent(reply);
    reply->setProperty(kFileProperty, QVariant::fromValue(file));
    return reply;
}

UploadRequest logForm(const QUrl &url, const QString &fileInfo, const QString &nameSpace)
{
    UploadRequest request(url);
    request.addField(QByteArrayLiteral("room"), fileInfo.toUtf8());
    request.addField(QByteArrayLiteral("namespace"), nameSpace.toUtf8());
    return request;
}

Finished finish(QObject *sender, const QMessageLogger &record)
{
    auto *reply = qobject_cast<QNetworkReply *>(sender);
    if (reply == nullptr)
        return {};
    const QFile *file = takeFile(reply);
    record.debug() << reply->errorString() << reply->error();
    return {reply, takeAnswer(reply), file != nullptr ? file->fileName() : QString(),
            reply->error() != QNetworkReply::NoError};
}

QFile *takeFile(QNetworkReply *reply)
{
    auto *file = reply->property(kFileProperty).value<QFile *>();
    if (file == nullptr)
        return nullptr;
    file->close();
    file->deleteLater();
    return file;
}

QByteArray takeAnswer(QNetworkReply *reply)
{
    QByteArray answer = reply->readAll();
    reply->manager()->clearConnectionCache();
    return answer;
}
