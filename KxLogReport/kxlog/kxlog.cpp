#include "kxlog/kxlog.h"

#include "kxendpoints.h"
#include "kxlog/logfile.h"
#include "kxlog/logrecord.h"
#include "kxlog/logreport.h"
#include "kxlog/logretention.h"
#include "kxlog/networkwatch.h"
#include "kxlog/sharedvalue.h"
#include "kxlog/stamp.h"
#include "sysinfo/kxsysinfo.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QStringBuilder>
#include <QThread>
#include <QUrl>

#include <atomic>
#include <memory>

namespace {

std::atomic<KxLog *> g_instance{nullptr};
std::atomic<bool> g_isExiting{false};

/// A static object of a function: when it goes, so do the static objects of Qt that are younger than it.
struct UntilExit
{
    ~UntilExit() { g_isExiting = true; }
};

// Two messages are searched for in logs by a place that has outlived many a change of this file.
constexpr char kFixedFile[] = "KxLogReport/kxlog/kxlog";
constexpr int kErrorLogLine = 340;
constexpr int kReportAnswerLine = 462;

constexpr unsigned char kReportTrigger = 2;
constexpr int kReportTimestamp = 0;

QNetworkRequest jsonRequest(const char *baseUrl, const QString &path)
{
    QNetworkRequest request(QUrl(QLatin1String(baseUrl) + path, QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    // Whatever the default of Qt is: personal data goes to no address but the one of the build.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    return request;
}

/// Runs \a task on the thread of \a object: at once if that is this one, else as soon as its event loop comes to it.
template<typename Task>
void runOnThreadOf(QObject *object, Task task)
{
    if (object->thread() == QThread::currentThread()) {
        task();
        return;
    }
    // In all versions of Qt 5 a signal takes a function along to another thread.
    const QObject courier;
    QObject::connect(&courier, &QObject::destroyed, object, task, Qt::QueuedConnection);
}

void send(KxLog *log, const logreport::Report &report)
{
    // All reports go to one place.
    static const QNetworkRequest request = log->generateRequest(QStringLiteral(":21999/log"));
    keepNetworkWatched();
    auto *manager = new QNetworkAccessManager(log);
    QNetworkReply *reply = manager->post(request, QJsonDocument(logreport::reportDocument(report)).toJson());
    QObject::connect(reply, SIGNAL(finished()), log, SLOT(onReportFinished()));
    // Younger than all that the first report has Qt make, and so gone first.
    static const UntilExit untilExit;
}

} // namespace

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
    KxLog *log = g_instance.load(std::memory_order_acquire);
    if (log == nullptr) {
        // Of two threads that are here at once one makes the object for both.
        auto made = std::make_unique<KxLog>(nullptr);
        if (g_instance.compare_exchange_strong(log, made.get(), std::memory_order_acq_rel))
            log = made.release();
    }
    return log;
}

void KxLog::install_log(const QString &path)
{
    logPath = path;
    qDebug() << path;
    if (!QDir(path).exists())
        QDir().mkpath(path);
    removeLogs(path);
    const QDateTime now = QDateTime::currentDateTime();
    logFileName = QStringLiteral("%1/upload_%2.log")
                      .arg(path, formatStamp(QStringLiteral("yyyy_MM_dd_hh_mm_ss"), now.date(), now.time()));
    // A file of an earlier call is left open, and goes with this one.
    auto file = std::make_unique<LogFile>(logFileName, std::unique_ptr<QFile>(logFile));
    file->open(QIODevice::WriteOnly | QIODevice::Append);
    setSharedValue<QFile *>(logFile, file.release());
    qInstallMessageHandler(outputMessage);
}

void KxLog::write_log(const QString &line)
{
    // The record brings its own CR LF: the blank line between records is part of the file's format.
    const QByteArray record = encodeForLog(line % QLatin1Char('\n'));
    writeRecord(sharedValue(logFile), sharedValue(showLog), record.constData(),
                static_cast<std::size_t>(record.size()));
}

void KxLog::closeFile()
{
    QFile *const file = logFile;
    if (file == nullptr)
        return;
    setSharedValue<QFile *>(logFile, nullptr);
    file->close();
    file->deleteLater();
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
    setSharedValue(showLog, on);
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
    // For programs that have sent no report by then; exit() leaves the application object.
    static const UntilExit untilExit;
    setSharedValue(reporting, true);
}

void KxLog::stopReport()
{
    setSharedValue(reporting, false);
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
    // Before the application object and after it nothing can be sent, and Qt Network must not be asked.
    if (sharedValue(reporting) && QCoreApplication::instance() != nullptr && !g_isExiting) {
        logreport::Report document;
        document.level = logreport::reportLevel(type);
        document.clientType = static_cast<unsigned char>(report.clientType);
        document.trigger = kReportTrigger;
        document.clientDescription = report.clientDescription;
        document.serviceVersion = QStringLiteral("v1.0.0");
        document.title = report.title;
        document.data = location + report.text;
        document.clientAddress = QStringLiteral("0");
        document.uploadSpeed = report.uploadSpeed;
        document.downloadSpeed = report.downloadSpeed;
        document.reconnectCount = report.reconnectCount;
        document.timestamp = kReportTimestamp;
        document.elapsedSeconds = static_cast<int>(elapsedTimer.elapsed() / 1000);
        // What the client has said of itself belongs to the thread of this object, as managers do.
        runOnThreadOf(this, [this, document, clientType = report.clientType]() mutable {
            document.appKey = appKey;
            document.roomId = roomId;
            document.device = hardwareInfo;
            document.clientVersion = clientVersion;
            document.system = systemInfo;
            document.userId = userId;
            if (clientType == logreport::kSignalClient)
                document.server = signalServerInfo;
            else if (clientType == logreport::kMediaClient)
                document.server = mediaServerInfo;
            document.clientName = clientName;
            send(this, document);
        });
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
    logreport::Report report;
    report.level = level;
    report.clientType = clientType;
    report.trigger = trigger;
    report.appKey = key;
    report.roomId = room;
    report.clientDescription = clientDescription;
    report.device = device;
    report.serviceVersion = serviceVersion;
    report.clientVersion = version;
    report.system = system;
    report.userId = user;
    report.title = title;
    report.data = data;
    report.server = server;
    report.clientAddress = clientAddress;
    report.uploadSpeed = uploadSpeed;
    report.downloadSpeed = downloadSpeed;
    report.reconnectCount = reconnectCount;
    report.timestamp = timestamp;
    report.elapsedSeconds = elapsedSeconds;
    report.clientName = clientName;
    send(this, report);
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
