#pragma once

#include <QByteArray>
#include <QHttpPart>
#include <QList>
#include <QNetworkRequest>
#include <QString>
#include <QUrl>

class QFile;
class QMessageLogger;
class QNetworkReply;
class QObject;

/// One multipart upload in the service's wire form: form fields in the order in which they are added, then the file.
class UploadRequest
{
public:
    explicit UploadRequest(const QUrl &url);

    /// Appends a form field; \a name is plain ASCII.
    void addField(const QByteArray &name, const QByteArray &body);

    /// Posts the form with \a file as its last part, through a network manager of its own that becomes a child of
    /// \a owner.
    ///
    /// The file is on the heap and read while the upload runs. It becomes a child of the reply, which the manager owns,
    /// and is attached to it as the property "file", for takeFile().
    QNetworkReply *post(QFile *file, QObject *owner);

private:
    QNetworkRequest request_;
    QList<QHttpPart> fields_;
};

/// The form of every upload but the crash dump's, without the file.
UploadRequest logForm(const QUrl &url, const QString &fileInfo, const QString &nameSpace);

/// A reply that has finished, with everything taken from it.
struct Finished
{
    const QNetworkReply *reply = nullptr; ///< null when the sender of the signal was none
    QByteArray answer;
    QString fileName;       ///< of the file that was sent; empty without one
    bool hasFailed = false; ///< on the way; what the service answered plays no part
};

/// What every slot does first with the sender of its signal; \a record is in the slot's name.
Finished finish(QObject *sender, const QMessageLogger &record);

/// Closes the file that rides on a finished reply and schedules it for deletion.
/// Returns the file, valid until control returns to the event loop; null when the reply carries none.
QFile *takeFile(QNetworkReply *reply);

/// Reads the whole answer and ends the threads and connections that the reply's manager holds.
///
/// Manager and reply themselves live on. Without this, a run of some hundred uploads exhausts the descriptors.
QByteArray takeAnswer(QNetworkReply *reply);
