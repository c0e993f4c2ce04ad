#include "http/foreignpages.h"

#include "http/refusal.h"

#include <regex>

namespace {

constexpr int kForbidden = 403;

bool isThisMachine(const std::string &host)
{
    static const std::regex pattern(R"((127\.0\.0\.1|localhost|\[::1\])(:[0-9]{1,5})?)", std::regex::icase);
    return std::regex_match(host, pattern);
}

} // namespace

void refuseForeignHost(const httplib::Request &request)
{
    if (request.get_header_value_count("Host") != 1 || !isThisMachine(request.get_header_value("Host")))
        throw Refusal(kForbidden, "the page is shown under 127.0.0.1, localhost and [::1] only");
}

void refusePagePost(const httplib::Request &request)
{
    if (request.has_header("Origin"))
        throw Refusal(kForbidden, "nothing is taken from the pages of a browser");
}
