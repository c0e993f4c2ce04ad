// Preloaded into a program, lets its monotonic clock run KX_CLOCK_FACTOR times as fast, so that a watchdog of minutes
// is due after a moment. Waiting itself takes as long as ever.

#include <cstdlib>
#include <ctime>
#include <dlfcn.h>

namespace {

using ClockFunction = int (*)(clockid_t, timespec *);

constexpr long long kNanoseconds = 1000000000;

long long speedUp(long long now)
{
    static const long long start = now;
    static const long long factor = [] {
        const char *text = std::getenv("KX_CLOCK_FACTOR");
        return text != nullptr ? std::atoll(text) : 1;
    }();
    return start + (now - start) * factor;
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    static const auto next = reinterpret_cast<ClockFunction>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = next(clock, time);
    if (result != 0 || clock != CLOCK_MONOTONIC)
        return result;
    const long long now = speedUp(time->tv_sec * kNanoseconds + time->tv_nsec);
    time->tv_sec = now / kNanoseconds;
    time->tv_nsec = now % kNanoseconds;
    return result;
}
