#include "page/parameters.h"

#include "http/refusal.h"
#include "store/searchtext.h"
#include "text/quotedtext.h"
#include "text/timestamp.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::size_t kMaxValueBytes = 200;
constexpr std::uint64_t kMaxLimit = 500;
constexpr std::uint64_t kMaxOffset = std::uint64_t(1) << 62U;

[[noreturn]] void refuse(const std::string &name, const std::string &value, const std::string &expected)
{
    throw Refusal(400, name + "=" + quotedText(value) + " is not " + expected);
}

std::string text(const Parameters &parameters, const std::string &name)
{
    auto value = valueOf(parameters, name);
    if (value.size() > kMaxValueBytes)
        throw Refusal(400, name + " is longer than " + std::to_string(kMaxValueBytes) + " bytes");
    return value;
}

std::optional<std::uint64_t> number(const Parameters &parameters, const std::string &name, std::uint64_t least,
                                    std::uint64_t greatest)
{
    const auto value = valueOf(parameters, name);
    if (value.empty())
        return std::nullopt;
    std::uint64_t result = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), result);
    if (error != std::errc() || end != value.data() + value.size() || result < least || result > greatest)
        refuse(name, value, "a number from " + std::to_string(least) + " to " + std::to_string(greatest));
    return result;
}

/// Completes a day, a minute or a second with what \a dayTime, such as "T23:59:59Z", has behind it.
std::string time(const Parameters &parameters, const std::string &name, const std::string &dayTime)
{
    constexpr std::size_t kDayBytes = 10;
    constexpr std::size_t kMinuteBytes = 16;
    constexpr std::size_t kSecondBytes = 19;
    const auto value = valueOf(parameters, name);
    const bool isWhole = value.size() == kSecondBytes + 1 && value.back() == 'Z';
    const bool isMinute = value.size() == kMinuteBytes + 1 && value.back() == 'Z';
    auto whole = value.substr(0, value.size() - (isWhole || isMinute ? 1 : 0));
    if (whole.size() == kDayBytes || whole.size() == kMinuteBytes || whole.size() == kSecondBytes)
        whole += dayTime.substr(whole.size() - kDayBytes);
    if (!value.empty() && !isUtcTime(whole))
        refuse(name, value, "a day such as 2026-11-22 or a time such as 2026-11-22T09:30:00Z, both of UTC");
    return whole;
}

std::optional<UploadId> id(const Parameters &parameters, const std::string &name)
{
    const auto value = valueOf(parameters, name);
    auto found = parseUploadId(value);
    if (!found && !value.empty())
        refuse(name, value, "the id of an upload");
    return found;
}

} // namespace

Parameters parametersOf(const httplib::Request &request, const std::vector<std::string> &known)
{
    Parameters parameters;
    for (const auto &[name, value] : request.params) {
        if (std::count(known.begin(), known.end(), name) == 0)
            throw Refusal(400, "there is no parameter " + quotedText(name));
        if (request.get_param_value_count(name) > 1)
            throw Refusal(400, name + " is there more than once");
        if (!value.empty())
            parameters[name] = value;
    }
    return parameters;
}

std::string valueOf(const Parameters &parameters, const std::string &name)
{
    const auto found = parameters.find(name);
    return found == parameters.end() ? std::string() : found->second;
}

Parameters withoutPlace(Parameters parameters)
{
    for (const auto *name : {"from", "before", "after"})
        parameters.erase(name);
    return parameters;
}

std::string address(const std::string &path, const Parameters &parameters)
{
    return httplib::append_query_params(path, {parameters.begin(), parameters.end()});
}

UploadQuery uploadQuery(const Parameters &parameters, const std::vector<std::string> &kinds)
{
    UploadQuery query;
    query.user = text(parameters, "user");
    query.room = text(parameters, "room");
    query.text = text(parameters, "text");
    query.kind = valueOf(parameters, "kind");
    if (!query.kind.empty() && std::count(kinds.begin(), kinds.end(), query.kind) == 0) {
        std::string expected = "one of";
        for (const auto &kind : kinds)
            expected += " " + kind;
        refuse("kind", query.kind, expected);
    }
    query.since = time(parameters, "since", "T00:00:00Z");
    query.until = time(parameters, "until", "T23:59:59Z");
    query.limit = number(parameters, "limit", 1, kMaxLimit).value_or(query.limit);
    query.before = id(parameters, "before");
    query.after = id(parameters, "after");
    if (query.before && query.after)
        throw Refusal(400, "before and after do not go together");
    return query;
}

LogQuery logQuery(const Parameters &parameters)
{
    LogQuery query;
    query.from = number(parameters, "from", 0, kMaxOffset).value_or(0);
    query.before = number(parameters, "before", 0, kMaxOffset);
    if (query.before && parameters.count("from") > 0)
        throw Refusal(400, "from and before do not go together");
    query.words = wordsOf(folded(text(parameters, "text")));
    const auto level = valueOf(parameters, "level");
    const auto *const found = std::find(kLevelNames.begin(), kLevelNames.end(), level);
    if (found == kLevelNames.end())
        refuse("level", level, "one of debug info warning critical fatal");
    query.level = static_cast<Level>(found - kLevelNames.begin());
    return query;
}
