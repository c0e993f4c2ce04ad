#include "kxupload.h"

#include "ini/inforecord.h"
#include "ini/uploadlist.h"
#include "kxendpoints.h"
#include "kxlog/kxlog.h"
#include "process/eventpause.h"
#include "wire/snapshotfile.h"
#include "wire/uploadanswer.h"
#include "wire/uploadrequest.h"
#include "wire/uploadtexts.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>
#include <QStringList>
#include <QTimer>

#include <cstdlib>

namespace {

constexpr int kWatchdogMs = 300000;
constexpr int kPauseMs = 500;

QString iniPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/config/upload.ini");
}

UploadList &listOf(QSettings *settings)
{
    return *static_cast<UploadList *>(settings);
}

QUrl serviceUrl(const char *endpointPath)
{
    return {QLatin1String(kxendpoints::kLogServiceUrl) + QLatin1String(endpointPath)};
}

} // namespace

KxUpload::KxUpload(QObject *parent) : QObject(parent), settings(new UploadList(iniPath()))
{
    // Not a child of this object: the settings live as long as the application.
    connect(qApp, &QObject::destroyed, settings, [ini = settings] { delete ini; });
}

KxUpload::~KxUpload() = default;

void KxUpload::startUpload()
{
    QTimer::singleShot(kWatchdogMs, Qt::PreciseTimer, qApp, SLOT(quit()));
    initIni();
    pauseWithEvents(kPauseMs);

    const QString info = getFileInfo();
    if (!crashPath.isEmpty()) {
        uploadCrash();
    } else if (!info.isEmpty()) {
        uploadList();
    } else {
        // The event loop does not run yet, and a quit() before it starts is lost.
        QCoreApplication::quit();
        std::exit(0);
    }
}

void KxUpload::initIni()
{
    const QString systemGroup = QStringLiteral("system");
    const QString roomGroup = QStringLiteral("room");
    UploadList ini(iniPath());
    for (const QString &group : {systemGroup, roomGroup}) {
        if (!ini.isReadable(group))
            qDebug() << "cannot read" << group << ini.fileName();
    }

    systemPath = ini.read(systemGroup, QStringLiteral("path")).toString();
    sdkPath = ini.read(systemGroup, QStringLiteral("sdkpath")).toString();
    httpPath = ini.read(systemGroup, QStringLiteral("httppath")).toString();
    infoPath = ini.read(systemGroup, QStringLiteral("infopath")).toString();
    logFiles = ini.read(systemGroup, QStringLiteral("logfiles")).toStringList();
    nickname = ini.read(systemGroup, QStringLiteral("nickname")).toString();
    loginName = ini.read(systemGroup, QStringLiteral("loginName")).toString();
    userId = ini.read(systemGroup, QStringLiteral("userId")).toString();
    nameSpace = ini.read(systemGroup, QStringLiteral("namespace")).toString();
    version = ini.read(systemGroup, QStringLiteral("version")).toString();

    const QStringList roomIds = ini.keys(roomGroup);
    for (const QString &id : roomIds)
        roomMap.insert(id, ini.read(roomGroup, id));

    const QStringList groups = ini.groups();
    for (const QString &group : groups) {
        if (group.contains(QLatin1String("http_")))
            httpGroups.append(group);
        else if (!group.contains(QLatin1String("system")) && !group.contains(QLatin1String("room")))
            fileGroups.append(group);
    }

    qDebug() << "version:" << version << fileGroups << httpGroups << nickname << userId;
}

void KxUpload::setCrashPath(const QString &path)
{
    qDebug() << path;
    crashPath = path;
}

QString KxUpload::getFileInfo()
{
    const QString prefix = uploadtexts::userWithoutEmpty(nickname, loginName, userId);
    const QString rooms = uploadtexts::joinRooms(prefix, roomMap);
    qDebug() << rooms;
    return rooms.isEmpty() ? prefix : rooms;
}

QString KxUpload::getFileInfo(const QString &group)
{
    const UploadList &list = listOf(settings);
    const auto valueOr = [&](const QString &key, const QString &fallback) {
        const QString value = list.read(group, key).toString();
        return value.isEmpty() ? fallback : value;
    };
    const QString prefix = uploadtexts::userWithAllLabels(valueOr(QStringLiteral("nickname"), nickname),
                                                          valueOr(QStringLiteral("loginName"), loginName),
                                                          valueOr(QStringLiteral("userId"), userId));
    QMap<QString, QVariant> rooms = list.read(group, QStringLiteral("room")).toMap();
    if (rooms.isEmpty())
        rooms = roomMap;
    QString info = uploadtexts::joinRooms(prefix, rooms);
    if (info.isEmpty())
        info = prefix;
    qDebug() << group << info;
    return info;
}

QString KxUpload::getFileName(const QString &group)
{
    QString path = listOf(settings).read(group, QStringLiteral("path")).toString();
    if (path.isEmpty())
        path = QCoreApplication::applicationDirPath() + QStringLiteral("/logs/") + group + QStringLiteral(".log");
    qDebug() << path;
    return path;
}

bool KxUpload::isSdkUp(const QString &group)
{
    return listOf(settings).read(group, QStringLiteral("sdk"), 0).toInt() == 1;
}

void KxUpload::uploadCrash()
{
    if (QFileInfo(crashPath).size() == 0) {
        uploadList();
        return;
    }

    const QByteArray base = uploadtexts::crashBase({nameSpace, userId, nickname, version});
    qDebug() << base;

    auto *file = new SnapshotFile(crashPath, this);
    file->open(QIODevice::ReadOnly);
    // Opened twice on purpose: a dump that opens at once stays on disk for its owner, and the log list goes on.
    if (!file->open(QIODevice::ReadOnly)) {
        file->close();
        uploadList();
        return;
    }

    UploadRequest request(serviceUrl("/v1/crash/upload"));
    request.addField(QByteArrayLiteral("base"), base);
    request.addField(QByteArrayLiteral("info"), uploadtexts::crashRooms(roomMap));
    QNetworkReply *reply = request.post(file, this);
    connect(reply, SIGNAL(finished()), this, SLOT(onCrashFinished()));
}

void KxUpload::uploadInfo()
{
    uploadList();
}

void KxUpload::uploadList()
{
    if (fileGroups.isEmpty()) {
        uploadLogs();
        return;
    }
    const QString group = fileGroups.takeFirst();
    if (listOf(settings).isReadable(group)) {
        const QString path = getFileName(group);
        const bool exists = QFile::exists(path);
        if (exists && !getFileInfo(group).isEmpty()) {
            if (QFileInfo(path).size() != 0) {
                uploadOneFile(group);
                return;
            }
            qDebug() << path << "is empty";
        } else {
            qDebug() << !exists << path;
        }
        finishedOneFile(group);
    } else {
        qDebug() << "cannot read" << group << settings->fileName();
    }
    // From the event loop, whenever a group is skipped: a long row of them neither grows the stack nor keeps the
    // watchdog from its turn.
    QTimer::singleShot(0, this, &KxUpload::uploadList);
}

void KxUpload::uploadOneFile(const QString &group)
{
    const QString path = getFileName(group);
    const bool sdk = isSdkUp(group);
    const QUrl url = sdk ? QUrl(QLatin1String(kxendpoints::kProducerUrl)) : serviceUrl("/v1/logfile/upload");
    UploadRequest request = logForm(url, getFileInfo(group), nameSpace);

    auto *file = new SnapshotFile(path, this);
    if (!file->open(QIODevice::ReadOnly)) {
        qDebug() << "open file failed" << path;
        file->close();
        file->deleteLater();
        finishedOneFile(group);
        QTimer::singleShot(0, this, &KxUpload::uploadList);
        return;
    }

    QNetworkReply *reply = request.post(file, this);
    reply->setProperty("path", path);
    reply->setProperty("group", group);
    reply->setProperty("sdk", sdk);
    connect(reply, SIGNAL(finished()), this, SLOT(onOneFile()));
}

void KxUpload::finishedOneFile(const QString &group)
{
    if (!listOf(settings).giveUp(group))
        qDebug() << "cannot rewrite" << settings->fileName();
}

void KxUpload::uploadLogs()
{
    KxLog::instance()->closeFile();
    pauseWithEvents(kPauseMs);

    auto *file = new SnapshotFile(KxLog::instance()->fileName(), this);
    UploadRequest request = logForm(serviceUrl("/v1/logfile/upload"), getFileInfo(), nameSpace);
    if (!file->open(QIODevice::ReadOnly)) {
        file->close();
        file->deleteLater();
        // Queued: this pass may run before the event loop starts, and a quit() then would be lost.
        QMetaObject::invokeMethod(qApp, "quit", Qt::QueuedConnection);
        return;
    }
    QNetworkReply *reply = request.post(file, this);
    connect(reply, SIGNAL(finished()), this, SLOT(onUploadLogs()));
}

void KxUpload::uploadHttpList()
{
    if (httpGroups.isEmpty()) {
        uploadLogs();
        return;
    }
    const QString group = httpGroups.takeFirst();
    if (listOf(settings).isReadable(group) && QFile::exists(getFileName(group)) && !getFileInfo(group).isEmpty()) {
        uploadHttpFile(group);
        return;
    }
    finishedOneHttpFile(group);
    QTimer::singleShot(0, this, &KxUpload::uploadHttpList);
}

void KxUpload::uploadHttpFile(const QString &group)
{
    const QString path = getFileName(group);
    UploadRequest request = logForm(serviceUrl("/v1/uploadrequest"), getFileInfo(group), nameSpace);
    auto *file = new SnapshotFile(path, this);
    // The outcome does not matter here: the service is asked in any case.
    file->open(QIODevice::ReadOnly);
    QNetworkReply *reply = request.post(file, this);
    reply->setProperty("path", path);
    reply->setProperty("group", group);
    connect(reply, SIGNAL(finished()), this, SLOT(onHttpOneFinished()));
}

void KxUpload::finishedOneHttpFile(const QString &group)
{
    // Nobody knows which file belongs to a group that cannot be read.
    if (!listOf(settings).isReadable(group)) {
        qDebug() << "cannot read" << group << settings->fileName();
        return;
    }
    QFile::remove(getFileName(group));
    finishedOneFile(group);
}

void KxUpload::httpUpload()
{
    UploadRequest request = logForm(serviceUrl("/v1/uploadrequest"), getFileInfo(), nameSpace);
    auto *file = new SnapshotFile(httpPath, this);
    // The outcome does not matter here: the service is asked in any case.
    file->open(QIODevice::ReadOnly);
    QNetworkReply *reply = request.post(file, this);
    connect(reply, SIGNAL(finished()), this, SLOT(onHttpFinished()));
}

QNetworkAccessManager *KxUpload::getManager()
{
    return new QNetworkAccessManager(this);
}

void KxUpload::deleteReply(QNetworkReply *reply)
{
    reply->manager()->deleteLater();
    reply->deleteLater();
}

void KxUpload::onInfoFinished()
{
    const Finished done = finish(sender(), QMessageLogger(QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC));
    if (done.reply == nullptr)
        return;
    qDebug() << "data:" << done.answer;
    if (done.hasFailed) {
        QCoreApplication::quit();
        return;
    }

    if (uploadanswer::judge(done.answer) == uploadanswer::Verdict::Accepted)
        recordAcceptedInfo(userId);
    uploadList();
}

void KxUpload::onHttpOneFinished()
{
    const Finished done = finish(sender(), QMessageLogger(QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC));
    if (done.reply == nullptr)
        return;
    qDebug() << "data:" << done.answer << done.fileName;
    if (done.hasFailed) {
        QCoreApplication::quit();
        return;
    }

    const uploadanswer::Verdict verdict = uploadanswer::judge(done.answer);
    if (verdict == uploadanswer::Verdict::NotJson) {
        uploadLogs();
        return;
    }
    if (verdict == uploadanswer::Verdict::Accepted)
        finishedOneHttpFile(done.reply->property("group").toString());
    uploadHttpList();
}

void KxUpload::onHttpFinished()
{
    const Finished done = finish(sender(), QMessageLogger(QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC));
    if (done.reply == nullptr)
        return;
    qDebug() << "data:" << done.answer << done.fileName;
    if (done.hasFailed) {
        QCoreApplication::quit();
        return;
    }

    if (uploadanswer::judge(done.answer) == uploadanswer::Verdict::Accepted)
        QFile::remove(httpPath);
    uploadLogs();
}

void KxUpload::onCrashFinished()
{
    const Finished done = finish(sender(), QMessageLogger(QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC));
    if (done.reply == nullptr)
        return;
    qDebug() << "data:" << done.answer << done.fileName;
    if (done.hasFailed) {
        QCoreApplication::quit();
        return;
    }
    uploadList();
}

void KxUpload::onOneFile()
{
    const Finished done = finish(sender(), QMessageLogger(QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC));
    if (done.reply == nullptr)
        return;
    const QString path = done.reply->property("path").toString();
    qDebug() << "data:" << done.answer << path;

    const uploadanswer::FileOutcome outcome =
        uploadanswer::judgeListedFile(done.hasFailed, done.answer, done.reply->property("sdk").toBool());
    if (outcome.deleteLocalFile)
        qDebug() << QFile::remove(path) << path;
    if (outcome.removeGroup)
        finishedOneFile(done.reply->property("group").toString());
    uploadList();
}

void KxUpload::onUploadLogs()
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (reply == nullptr)
        return;
    takeFile(reply);
    const QByteArray answer = takeAnswer(reply);
    // An answer that is not JSON leaves the end to the watchdog.
    if (reply->error() != QNetworkReply::NoError || uploadanswer::judge(answer) != uploadanswer::Verdict::NotJson)
        QCoreApplication::quit();
}
