#include "intake/routes.h"

#include "http/answer.h"
#include "intake/intake.h"
#include "text/quotedtext.h"

#include <thread>

namespace {

// No route matches by it, so any path has to: the dot would leave out line ends.
constexpr char kAnyPath[] = R"([\s\S]*)";

constexpr std::size_t kMaxAboutBytes = 80; // of what a line says of user and room

Refusal strayRefusal(Port port, const std::string &path)
{
    for (const auto &endpoint : endpoints()) {
        if (endpoint.port == port && endpoint.path == path)
            return {405, "only POST is taken here"};
    }
    return {404, "there is nothing here"};
}

/// The reason for a request that the library turned down by itself.
Refusal libraryRefusal(int status)
{
    switch (status) {
    case 414:
        return {status, "the request line is too long"};
    case 400:
        return {status, "the request line or a header cannot be read, or there are too many"};
    default:
        return {status, "the request cannot be answered"};
    }
}

/// What the request log says of \a intake: kind, file name, size, what \a about says of user and room, and what became
/// of it.
std::string lineOf(const Intake &intake, const std::string &about, const std::string &answer)
{
    const auto &record = intake.record;
    const auto line = record.kind + " " + (record.fileName ? quotedText(*record.fileName) : "-") + " " +
                      std::to_string(record.size) + " bytes from " + quotedText(about, kMaxAboutBytes) + " ";
    return line +
           (intake.refusal ? refusalText(*intake.refusal) : "answered " + answer + ", stored as " + intake.storedAs);
}

void addEndpoint(httplib::Server &server, const Endpoint &endpoint, const RouteContext &context)
{
    server.Post(endpoint.path, [&endpoint, context](const httplib::Request &request, httplib::Response &response,
                                                    const httplib::ContentReader &read) {
        const auto intake = takeIn(endpoint, request, read, context.store);
        const auto answer = "{\"Code\":" + std::to_string(context.code) + "}";
        const auto shown = (context.status == 200 ? "" : std::to_string(context.status) + " ") + answer;
        context.log.write(lineOf(intake, summary(intake.record, endpoint.shown), shown));
        std::this_thread::sleep_for(context.delay);
        if (intake.refusal)
            setRefusal(response, *intake.refusal);
        else if (context.status == 204 || context.status == 304)
            response.status = context.status; // with a body, it would be taken for the next answer
        else
            setAnswer(response, context.status, "application/json", answer, true);
    });
}

} // namespace

void addRoutes(httplib::Server &server, Port port, const RouteContext &context)
{
    for (const auto &endpoint : endpoints()) {
        if (endpoint.port == port)
            addEndpoint(server, endpoint, context);
    }

    // Left to itself, the library would read the whole body of a stray upload into memory.
    const auto refuseWithBody = [port, context](const httplib::Request &request, httplib::Response &response,
                                                const httplib::ContentReader &read) {
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
        const auto refusal =
            response.status == 404 ? strayRefusal(port, request.path) : libraryRefusal(response.status);
        context.log.writeStray(request, refusal);
        setRefusal(response, refusal);
        return httplib::Server::HandlerResponse::Handled;
    };
    server.set_error_handler(refuse);
}
