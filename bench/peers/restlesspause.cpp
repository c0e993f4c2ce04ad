// Stands in for the tool's own pause in the program that shows what a pause costs which never rests.

#include "process/eventpause.h"

#include <QCoreApplication>
#include <QElapsedTimer>

qint64 pauseWithEvents(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, ms);
    return timer.elapsed();
}
