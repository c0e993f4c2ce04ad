#include "kxlog/kxlog.h"

#include "kxendpoints.h"
#include "kxlog/logreport.h"
#include "kxlog/logretention.h"
#include "kxlog/recordtime.h"
#include "sysinfo/kxsysinfo.h"

#include <QDate>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QStringBuilder>
#include <QTextCodec>
#include <QUrl>

#include <cstdio>

namespace {

KxLog *g_instance = nullptr;

// Two messages are searched for in logs by a place that has outlived many a change of this file.
constexpr char kFixedFile[] = "KxLogReport/kxlog/kxlog";
constexpr int kErrorLogLine = 340;
constexpr int kReportAnswerLine = 462;

constexpr unsigned char kReportTrigger = 2;
constexpr int kReportTimestamp = 0;

QLatin1String levelTag(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return QLatin1String("[Debug]");
    case QtWarningMsg:
        return QLatin1String("[Warning]");
    case QtCriticalMsg:
        return QLatin1String("[Critical]");
    case QtFatalMsg:
        return QLatin1String("[Fatal]");
    case QtInfoMsg:
        break;
    }
    return {};
}

QNetworkRequest jsonRequest(const char *baseUrl, const QString &path)
{
    QNetworkRequest request(QUrl(QLatin1String(baseUrl) + path, QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    return request;
}

} // namespace

void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    if (type == QtWarningMsg && msg.contains(QLatin1String("libpng")))
        return;

    const QString location = QLatin1Char('[') % QLatin1String(context.file) % QLatin1String("][") %
                             QString::number(context.line) % QLatin1String("][") % QLatin1String(context.function) %
                             QLatin1Char(']');
    const QString head =
        QLatin1Char('[') % recordTime(QDateTime::currentSecsSinceEpoch()) % QLatin1Char(']') % levelTag(type);
    KxLog::instance()->reportLog(head, location, msg, type);
}

KxLog::KxLog(QObject *parent) : QObject(parent)
{
    elapsedTimer.start();
    systemInfo = getSystemInfo();
    const QByteArray hardware = KxSysInfo::getHardWareJsonData();
    if (!hardware.isNull())
        hardwareInfo = QString::fromUtf8(hardware.constData());
    hardwareInfo.remove(QLatin1String("\\n"));
    hardwareInfo.remove(QLatin1Char('\\'));
}

KxLog::~KxLog()
{
    if (logFile != nullptr)
        logFile->close();
    delete logFile;
}

KxLog *KxLog::instance()
{
    if (g_instance == nullptr)
        g_instance = new KxLog(nullptr);
    return g_instance;
}

void KxLog::install_log(const QString &path)
{
    logPath = path;
    qDebug() << path;
    if (!QDir(path).exists())
        QDir().mkpath(path);
    removeLogs(path);
    logFileName = QStringLiteral("%1/upload_%2.log")
                      .arg(path, QDateTime::currentDateTime().toString(QStringLiteral("yyyy_MM_dd_hh_mm_ss")));
    // A file of an earlier call is left open, and goes with this object.
    if (logFile != nullptr)
        logFile->setParent(this);
    logFile = new QFile(logFileName);
    logFile->open(QIODevice::WriteOnly | QIODevice::Append);
    qInstallMessageHandler(outputMessage);
}

void KxLog::write_log(const QString &line)
{
    if (showLog) {
        std::fprintf(stderr, "%s\n", line.toLocal8Bit().constData());
        std::fflush(stderr);
    }
    if (logFile != nullptr && logFile->isOpen()) {
        // The record brings its own CR LF: the blank line between records is part of the file's format.
        logFile->write(QTextCodec::codecForLocale()->fromUnicode(line % QLatin1Char('\n')));
        logFile->flush();
    }
}

void KxLog::closeFile()
{
    if (logFile == nullptr)
        return;
    logFile->close();
    logFile->deleteLater();
    logFile = nullptr;
}

QString KxLog::fileName()
{
    return logFileName;
}

QString KxLog::getPath() const
{
    return logPath;
}

void KxLog::setShowLog(bool on)
{
    showLog = on;
}

void KxLog::removeLogs(const QString &dir)
{
    pruneLogDirectory(dir, ownLogRule(), QDate::currentDate());
}

void KxLog::removeSdkLogs(const QString &dir)
{
    pruneLogDirectory(dir, sdkLogRule(), QDate::currentDate());
}

void KxLog::setLogServers(const QList<QVariant> &servers)
{
    Q_UNUSED(servers)
}

bool KxLog::isSetServers()
{
    return serversSet;
}

void KxLog::startReport()
{
    reporting = true;
}

void KxLog::stopReport()
{
    reporting = false;
}

void KxLog::setClientName(const QString &name)
{
    clientName = name;
}

void KxLog::setClientVersion(const QString &version)
{
    clientVersion = version;
    clientVersion.remove(QLatin1Char('V'));
}

void KxLog::setRoomId(const QString &id)
{
    roomId = id;
}

void KxLog::setUserId(const QString &id)
{
    userId = id;
}

void KxLog::setRoomInfo(const QString &key, const QString &room, const QString &user)
{
    appKey = key;
    roomId = room;
    userId = user;
}

void KxLog::setSignalServerInfo(const QString &info)
{
    signalServerInfo = info;
}

void KxLog::setMediaServerInfo(const QString &info)
{
    mediaServerInfo = info;
}

void KxLog::setUserName(const QString &name)
{
    userName = name;
}

void KxLog::setLogInfo(const QString &room, const QString &user, int role)
{
    roomId = room;
    logUserId = user;
    logRole = role;
}

void KxLog::initReportLogData()
{
    appKey.clear();
    roomId.clear();
    userId.clear();
    signalServerInfo.clear();
    mediaServerInfo.clear();
}

void KxLog::reportLog(const QString &head, const QString &location, const QString &message, QtMsgType type)
{
    if (!logreport::isReportMessage(message)) {
        write_log(head % location % message % QLatin1String("\r\n"));
        return;
    }

    const logreport::Message report = logreport::parseMessage(message);
    if (reporting) {
        QString server;
        if (report.clientType == logreport::kSignalClient)
            server = signalServerInfo;
        else if (report.clientType == logreport::kMediaClient)
            server = mediaServerInfo;
        reportHttpLog(logreport::reportLevel(type), static_cast<unsigned char>(report.clientType), kReportTrigger,
                      appKey, roomId, report.clientDescription, hardwareInfo, QStringLiteral("v1.0.0"), clientVersion,
                      systemInfo, userId, report.title, location + report.text, server, QStringLiteral("0"),
                      report.uploadSpeed, report.downloadSpeed, report.reconnectCount, kReportTimestamp,
                      static_cast<int>(elapsedTimer.elapsed() / 1000));
    }
    write_log(logreport::recordText(head, location, report));
}

int KxLog::getStrInt(QString &text, const QString &marker, const QString &format)
{
    return logreport::takeMarkedInt(text, marker, format);
}

void KxLog::reportHttpLog(unsigned char level, unsigned char clientType, unsigned char trigger, const QString &key,
                          const QString &room, const QString &clientDescription, const QString &device,
                          const QString &serviceVersion, const QString &version, const QString &system,
                          const QString &user, const QString &title, const QString &data, const QString &server,
                          const QString &clientAddress, int uploadSpeed, int downloadSpeed, int reconnectCount,
                          int timestamp, int elapsedSeconds)
{
    const QJsonObject document = logreport::reportDocument(
        {level,     clientType,     trigger,       key,         room,          clientDescription,
         device,    serviceVersion, version,       system,      user,          title,
         data,      server,         clientAddress, uploadSpeed, downloadSpeed, reconnectCount,
         timestamp, elapsedSeconds, clientName});
    auto *manager = new QNetworkAccessManager(this);
    QNetworkReply *reply =
        manager->post(generateRequest(QStringLiteral(":21999/log")), QJsonDocument(document).toJson());
    connect(reply, SIGNAL(finished()), this, SLOT(onReportFinished()));
}

QNetworkRequest KxLog::generateRequest(const QString &path)
{
    return jsonRequest(kxendpoints::kReportApiUrl, path);
}

void KxLog::kavriErrorLog(long type, const QString &message)
{
    QMessageLogger(kFixedFile, kErrorLogLine, "void KxLog::kavriErrorLog(long, const QString &)").critical()
        << "kx_log" << type << message;
    logError(roomId, logUserId, logRole, message, type);
}

void KxLog::logError(const QString &roomSdkId, const QString &user, int role, const QString &message, long type)
{
    const QByteArray document = logreport::errorDocument(roomSdkId, user, role, userName, message, type);
    // Dies with this call, and the reply with it: nothing waits for the answer, and a client in trouble keeps nothing.
    QNetworkAccessManager manager;
    QNetworkReply *reply = manager.post(generateNewRequest(QStringLiteral("/logsys/client/v1/error/report")), document);
    connect(reply, SIGNAL(finished()), this, SLOT(onLog()));
}

QNetworkRequest KxLog::generateNewRequest(const QString &path)
{
    return jsonRequest(kxendpoints::kErrorGatewayUrl, path);
}

QNetworkAccessManager *KxLog::getManager()
{
    return new QNetworkAccessManager(this);
}

void KxLog::deleteReply(QNetworkReply *reply)
{
    reply->manager()->deleteLater();
    reply->deleteLater();
}

QString KxLog::getSystemInfo()
{
    return KxSysInfo::getSysVersion();
}

bool KxLog::isOs64()
{
    return false;
}

void KxLog::onReportFinished()
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (reply == nullptr)
        return;
    const QByteArray answer = reply->readAll();
    QMessageLogger(kFixedFile, kReportAnswerLine, "void KxLog::onReportFinished()").debug() << "data:" << answer;
    deleteReply(reply);
}

void KxLog::onLog()
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (reply == nullptr)
        return;
    reply->deleteLater();
}
