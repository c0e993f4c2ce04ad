#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QVariant>

class QFile;
class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

/// Qt message handler: turns one message into one record of KxLog::instance(). Installed by KxLog::install_log().
///
/// A record is "[yyyy-MM-dd hh:mm:ss][Level][file][line][function]message"; it ends in CR LF and one more LF. Messages
/// of type info carry no level tag. Warnings that contain "libpng" are dropped.
void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg);

/// The logging object of a process: log file, console echo, retention of log directories, remote log and error reports.
///
/// Use it from one thread: nothing is locked. Failures to write, delete or report are ignored silently, a program must
/// not suffer from its log.
class KxLog : public QObject
{
    Q_OBJECT
    friend void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg);

public:
    explicit KxLog(QObject *parent = nullptr);
    /// Closes the log file.
    ~KxLog() override;

    /// The one instance of the process, created by the first call and never deleted.
    static KxLog *instance();

    /// Prunes the directory @p path (see removeLogs()), opens a new log file in it and installs outputMessage().
    ///
    /// @param path  directory without a trailing separator, created with its parents when missing. The file is named
    ///              upload_yyyy_MM_dd_hh_mm_ss.log after the local time and opened for appending.
    void install_log(const QString &path);
    /// Writes one record and a line feed to the log file, when one is open, and to standard error, when the echo is on.
    void write_log(const QString &line);
    /// Closes the log file; records go to standard error only from here on. Nothing happens when none is open.
    void closeFile();
    /// Full path of the log file opened last; empty before install_log().
    QString fileName();
    /// Directory passed to install_log() last.
    QString getPath() const;
    /// Turns the echo of records to standard error on or off; off at first.
    void setShowLog(bool on);

    /// Prunes a directory of logs stamped yyyy_MM_dd_hh_mm_ss, at most once a day.
    /// @param dir  directory without a trailing separator
    void removeLogs(const QString &dir);
    /// Prunes a directory of SDK logs stamped yyyyMMddhhmmss, at most once a day.
    /// @param dir  directory without a trailing separator
    void removeSdkLogs(const QString &dir);

    /// Accepted for compatibility; reports always go to the one address of the build.
    void setLogServers(const QList<QVariant> &servers);
    /// Always false.
    bool isSetServers();
    /// Sends report messages to the report API from here on.
    void startReport();
    /// Sends no reports from here on; the state at first.
    void stopReport();

    /// Product name in reports.
    void setClientName(const QString &name);
    /// Client version in reports; every upper-case "V" is removed from it.
    void setClientVersion(const QString &version);
    /// Room in reports and error reports.
    void setRoomId(const QString &id);
    /// User in reports.
    void setUserId(const QString &id);
    /// Application, room and user in reports.
    void setRoomInfo(const QString &key, const QString &room, const QString &user);
    /// Server text in reports of signal clients.
    void setSignalServerInfo(const QString &info);
    /// Server text in reports of media clients.
    void setMediaServerInfo(const QString &info);
    /// User name in error reports.
    void setUserName(const QString &name);
    /// Room (the same as setRoomId()), user and role of error reports; a negative role is not sent.
    void setLogInfo(const QString &room, const QString &user, int role);
    /// Empties application, room, user and both server texts.
    void initReportLogData();

    /// Writes the record of one message and, for a report message while reporting is on, sends it first.
    /// @param head      bracketed time and level
    /// @param location  bracketed file, line and function
    void reportLog(const QString &head, const QString &location, const QString &message, QtMsgType type);
    /// Extracts one marked integer from @p text and rewrites it, see logreport::takeMarkedInt().
    int getStrInt(QString &text, const QString &marker, const QString &format);
    /// Posts one report to the report API. The arguments are the members of logreport::Report in their order.
    void reportHttpLog(unsigned char level, unsigned char clientType, unsigned char trigger, const QString &key,
                       const QString &room, const QString &clientDescription, const QString &device,
                       const QString &serviceVersion, const QString &version, const QString &system,
                       const QString &user, const QString &title, const QString &data, const QString &server,
                       const QString &clientAddress, int uploadSpeed, int downloadSpeed, int reconnectCount,
                       int timestamp, int elapsedSeconds);
    /// JSON request to the report API; @p path is appended to scheme and host, so it begins with the port.
    QNetworkRequest generateRequest(const QString &path);

    /// Reports one error of the client: a critical report message to the log and a document to the error gateway.
    void kavriErrorLog(long type, const QString &message);
    /// Posts one error document to the gateway without waiting for anything: the request ends with the call unless it
    /// is out by then.
    void logError(const QString &roomSdkId, const QString &user, int role, const QString &message, long type);
    /// JSON request to the error gateway; @p path is appended to scheme and host.
    QNetworkRequest generateNewRequest(const QString &path);

    /// A new network manager owned by this object.
    QNetworkAccessManager *getManager();
    /// Schedules @p reply and its manager for deletion.
    void deleteReply(QNetworkReply *reply);

    /// Operating-system text, see KxSysInfo::getSysVersion().
    QString getSystemInfo();
    /// Always false.
    bool isOs64();

public slots:
    /// Logs the answer to a report and releases its reply and manager.
    void onReportFinished();
    /// Releases the reply of an error report.
    void onLog();

protected:
    QString logFileName;
    QFile *logFile = nullptr; ///< owned; null while no file is open
    QMutex mutex;             ///< taken by no operation: the object is used from one thread
    QString logPath;
    bool serversSet = false;
    QString appKey;
    QString roomId;
    QString userId;
    QString logUserId;
    int logRole = -1;
    QString userName;
    QString signalServerInfo;
    QString mediaServerInfo;
    QString clientVersion;
    QString systemInfo;
    QElapsedTimer elapsedTimer; ///< runs since construction
    bool showLog = false;
    bool reporting = false;
    QString clientName;
    QString hardwareInfo; ///< JSON text
};
