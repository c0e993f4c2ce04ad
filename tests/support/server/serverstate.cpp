#include "support/server/serverstate.h"

#include <QDeadlineTimer>

#include <sys/socket.h>
#include <unistd.h>

ServerState::ServerState(const QList<Reply> &script, const Reply &fallback) : script_(script), fallback_(fallback)
{
    clock_.start();
}

Reply ServerState::takeReply(const RecordedRequest &request)
{
    QMutexLocker locker(&mutex_);
    if (last_.coversRepeats && request.hasSameTarget(lastRequest_))
        return last_;
    last_ = script_.isEmpty() ? fallback_ : script_.takeFirst();
    lastRequest_ = request;
    return last_;
}

bool ServerState::takeResetOnConnect()
{
    QMutexLocker locker(&mutex_);
    const Reply &next = script_.isEmpty() ? fallback_ : script_.first();
    const bool resets = next.when == Reply::When::OnConnect;
    if (resets && !script_.isEmpty())
        script_.removeFirst();
    return resets;
}

void ServerState::record(const RecordedRequest &request)
{
    QMutexLocker locker(&mutex_);
    requests_.append(request);
}

QList<RecordedRequest> ServerState::requests() const
{
    QMutexLocker locker(&mutex_);
    return requests_;
}

int ServerState::countConnection()
{
    QMutexLocker locker(&mutex_);
    return ++connections_;
}

int ServerState::connections() const
{
    QMutexLocker locker(&mutex_);
    return connections_;
}

void ServerState::hold()
{
    QMutexLocker locker(&mutex_);
    const int place = ++holds_;
    while (releases_ < place && !stopped_)
        changed_.wait(&mutex_);
}

void ServerState::release()
{
    QMutexLocker locker(&mutex_);
    ++releases_;
    changed_.wakeAll();
}

bool ServerState::isHolding() const
{
    QMutexLocker locker(&mutex_);
    return holds_ > releases_;
}

void ServerState::pause(int ms)
{
    QMutexLocker locker(&mutex_);
    const QDeadlineTimer end(ms);
    while (!stopped_ && !end.hasExpired())
        changed_.wait(&mutex_, static_cast<unsigned long>(end.remainingTime()));
}

int ServerState::openHandle(qintptr descriptor)
{
    // A descriptor of our own: the socket object closes its one when the client goes away, and the number is then
    // given to somebody else whom stop() must not touch.
    QMutexLocker locker(&mutex_);
    if (stopped_)
        return -1;
    const int handle = ::dup(int(descriptor));
    if (handle >= 0)
        handles_.insert(handle);
    return handle;
}

void ServerState::closeHandle(int handle)
{
    QMutexLocker locker(&mutex_);
    if (handles_.remove(handle))
        ::close(handle);
}

void ServerState::stop()
{
    QMutexLocker locker(&mutex_);
    stopped_ = true;
    changed_.wakeAll();
    for (const int handle : qAsConst(handles_))
        ::shutdown(handle, SHUT_RDWR);
}

bool ServerState::isStopped() const
{
    QMutexLocker locker(&mutex_);
    return stopped_;
}
