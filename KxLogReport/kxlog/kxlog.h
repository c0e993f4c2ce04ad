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
///
/// Any thread may call it, from before main() to the last destructor of a static object.
void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg);

/// The logging object of a process: log file, console echo, retention of log directories, remote log and error reports.
///
/// What may be called from where:
/// - From any thread, at any time, also while another one closes or opens the file: outputMessage(), instance(),
///   write_log(), reportLog(), setShowLog(), startReport() and stopReport(), removeLogs() and removeSdkLogs(), and all
///   that uses no member: getStrInt(), generateRequest(), generateNewRequest(), getSystemInfo(), isOs64(),
///   isSetServers(), setLogServers().
/// - From the thread of the object, which is the one that first asks for instance(): everything else. Its event loop
///   sends the reports.
///
/// Nothing is locked. A record is one write to the file, of all its bytes, so records of several threads neither mix
/// nor wait for each other in this object, and none is kept in a buffer. Failures to write, delete or report are
/// ignored silently, a program must not suffer from its log.
class KxLog : public QObject
{
    Q_OBJECT
    friend void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg);

public:
    explicit KxLog(QObject *parent = nullptr);
    /// Closes the log file. Nobody may use the object any more.
    ~KxLog() override;

    /// The one instance of the process, created by the first call or message and never deleted.
    static KxLog *instance();

    /// Prunes the directory \a path (see removeLogs()), opens a new log file in it and installs outputMessage().
    ///
    /// \a path has no trailing separator, and is created with its parents when missing. The file is named
    /// upload_yyyy_MM_dd_hh_mm_ss.log after the local time and opened for appending. A file that is still open is left
    /// open until the new one goes; records go to the new one only.
    void install_log(const QString &path);
    /// Writes \a line and a line feed to standard error, when the echo is on, and to the log file, when one is open;
    /// each in one piece, in the encoding of the locale.
    void write_log(const QString &line);
    /// Closes the log file; records go to standard error only from here on. Nothing happens when none is open. What
    /// other threads are just writing may still go to the file, or to the next one, or nowhere.
    void closeFile();
    /// Full path of the log file opened last; empty before install_log().
    QString fileName();
    /// Directory passed to install_log() last.
    QString getPath() const;
    /// Turns the echo of records to standard error on or off; off at first.
    void setShowLog(bool on);

    /// Prunes the directory \a dir, without a trailing separator, of logs stamped yyyy_MM_dd_hh_mm_ss, at most once a
    /// day.
    void removeLogs(const QString &dir);
    /// Prunes the directory \a dir, without a trailing separator, of SDK logs stamped yyyyMMddhhmmss, at most once a
    /// day.
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

    /// Writes the record of one \a message, behind its \a head (bracketed time and level) and \a location (bracketed
    /// file, line and function). A report message is sent while reporting is on: before the record is written on the
    /// thread of the object, and from its event loop, as soon as that comes to it, when the message is another
    /// thread's.
    void reportLog(const QString &head, const QString &location, const QString &message, QtMsgType type);
    /// Extracts one marked integer from \a text and rewrites it, see logreport::takeMarkedInt().
    int getStrInt(QString &text, const QString &marker, const QString &format);
    /// Posts one report to the report API: Level, CType, Trigger, AppKey, RoomId, CDesc, Device, SVer, CVer, OS,
    /// UserSid, LogTitle, LogData, Server, CIP, VUpload, VDownload, ReconnCnt, Timestamp and ElapsedTime, and the
    /// client's name.
    void reportHttpLog(unsigned char level, unsigned char clientType, unsigned char trigger, const QString &key,
                       const QString &room, const QString &clientDescription, const QString &device,
                       const QString &serviceVersion, const QString &version, const QString &system,
                       const QString &user, const QString &title, const QString &data, const QString &server,
                       const QString &clientAddress, int uploadSpeed, int downloadSpeed, int reconnectCount,
                       int timestamp, int elapsedSeconds);
    /// JSON request to the report API; \a path is appended to scheme and host, so it begins with the port.
    QNetworkRequest generateRequest(const QString &path);

    /// Reports one error of the client: a critical report message to the log and a document to the error gateway.
    void kavriErrorLog(long type, const QString &message);
    /// Posts one error document to the gateway without waiting for anything: the request ends with the call unless it
    /// is out by then.
    void logError(const QString &roomSdkId, const QString &user, int role, const QString &message, long type);
    /// JSON request to the error gateway; \a path is appended to scheme and host.
    QNetworkRequest generateNewRequest(const QString &path);

    /// A new network manager owned by this object.
    QNetworkAccessManager *getManager();
    /// Schedules \a reply and its manager for deletion.
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
    QFile *logFile = nullptr; ///< owned; null while no file is open; only its address is for other threads
    QMutex mutex;             ///< taken by no operation: no record waits for another one
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
    bool showLog = false;       ///< read by every thread, like the next one
    bool reporting = false;     ///< whether report messages are sent
    QString clientName;
    QString hardwareInfo; ///< JSON text
};
