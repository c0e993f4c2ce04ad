#pragma once

#include "support/server/recordedrequest.h"
#include "support/server/reply.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QSet>
#include <QWaitCondition>

/// What the threads of one ScriptedServer share: its script, its records and the means to stop them. Thread-safe.
class ServerState
{
public:
    ServerState(const QList<Reply> &script, const Reply &fallback);

    /// The reply to a request whose head was read: the previous one if it covers repeats and this is one, else the next
    /// one of the script, or the fallback when the script is used up.
    Reply takeReply(const RecordedRequest &request);
    /// Whether the next reply resets the connection before a request is read; if so, takes it.
    bool takeResetOnConnect();

    void record(const RecordedRequest &request);
    QList<RecordedRequest> requests() const;

    /// Number of the connection that has just been accepted, from 1.
    int countConnection();
    int connections() const;

    /// Blocks until released or stopped.
    void hold();
    void release();
    bool isHolding() const;

    /// Sleeps \a ms milliseconds, less when stopped meanwhile.
    void pause(int ms);

    /// Makes a second descriptor of the same connection, which stop() shuts down so that nobody waits for it any more.
    /// It is the caller's to give back to closeHandle(), and the connection ends only then. -1 when already stopped.
    int openHandle(qintptr descriptor);
    void closeHandle(int handle);
    void stop();
    bool isStopped() const;

    qint64 elapsedMs() const { return clock_.elapsed(); }

private:
    mutable QMutex mutex_;
    QWaitCondition changed_;
    QElapsedTimer clock_;
    QList<Reply> script_;
    Reply fallback_;
    Reply last_;                  ///< what takeReply() returned last,
    RecordedRequest lastRequest_; ///< and for which head
    QList<RecordedRequest> requests_;
    QSet<int> handles_;
    int connections_ = 0;
    int holds_ = 0;    ///< places in bodies where the server has stopped so far
    int releases_ = 0; ///< how many of them may go on, or may when they are reached
    bool stopped_ = false;
};
