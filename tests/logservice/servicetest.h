#pragma once

#include "support/server/rawclient.h"
#include "support/tool/logserviceprocess.h"

#include <QtCore/QScopedPointer>
#include <QtCore/QTemporaryDir>

/// A test whose functions each get a service of their own, on free ports and a new folder.
///
/// After each function the service has to end with status 0 and without a word on standard error.
class ServiceTest : public QObject
{
    Q_OBJECT

protected:
    QString folder() const { return folder_->path(); }
    QString stored(const QString &path) const { return folder_->filePath(path); }
    LogServiceProcess &service() { return *service_; }

    /// Sends a log file and returns the answer.
    RawAnswer upload(const QByteArray &fileName, const QByteArray &body);

private slots:
    void init();
    void cleanup();

private:
    QScopedPointer<QTemporaryDir> folder_;
    QScopedPointer<LogServiceProcess> service_;
};
