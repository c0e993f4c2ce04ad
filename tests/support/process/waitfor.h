#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

/// Waits until \a condition holds, processing events of the calling thread meanwhile. Returns false if it still does
/// not hold after \a timeoutMs milliseconds.
template<typename Condition>
bool waitFor(Condition condition, int timeoutMs = 60000)
{
    constexpr int kTickMs = 5;
    const QDeadlineTimer deadline(timeoutMs);
    QTimer tick;
    tick.start(kTickMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        // Sleeping between rounds, as QTest::qWait() does, would slow down an upload that runs in this thread.
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}
