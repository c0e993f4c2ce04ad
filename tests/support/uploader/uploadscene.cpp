#include "support/uploader/uploadscene.h"

#include "kxlog/kxlog.h"
#include "support/files/fileio.h"
#include "support/process/messagelines.h"
#include "support/process/ownhome.h"
#include "support/uploader/uploadini.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QDir>
#include <QFileInfo>
#include <QNetworkReply>

namespace {

/// Opens an own log without letting it take the messages, which belong to the test.
void openOwnLog(const QString &dir)
{
    const QtMessageHandler before =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    KxLog::instance()->install_log(dir);
    qInstallMessageHandler(before);
}

} // namespace

UploadScene::UploadScene(const QList<Reply> &script, const Reply &fallback) : server(servicePort(), script, fallback)
{
    useHome(path(QStringLiteral("home")));
    uploadini::write(QByteArray());
    openOwnLog(path(QStringLiteral("own")));
    messages = std::make_unique<MessageCatcher>();
}

UploadScene::~UploadScene()
{
    KxLog::instance()->closeFile();
    uploadini::remove();
}

bool UploadScene::isValid() const
{
    return dir.isValid() && server.isListening();
}

QString UploadScene::addFile(const QString &name, const QByteArray &bytes) const
{
    if (!writeFile(path(name), bytes))
        qFatal("cannot write %s", qPrintable(path(name)));
    return path(name);
}

QString UploadScene::addDirectory(const QString &name) const
{
    QDir().mkpath(path(name));
    addFile(name + QStringLiteral("/inside"), "bytes");
    return path(name);
}

void UploadScene::addGroup(const QString &group, const QString &path) const
{
    uploadini::set(group + QStringLiteral("/path"), path);
}

RunEnd UploadScene::run(const std::function<void()> &start, const std::function<bool()> &stopWhen)
{
    uploader.initIni();
    // Catchers nest: the old one has to be gone before the new one comes.
    messages.reset();
    messages = std::make_unique<MessageCatcher>();
    return runApplication(start, stopWhen);
}

QList<QNetworkReply *> UploadScene::repliesInFlight() const
{
    QList<QNetworkReply *> replies;
    const auto all = uploader.findChildren<QNetworkReply *>();
    for (QNetworkReply *reply : all) {
        if (!reply->isFinished())
            replies += reply;
    }
    return replies;
}

QNetworkReply *UploadScene::replyInFlight() const
{
    const QList<QNetworkReply *> replies = repliesInFlight();
    return replies.size() == 1 ? replies.first() : nullptr;
}

bool UploadScene::isIdle() const
{
    return !uploader.findChildren<QNetworkReply *>().isEmpty() && uploader.findChildren<QFile *>().isEmpty();
}

QStringList UploadScene::lines() const
{
    return messageLinesOf(*messages, QStringLiteral("KxUpload"));
}

QStringList UploadScene::sentFileNames() const
{
    QStringList names;
    for (const RecordedRequest &request : server.distinctRequests()) {
        const MultipartForm form = parseForm(request);
        if (form.isWellFormed() && !form.parts.isEmpty())
            names += form.parts.last().fileName;
        else
            names += QStringLiteral("malformed: ") + form.problem;
    }
    return names;
}

QString UploadScene::ownLogName() const
{
    return QFileInfo(KxLog::instance()->fileName()).fileName();
}
