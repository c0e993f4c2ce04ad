#include "intake/routes.h"

#include "http/answer.h"

#include <algorithm>

namespace {

// No route matches by it, so any path has to: the dot would leave out line ends.
constexpr char kAnyPath[] = R"([\s\S]*)";

bool isEndpoint(Port port, const std::string &path)
{
    const auto &table = endpoints();
    return std::any_of(table.begin(), table.end(),
                       [&](const Endpoint &endpoint) { return endpoint.port == port && endpoint.path == path; });
}

Refusal strayRefusal(Port port, const std::string &path)
{
    return isEndpoint(port, path) ? Refusal(405, "only POST is taken here") : Refusal(404, "there is nothing here");
}

/// The reason for a request that the library turned down by itself.
Refusal libraryRefusal(int status)
{
    switch (status) {
    case 414:
        return {status, "the request line is too long"};
    case 400:
        return {status, "the request line or a header cannot be read"};
    default:
        return {status, "the request cannot be answered"};
    }
}

void addEndpoint(httplib::Server &server, const Endpoint &endpoint, const RouteContext &context)
{
    server.Post(endpoint.path, [&endpoint, context](const httplib::Request &request, httplib::Response &response,
                                                    const httplib::ContentReader &read) {
        const auto contentType = takeContentType(request);
        const auto intake = takeIn(endpoint, request, contentType, read, context.store);
        const auto answer = "{\"Code\":" + std::to_string(context.code) + "}";
        context.log.writeIntake(intake, summary(intake.record, endpoint.shown), answer);
        if (intake.refusal)
            setRefusal(response, *intake.refusal);
        else
            setAnswer(response, 200, "application/json", answer, true);
    });
}

} // namespace

void addRoutes(httplib::Server &server, Port port, const RouteContext &context)
{
    for (const auto &endpoint : endpoints()) {
        if (endpoint.port == port)
            addEndpoint(server, endpoint, context);
    }

    server.set_pre_routing_handler([](const httplib::Request &request, httplib::Response & /*response*/) {
        dropRanges(request);
        return httplib::Server::HandlerResponse::Unhandled;
    });

    // Left to itself, the library would read the whole body of a stray upload into memory.
    const auto refuseWithBody = [port, context](const httplib::Request &request, httplib::Response &response,
                                                const httplib::ContentReader &read) {
        takeContentType(request);
        skipBody(request, read);
        const auto refusal = strayRefusal(port, request.path);
        context.log.writeStray(request, refusal);
        setRefusal(response, refusal);
    };
    server.Post(kAnyPath, refuseWithBody);
    server.Put(kAnyPath, refuseWithBody);
    server.Patch(kAnyPath, refuseWithBody);
    server.Delete(kAnyPath, refuseWithBody);

    // Also called for the refusals made above, which have their answer.
    const httplib::Server::HandlerWithResponse refuse = [port, context](const httplib::Request &request,
                                                                        httplib::Response &response) {
        if (response.has_header("Content-Type"))
            return httplib::Server::HandlerResponse::Unhandled;
        dropRanges(request);
        const auto refusal =
            response.status == 404 ? strayRefusal(port, request.path) : libraryRefusal(response.status);
        context.log.writeStray(request, refusal);
        setRefusal(response, refusal);
        return httplib::Server::HandlerResponse::Handled;
    };
    server.set_error_handler(refuse);
}
