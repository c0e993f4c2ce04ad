#include "process/eventpause.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

namespace {

// processEvents() returns at once when nothing is pending; without a rest between two calls the wait burns a core.
constexpr int kMaxRestMs = 5;

} // namespace

qint64 pauseWithEvents(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, ms);
        const qint64 restMs = qMin<qint64>(kMaxRestMs, ms - timer.elapsed());
        if (restMs > 0)
            QThread::msleep(static_cast<unsigned long>(restMs));
    }
    return timer.elapsed();
}
