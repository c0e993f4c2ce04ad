#include "intake/intake.h"

#include "http/foreignpages.h"
#include "http/listener.h"
#include "intake/requestbody.h"
#include "text/characters.h"

#include <algorithm>

namespace {

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

} // namespace

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

void skipBody(const httplib::Request &request, const httplib::ContentReader &read)
{
    if (!unreadable(request))
        read([](const char * /*bytes*/, std::size_t /*count*/) { return true; });
}
