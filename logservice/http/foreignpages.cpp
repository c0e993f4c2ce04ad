#include "http/foreignpages.h"

#include "http/refusal.h"

#include <algorithm>
#include <cctype>

namespace {

constexpr int kForbidden = 403;

bool isThisMachine(std::string host)
{
    const auto behindPort = host.size();
    const auto colon = host.find_last_not_of("0123456789");
    if (colon != std::string::npos && host[colon] == ':' && colon + 1 < behindPort && behindPort <= colon + 6)
        host.resize(colon);
    std::transform(host.begin(), host.end(), host.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return host == "127.0.0.1" || host == "localhost" || host == "[::1]";
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
