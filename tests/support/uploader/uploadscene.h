#pragma once

#include "support/process/apprun.h"
#include "support/process/messagecatcher.h"
#include "support/server/scriptedserver.h"
#include "support/uploader/testuploader.h"

#include <QTemporaryDir>
#include <memory>

class QNetworkReply;

/// What one test of an upload pass needs: the log service at the address of this build, a folder for files, a home, an
/// own log that is open, an upload.ini beside the test program that starts empty, and an uploader on it whose messages
/// are caught. The test program needs the resource lock of the service's port.
///
///     UploadScene scene({Reply::json("{\"Code\":5}")});
///     scene.addGroup("log1", scene.addFile("client.log", "text"));
///     QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
class UploadScene
{
public:
    explicit UploadScene(const QList<Reply> &script = {}, const Reply &fallback = Reply::json());
    ~UploadScene();
    UploadScene(const UploadScene &) = delete;
    UploadScene &operator=(const UploadScene &) = delete;

    /// False when folder or port were not to be had: QVERIFY(scene.isValid()).
    bool isValid() const;

    /// Absolute path of \a name in the scene's folder.
    QString path(const QString &name) const { return dir.filePath(name); }
    /// Writes a file into the scene's folder and returns its absolute path.
    QString addFile(const QString &name, const QByteArray &bytes) const;
    /// Makes a directory that is not empty, which exists, has a size and cannot be opened, and returns its path.
    QString addDirectory(const QString &name) const;
    /// Adds a group with a "path" to upload.ini.
    void addGroup(const QString &group, const QString &path) const;

    /// Reads upload.ini into the uploader and calls \a start as runApplication() does. The messages of the reading are
    /// not caught.
    RunEnd run(const std::function<void()> &start, const std::function<bool()> &stopWhen = {});
    /// The reply that is in flight; null when there is none or more than one.
    QNetworkReply *replyInFlight() const;
    /// Replies that have not finished.
    QList<QNetworkReply *> repliesInFlight() const;
    /// Whether an upload was started and all files that were opened for uploads are released again, which the slots do.
    bool isIdle() const;

    /// The caught messages of KxUpload, "function: text" each.
    QStringList lines() const;
    /// File names of the requests that were received whole, each once, in order.
    QStringList sentFileNames() const;
    /// Bare name of the tool's own log.
    QString ownLogName() const;

    QTemporaryDir dir;
    ScriptedServer server;
    std::unique_ptr<MessageCatcher> messages;
    TestUploader uploader;
};
