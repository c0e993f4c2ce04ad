#pragma once

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QVariant>

class QNetworkAccessManager;
class QNetworkReply;
class QSettings;

/// Sends what "config/upload.ini" beside the executable lists, strictly one request after another, then the tool's own
/// log, and quits the application.
///
/// The order of a run: crash dump (when one was named), log list, own log. Each pass posts one request and goes on in
/// the slot of its reply. Failures are debug messages; what the service did not accept stays in the INI file for the
/// next run. The request-file passes and the info pass are complete and for a caller to start: no run enters them.
class KxUpload : public QObject
{
    Q_OBJECT

public:
    explicit KxUpload(QObject *parent);
    ~KxUpload() override;

    /// Arms the five-minute watchdog, reads the configuration and starts the first pass. Ends the process with status 0
    /// when there is neither a crash file nor a user or room to send for.
    void startUpload();
    /// Reads the configuration into the fields; a missing or unreadable file reads as an empty one.
    void initIni();
    /// Names the crash dump to send.
    void setCrashPath(const QString &path);

    /// Description of the user and the rooms, for example "nickname-ann.userid-42.roomid-7.roomname-lobby", one entry
    /// per room joined by ",". Labels of empty values are left out.
    QString getFileInfo();
    /// The same for one group of the INI file, whose non-empty values override the uploader's. All three labels are
    /// always present.
    QString getFileInfo(const QString &group);
    /// Path of a group's file: its "path", or "logs/<group>.log" beside the executable.
    QString getFileName(const QString &group);
    /// Whether a group's file is a log of the SDK ("sdk" is 1).
    bool isSdkUp(const QString &group);

    /// Crash pass: sends the crash dump and goes on with the log list; a transport error quits.
    void uploadCrash();
    /// Info pass: goes straight on with the log list.
    void uploadInfo();

    /// Log list: sends the next group's file; skips and forgets groups without one. Goes on with the own log.
    void uploadList();
    /// Sends the file of one group of the log list.
    void uploadOneFile(const QString &group);
    /// Forgets a group: removes it from the INI file, on disk too.
    void finishedOneFile(const QString &group);

    /// Own log: closes it, sends it and quits.
    void uploadLogs();

    /// Request files: sends the next group's file; skips and forgets groups without one. Goes on with the own log.
    void uploadHttpList();
    /// Sends one request file.
    void uploadHttpFile(const QString &group);
    /// Deletes a request file and forgets its group.
    void finishedOneHttpFile(const QString &group);
    /// Sends the single request file "httppath". Goes on with the own log.
    void httpUpload();

    /// A new network manager owned by this object.
    QNetworkAccessManager *getManager();
    /// Schedules \a reply and its manager for deletion.
    void deleteReply(QNetworkReply *reply);

public slots:
    // Callers may know the slots by index: their order stays.
    /// Answer to the info pass: records the time of an accepted one in "info.ini" and goes on with the log list.
    void onInfoFinished();
    /// Answer to one request file of the list.
    void onHttpOneFinished();
    /// Answer to the single request file.
    void onHttpFinished();
    /// Answer to the crash dump.
    void onCrashFinished();
    /// Answer to one file of the log list.
    void onOneFile();
    /// Answer to the own log: quits, unless it is not JSON.
    void onUploadLogs();

protected:
    QString systemPath;
    QString sdkPath;
    QString httpPath;
    QMap<QString, QVariant> roomMap; ///< room id to room name
    QString userId;
    QString loginName;
    QString nickname;
    QString infoPath;
    QString nameSpace;
    QString crashPath;
    QString version;
    QList<QString> logFiles;
    QList<QString> fileGroups; ///< groups of the log list that are still to be sent
    QList<QString> httpGroups; ///< request-file groups that are still to be sent
    QSettings *settings;       ///< on "config/upload.ini"; not deleted with this object
};
