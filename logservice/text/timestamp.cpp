#include "text/timestamp.h"

#include <ctime>

namespace {

constexpr char kUtcFormat[] = "%Y-%m-%dT%H:%M:%SZ";
constexpr char kLocalFormat[] = "%Y-%m-%d %H:%M:%S";
constexpr char kDayFormat[] = "%Y-%m-%d";

std::string formatted(const std::tm &time, const char *format)
{
    char text[32];
    return {text, std::strftime(text, sizeof text, format, &time)};
}

/// \a time with every part within its range.
std::tm normalized(std::tm time)
{
    const std::time_t seconds = ::timegm(&time);
    ::gmtime_r(&seconds, &time);
    return time;
}

std::string now(std::tm *(*convert)(const std::time_t *, std::tm *), const char *format)
{
    const std::time_t seconds = std::time(nullptr);
    std::tm parts = {};
    convert(&seconds, &parts);
    return formatted(parts, format);
}

} // namespace

std::string localTime()
{
    return now(&::localtime_r, kLocalFormat);
}

std::string utcTime()
{
    return now(&::gmtime_r, kUtcFormat);
}

bool isUtcTime(const std::string &text)
{
    std::tm parts = {};
    const char *end = ::strptime(text.c_str(), kUtcFormat, &parts);
    // Formatting it again finds what reading lets pass: shorter numbers, blanks, days that no month has.
    return end != nullptr && *end == '\0' && formatted(normalized(parts), kUtcFormat) == text;
}

std::string dayAfter(const std::string &day, int days)
{
    std::tm parts = {};
    ::strptime(day.c_str(), kDayFormat, &parts);
    parts.tm_mday += days;
    return formatted(normalized(parts), kDayFormat);
}
