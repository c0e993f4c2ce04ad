#include "support/process/apprun.h"

#include <QCoreApplication>
#include <QTimer>

namespace {

constexpr int kStopped = 1001;
constexpr int kTimedOut = 1002;
constexpr int kPollMs = 1;
// Not 0: a timer that is started while timers fire is up in another round of the loop at the earliest, and a loop that
// was told to quit has no other round. So a stop is never taken for a quit.
constexpr int kGraceMs = 1;

} // namespace

RunEnd runApplication(const std::function<void()> &start, const std::function<bool()> &stopWhen, int timeoutMs)
{
    QObject scope;
    if (start)
        QTimer::singleShot(0, &scope, start);
    QTimer::singleShot(timeoutMs, &scope, [] { QCoreApplication::exit(kTimedOut); });

    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &scope, [&] {
        if (!stopWhen())
            return;
        poll.stop();
        QTimer::singleShot(kGraceMs, &scope, [] { QCoreApplication::exit(kStopped); });
    });
    if (stopWhen)
        poll.start(kPollMs);

    switch (QCoreApplication::exec()) {
    case kStopped:
        return RunEnd::Stopped;
    case kTimedOut:
        return RunEnd::TimedOut;
    default:
        return RunEnd::Quit;
    }
}
