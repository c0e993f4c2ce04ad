#include "http/timestamp.h"

#include <ctime>

namespace {

constexpr char kUtcFormat[] = "%Y-%m-%dT%H:%M:%SZ";
constexpr char kLocalFormat[] = "%Y-%m-%d %H:%M:%S";

std::string formatted(const std::tm &time, const char *format)
{
    char text[32];
    return {text, std::strftime(text, sizeof text, format, &time)};
}

} // namespace

std::string localTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    ::localtime_r(&now, &parts);
    return formatted(parts, kLocalFormat);
}

bool isUtcTime(const std::string &text)
{
    std::tm parts = {};
    const char *end = ::strptime(text.c_str(), kUtcFormat, &parts);
    // Formatting it again finds what reading lets pass: shorter numbers, blanks, days that no month has.
    if (end == nullptr || *end != '\0')
        return false;
    const std::time_t time = ::timegm(&parts);
    return ::gmtime_r(&time, &parts) != nullptr && formatted(parts, kUtcFormat) == text;
}
