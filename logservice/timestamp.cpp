#include "timestamp.h"

#include <ctime>

namespace {

std::string formatted(const std::tm &time, const char *format)
{
    char text[32];
    return {text, std::strftime(text, sizeof text, format, &time)};
}

} // namespace

std::string utcTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    ::gmtime_r(&now, &parts);
    return formatted(parts, "%Y-%m-%dT%H:%M:%SZ");
}

std::string localTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    ::localtime_r(&now, &parts);
    return formatted(parts, "%Y-%m-%d %H:%M:%S");
}
