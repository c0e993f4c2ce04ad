#include "kxupload.h"

#include "inicheck.h"
#include "kxendpoints.h"
#include "kxlog/kxlog.h"
#include "process/eventpause.h"
#include "rewritespace.h"
#include "wire/snapshotfile.h"
#include "wire/uploadanswer.h"
#include "wire/uploadrequest.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>
#include <QStandardPaths>
#include <QStringList>
#include <QTimer>

#include <cstdlib>

namespace {

constexpr int kWatchdogMs = 300000;
constexpr int kPauseMs = 500;
// How long a pass may skip groups before the event loop, and with it the watchdog, has its turn.
constexpr int kSkippingMs = 100;

QString iniPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/config/upload.ini");
}

/// Path for a settings object on the INI file. If what could harm the process cannot be taken out of the file, it is a
/// path at which there is nothing and can be nothing: then nothing is sent, and nothing is forgotten.
QString checkedIniPath()
{
    return takeHarmfulValuesOut(iniPath()) ? iniPath() : iniPath() + QStringLiteral("/unreadable");
}

QUrl serviceUrl(const char *endpointPath)
{
    return {QLatin1String(kxendpoints::kLogServiceUrl) + QLatin1String(endpointPath)};
}

UploadRequest logForm(const QUrl &url, const QString &fileInfo, const QString &nameSpace)
{
    UploadRequest request(url);
    request.addField(QByteArrayLiteral("room"), fileInfo.toUtf8());
    request.addField(QByteArrayLiteral("namespace"), nameSpace.toUtf8());
    return request;
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

// Whether the group could be removed. Better a group that is sent once more than an INI file that is cut.
bool removeGroup(QSettings &settings, const QString &group)
{
    if (!hasSpaceToRewrite(settings.fileName()))
        return false;
    settings.beginGroup(group);
    // Without a name it would be the whole file that is removed.
    const bool isNamed = !settings.group().isEmpty();
    if (isNamed)
        settings.remove(QString());
    settings.endGroup();
    if (isNamed)
        settings.remove(group);
    settings.sync();
    return true;
}

} // namespace

KxUpload::KxUpload(QObject *parent) : QObject(parent), settings(new QSettings(checkedIniPath(), QSettings::IniFormat))
{
    settings->setIniCodec("UTF-8");
    // Not a child of this object: the settings live as long as the application.
    connect(qApp, &QObject::destroyed, settings, [ini = settings] { delete ini; });
}

KxUpload::~KxUpload() = default;

void KxUpload::startUpload()
{
    QTimer::singleShot(kWatchdogMs, qApp, SLOT(quit()));
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
    QSettings ini(checkedIniPath(), QSettings::IniFormat);
    ini.setIniCodec("UTF-8");

    ini.beginGroup(QStringLiteral("system"));
    systemPath = ini.value(QStringLiteral("path")).toString();
    sdkPath = ini.value(QStringLiteral("sdkpath")).toString();
    httpPath = ini.value(QStringLiteral("httppath")).toString();
    infoPath = ini.value(QStringLiteral("infopath")).toString();
    logFiles = ini.value(QStringLiteral("logfiles")).toStringList();
    nickname = ini.value(QStringLiteral("nickname")).toString();
    loginName = ini.value(QStringLiteral("loginName")).toString();
    userId = ini.value(QStringLiteral("userId")).toString();
    nameSpace = ini.value(QStringLiteral("namespace")).toString();
    version = ini.value(QStringLiteral("version")).toString();
    ini.endGroup();

    ini.beginGroup(QStringLiteral("room"));
    const QStringList roomIds = ini.childKeys();
    for (const QString &id : roomIds)
        roomMap.insert(id, ini.value(id));
    ini.endGroup();

    const QStringList groups = ini.childGroups();
    for (const QString &group : groups) {
        // A damaged file may have a group without a name, which cannot be entered.
        if (group.isEmpty())
            continue;
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
    // An empty value has no label here. The description of a single group differs on purpose.
    QString prefix;
    if (!nickname.isEmpty())
        prefix += QStringLiteral("nickname-") + nickname + QLatin1Char('.');
    if (!loginName.isEmpty())
        prefix += QStringLiteral("loginname-") + loginName + QLatin1Char('.');
    if (!userId.isEmpty())
        prefix += QStringLiteral("userid-") + userId + QLatin1Char('.');

    const QString rooms = joinRooms(prefix, roomMap);
    qDebug() << rooms;
    return rooms.isEmpty() ? prefix : rooms;
}

QString KxUpload::getFileInfo(const QString &group)
{
    settings->beginGroup(group);
    const auto valueOr = [this](const QString &key, const QString &fallback) {
        const QString value = settings->value(key).toString();
        return value.isEmpty() ? fallback : value;
    };
    // Empty values keep their labels here: the service splits this text by all three.
    const QString prefix = QStringLiteral("nickname-") + valueOr(QStringLiteral("nickname"), nickname) +
                           QStringLiteral(".loginname-") + valueOr(QStringLiteral("loginName"), loginName) +
                           QStringLiteral(".userid-") + valueOr(QStringLiteral("userId"), userId) + QLatin1Char('.');

    QMap<QString, QVariant> rooms = settings->value(QStringLiteral("room")).toMap();
    if (rooms.isEmpty())
        rooms = roomMap;
    QString info = joinRooms(prefix, rooms);
    if (info.isEmpty())
        info = prefix;
    qDebug() << group << info;
    settings->endGroup();
    return info;
}

QString KxUpload::getFileName(const QString &group)
{
    settings->beginGroup(group);
    QString path = settings->value(QStringLiteral("path")).toString();
    if (path.isEmpty()) {
        path = QCoreApplication::applicationDirPath() + QStringLiteral("/logs/") + group + QStringLiteral(".log");
    }
    qDebug() << path;
    settings->endGroup();
    return path;
}

bool KxUpload::isSdkUp(const QString &group)
{
    settings->beginGroup(group);
    const int sdk = settings->value(QStringLiteral("sdk"), 0).toInt();
    settings->endGroup();
    return sdk == 1;
}

void KxUpload::uploadCrash()
{
    if (QFileInfo(crashPath).size() == 0) {
        uploadList();
        return;
    }

    const QJsonObject base{
        {QStringLiteral("sdk"), 5},           {QStringLiteral("namespace"), nameSpace},
        {QStringLiteral("user_id"), userId},  {QStringLiteral("nickname"), nickname},
        {QStringLiteral("version"), version},
    };
    const QByteArray baseJson = QJsonDocument(base).toJson(QJsonDocument::Compact);
    qDebug() << baseJson;

    QJsonArray rooms;
    for (auto room = roomMap.cbegin(); room != roomMap.cend(); ++room) {
        rooms.append(QJsonObject{
            {QStringLiteral("room_sdk_id"), room.key()},
            {QStringLiteral("room_name"), room.value().toString()},
        });
    }
    const QJsonObject info{{QStringLiteral("info"), rooms}};

    auto *file = new SnapshotFile(crashPath, this);
    file->open(QIODevice::ReadOnly);
    // Opened twice on purpose: a dump that opens at once stays on disk for its owner, and the log list goes on.
    if (!file->open(QIODevice::ReadOnly)) {
        file->close();
        uploadList();
        return;
    }

    UploadRequest request(serviceUrl("/v1/crash/upload"));
    request.addField(QByteArrayLiteral("base"), baseJson);
    request.addField(QByteArrayLiteral("info"), QJsonDocument(info).toJson(QJsonDocument::Compact));
    QNetworkReply *reply = request.post(file, this);
    connect(reply, SIGNAL(finished()), this, SLOT(onCrashFinished()));
}

void KxUpload::uploadInfo()
{
    uploadList();
}

void KxUpload::uploadList()
{
    QElapsedTimer skipping;
    skipping.start();
    while (!fileGroups.isEmpty()) {
        const QString group = fileGroups.takeFirst();
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
        if (skipping.hasExpired(kSkippingMs)) {
            QTimer::singleShot(0, this, [this] { uploadList(); });
            return;
        }
    }
    uploadLogs();
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
        // From the event loop, so that a long run of unreadable files does not grow the stack.
        QTimer::singleShot(0, this, [this] { uploadList(); });
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
    if (!removeGroup(*settings, group))
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
    QElapsedTimer skipping;
    skipping.start();
    while (!httpGroups.isEmpty()) {
        const QString group = httpGroups.takeFirst();
        if (QFile::exists(getFileName(group)) && !getFileInfo(group).isEmpty()) {
            uploadHttpFile(group);
            return;
        }
        finishedOneHttpFile(group);
        if (skipping.hasExpired(kSkippingMs)) {
            QTimer::singleShot(0, this, [this] { uploadHttpList(); });
            return;
        }
    }
    uploadLogs();
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
    QFile::remove(getFileName(group));
    if (!removeGroup(*settings, group))
        qDebug() << "cannot rewrite" << settings->fileName();
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
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (reply == nullptr)
        return;
    takeFile(reply);
    qDebug() << reply->errorString() << reply->error();
    const QByteArray answer = takeAnswer(reply);
    qDebug() << "data:" << answer;
    if (reply->error() != QNetworkReply::NoError) {
        QCoreApplication::quit();
        return;
    }

    if (uploadanswer::judge(answer) == uploadanswer::Verdict::Accepted) {
        QSettings record(QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) +
                             QStringLiteral("/info.ini"),
                         QSettings::IniFormat);
        record.setIniCodec("UTF-8");
        record.beginGroup(userId);
        record.setValue(QStringLiteral("time"),
                        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd-hh-mm-ss")));
        record.endGroup();
    }
    uploadList();
}

void KxUpload::onHttpOneFinished()
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (reply == nullptr)
        return;
    const QFile *file = takeFile(reply);
    qDebug() << reply->errorString() << reply->error();
    const QByteArray answer = takeAnswer(reply);
    qDebug() << "data:" << answer << (file != nullptr ? file->fileName() : QString());
    if (reply->error() != QNetworkReply::NoError) {
        QCoreApplication::quit();
        return;
    }

    const uploadanswer::Verdict verdict = uploadanswer::judge(answer);
    if (verdict == uploadanswer::Verdict::NotJson) {
        uploadLogs();
        return;
    }
    if (verdict == uploadanswer::Verdict::Accepted)
        finishedOneHttpFile(reply->property("group").toString());
    uploadHttpList();
}

void KxUpload::onHttpFinished()
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (reply == nullptr)
        return;
    const QFile *file = takeFile(reply);
    qDebug() << reply->errorString() << reply->error();
    const QByteArray answer = takeAnswer(reply);
    qDebug() << "data:" << answer << (file != nullptr ? file->fileName() : QString());
    if (reply->error() != QNetworkReply::NoError) {
        QCoreApplication::quit();
        return;
    }

    if (uploadanswer::judge(answer) == uploadanswer::Verdict::Accepted)
        QFile::remove(httpPath);
    uploadLogs();
}

void KxUpload::onCrashFinished()
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (reply == nullptr)
        return;
    const QFile *file = takeFile(reply);
    qDebug() << reply->errorString() << reply->error();
    const QByteArray answer = takeAnswer(reply);
    qDebug() << "data:" << answer << (file != nullptr ? file->fileName() : QString());
    if (reply->error() != QNetworkReply::NoError) {
        QCoreApplication::quit();
        return;
    }
    uploadList();
}

void KxUpload::onOneFile()
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (reply == nullptr)
        return;
    takeFile(reply);
    qDebug() << reply->errorString() << reply->error();
    const QByteArray answer = takeAnswer(reply);
    const QString path = reply->property("path").toString();
    qDebug() << "data:" << answer << path;

    const bool transportError = reply->error() != QNetworkReply::NoError;
    const uploadanswer::FileOutcome outcome =
        uploadanswer::judgeListedFile(transportError, answer, reply->property("sdk").toBool());
    if (outcome.deleteLocalFile)
        qDebug() << QFile::remove(path) << path;
    if (outcome.removeGroup)
        finishedOneFile(reply->property("group").toString());
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
