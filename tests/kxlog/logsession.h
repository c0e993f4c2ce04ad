#pragma once

#include "support/process/messagecatcher.h"

#include <QByteArray>
#include <QTemporaryDir>

/// The log object of the process, logging into a directory of its own until the end of the scope: then its file is
/// closed, echo and reporting are off, and the message handler is the one from before.
class LogSession
{
public:
    LogSession();
    ~LogSession();
    LogSession(const LogSession &) = delete;
    LogSession &operator=(const LogSession &) = delete;

    QString directory() const { return directory_.path(); }
    /// All records of this session so far.
    QByteArray bytes() const;

private:
    MessageCatcher before_; ///< takes what install_log() says before it takes over
    QTemporaryDir directory_;
    QString file_;
};

/// Whether \a record begins with "[time]" of a second between the two, both included, in seconds since the epoch.
bool isStamped(const QByteArray &record, qint64 from, qint64 to);

/// Length of "[time]".
constexpr int kStampSize = 21;
