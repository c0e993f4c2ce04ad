#include "page/pageroutes.h"

#include "http/answer.h"
#include "http/foreignpages.h"
#include "intake/endpoints.h"
#include "page/attachment.h"
#include "page/pagestyle.h"
#include "page/uploadpage.h"
#include "store/storedfile.h"
#include "store/uploadrecord.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::size_t kMaxQueryTextBytes = 200;
constexpr std::size_t kPieceBytes = std::size_t(64) * 1024;
constexpr char kPlainText[] = "text/plain; charset=utf-8";

/// A request without a body that somebody has to read first; what came behind it would be taken for another request.
bool isWithoutBody(const httplib::Request &request)
{
    return !request.has_header("Content-Length") && !request.has_header("Transfer-Encoding");
}

/// What keeps browsers from taking an answer for more than it is, and other sites from reading it.
void setGuards(httplib::Response &response, const char *contentPolicy)
{
    response.set_header("Content-Security-Policy", contentPolicy);
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Cross-Origin-Resource-Policy", "same-origin");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("Cache-Control", "no-store");
    response.set_header("Accept-Ranges", "none");
}

void answerPage(const httplib::Request &request, httplib::Response &response, const RouteContext &context)
{
    UploadPage page;
    page.origin = context.origin;
    page.stores = context.index != nullptr;
    for (const auto &endpoint : endpoints())
        page.kinds.push_back(endpoint.kind);
    const auto kind = request.get_param_value("kind");
    if (std::count(page.kinds.begin(), page.kinds.end(), kind) > 0)
        page.query.kind = kind;
    page.query.text = request.get_param_value("text");
    if (page.query.text.size() > kMaxQueryTextBytes)
        throw Refusal(400, "the text to look for is longer than " + std::to_string(kMaxQueryTextBytes) + " bytes");
    page.query.before = parseUploadId(request.get_param_value("before"));
    if (page.stores) {
        page.matches = context.index->find(page.query);
        page.storedCount = context.index->storedCount();
    }

    setGuards(response, "default-src 'none'; style-src 'self'; img-src data:; form-action 'self'; base-uri 'none'; "
                        "frame-ancestors 'none'");
    setAnswer(response, 200, "text/html; charset=utf-8", uploadPageHtml(page), isWithoutBody(request));
}

void answerStyle(const httplib::Request &request, httplib::Response &response)
{
    setGuards(response, "default-src 'none'");
    setAnswer(response, 200, "text/css; charset=utf-8", pageStyle(), isWithoutBody(request));
}

/// The name under which \a upload is offered for a download.
std::string downloadName(const IndexedUpload &upload)
{
    return upload.fileName.value_or(upload.id.text + ".json");
}

void answerFile(const httplib::Request &request, httplib::Response &response, const std::filesystem::path &folder,
                const IndexedUpload &upload, const std::string &name)
{
    const auto file = StoredFile::open(folder, upload.id, name);
    if (!file)
        throw Refusal(404, "there is no such upload");

    const bool isDownload = request.has_param("download");
    setGuards(response, "default-src 'none'; sandbox; frame-ancestors 'none'");
    if (isDownload)
        response.set_header("Content-Disposition", attachmentDisposition(downloadName(upload)));
    const bool keepsConnection = isWithoutBody(request);
    if (!keepsConnection)
        response.set_header("Connection", "close");
    response.status = 200;
    const auto *type = isDownload ? "application/octet-stream" : kPlainText;
    if (file->size() == 0) {
        // The library would leave out the length of an empty provider.
        response.set_content(std::string(), type);
        return;
    }
    response.set_content_provider(
        file->size(), type, [file, keepsConnection](std::size_t offset, std::size_t count, httplib::DataSink &sink) {
            std::array<char, kPieceBytes> piece = {};
            const auto got = file->read(offset, piece.data(), std::min(count, piece.size()));
            // A file that has become shorter ends the connection, so that the client notices.
            return got > 0 && sink.write(piece.data(), got) && (keepsConnection || got < count);
        });
}

/// Calls \a answer if the request is meant for this machine; what is thrown becomes the answer.
template<typename Answer>
void answerOrRefuse(const httplib::Request &request, httplib::Response &response, RequestLog &log, Answer answer)
{
    const auto refuse = [&](const Refusal &refusal) {
        log.writeStray(request, refusal);
        setRefusal(response, refusal);
    };
    try {
        refuseForeignHost(request);
        answer();
    } catch (const Refusal &refusal) {
        refuse(refusal);
    } catch (const std::exception &failure) {
        refuse(Refusal(500, failure.what()));
    }
}

} // namespace

void addPageRoutes(httplib::Server &server, const RouteContext &context)
{
    server.Get("/", [context](const httplib::Request &request, httplib::Response &response) {
        answerOrRefuse(request, response, context.log, [&] { answerPage(request, response, context); });
    });
    server.Get("/style\\.css", [context](const httplib::Request &request, httplib::Response &response) {
        answerOrRefuse(request, response, context.log, [&] { answerStyle(request, response); });
    });

    // An id is letters, digits and dashes; whatever else is there is none.
    server.Get("/uploads/([0-9a-z-]+)/(file|fields)", [context](const httplib::Request &request,
                                                                httplib::Response &response) {
        answerOrRefuse(request, response, context.log, [&] {
            const auto id = parseUploadId(request.matches[1].str());
            const auto upload = id && context.index ? context.index->find(*id) : std::nullopt;
            if (!upload)
                throw Refusal(404, "there is no such upload");
            const bool isFields = request.matches[2] == "fields";
            answerFile(request, response, context.folder, *upload, isFields ? kUploadRecordName : upload->contentName);
        });
    });
}
