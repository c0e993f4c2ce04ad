#include "intake/routes.h"

#include "http/answer.h"
#include "http/foreignpages.h"
#include "http/listener.h"
#include "intake/requestbody.h"
#include "text/characters.h"
#include "text/quotedtext.h"

#include <algorithm>
#include <optional>
#include <thread>

namespace {

// No route matches by it, so any path has to: the dot would leave out line ends.
constexpr char kAnyPath[] = R"([\s\S]*)";

constexpr std::size_t kMaxAboutBytes = 80; // of what a line says of user and room

/// What became of one request.
struct Intake
{
    UploadRecord record;
    std::optional<Refusal> refusal; ///< absent: accepted
    std::string storedAs;           ///< name of the upload's folder; empty when it was refused
};

/// Calls \a step and returns why it failed, if it did.
template<typename Step>
std::optional<Refusal> refusalOf(Step step)
{
    try {
        step();
        return std::nullopt;
    } catch (const Refusal &refusal) {
        return refusal;
    } catch (const std::exception &failure) {
        return Refusal(500, failure.what());
    }
}

/// Why the body cannot be read as it is on the wire, if so. Without a length, reading would wait for the end of the
/// connection; encoded bodies the library decodes by itself.
std::optional<Refusal> unreadable(const httplib::Request &request)
{
    if (request.has_header("Content-Encoding"))
        return Refusal(415, "content encodings are not taken");
    if (request.has_header("Transfer-Encoding")) {
        if (request.get_header_value("Transfer-Encoding") == "chunked" && !request.has_header("Content-Length"))
            return std::nullopt;
        return Refusal(400, "the transfer encoding is not plainly chunked");
    }
    if (!request.has_header("Content-Length"))
        return Refusal(411, "the request has no Content-Length");
    const auto length = request.get_header_value("Content-Length");
    if (request.get_header_value_count("Content-Length") > 1 || length.empty() ||
        !std::all_of(length.begin(), length.end(), isDigit))
        return Refusal(400, "the Content-Length is not one number");
    return std::nullopt;
}

/// Reads one request to its end, whether it is taken or not: a client that still sends may not see its answer.
Intake takeIn(const Endpoint &endpoint, const httplib::Request &request, const httplib::ContentReader &read,
              UploadStore &store)
{
    Intake intake;
    intake.record.kind = endpoint.kind;
    intake.record.path = endpoint.path;
    intake.refusal = unreadable(request);
    if (intake.refusal)
        return intake;

    std::optional<RequestBody> body;
    intake.refusal = refusalOf([&] {
        refusePagePost(request);
        body.emplace(endpoint, contentTypeOf(request), store, intake.record);
    });

    std::uint64_t received = 0;
    const bool isWhole = read([&](const char *bytes, std::size_t count) {
        received += count;
        if (!intake.refusal)
            intake.refusal = refusalOf([&] { body->feed({bytes, count}); });
        if (intake.refusal)
            body.reset();
        return true;
    });
    if (!isWhole && !intake.refusal)
        intake.refusal = Refusal(400, "the body was cut off behind " + std::to_string(received) + " bytes");
    if (!intake.refusal)
        intake.refusal = refusalOf([&] { intake.storedAs = body->finish(); });
    return intake;
}

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

    // Left to itself, the library would read the whole body of a stray upload into memory. It is read all the same, as
    // in takeIn().
    const auto refuseWithBody = [port, context](const httplib::Request &request, httplib::Response &response,
                                                const httplib::ContentReader &read) {
        if (!unreadable(request))
            read([](const char * /*bytes*/, std::size_t /*count*/) { return true; });
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
