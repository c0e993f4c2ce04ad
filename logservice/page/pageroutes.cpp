#include "page/pageroutes.h"

#include "http/answer.h"
#include "http/foreignpages.h"
#include "page/logpage.h"
#include "page/pagestyle.h"
#include "page/uploadchart.h"
#include "page/uploadpage.h"
#include "page/uploadsjson.h"
#include "store/storedfile.h"
#include "store/uploadrecord.h"

#include <algorithm>
#include <array>

namespace {

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

void answerHtml(const httplib::Request &request, httplib::Response &response, const std::string &html)
{
    setGuards(response, "default-src 'none'; style-src 'self'; img-src data:; form-action 'self'; base-uri 'none'; "
                        "frame-ancestors 'none'");
    setAnswer(response, 200, "text/html; charset=utf-8", html, isWithoutBody(request));
}

void answerList(const httplib::Request &request, httplib::Response &response, const PageContext &context)
{
    UploadPage page;
    page.origin = context.origin;
    page.kinds = context.kinds;
    page.parameters =
        parametersOf(request, {"user", "room", "kind", "since", "until", "text", "limit", "before", "after"});
    auto query = uploadQuery(page.parameters, page.kinds);
    query.days = kChartDays;
    page.matches = context.index.find(query);
    page.storedCount = page.matches.storedCount;
    page.days = page.matches.days;
    answerHtml(request, response, uploadPageHtml(page));
}

void answerQuery(const httplib::Request &request, httplib::Response &response, const PageContext &context)
{
    const auto parameters =
        parametersOf(request, {"user", "room", "kind", "since", "until", "text", "limit", "before"});
    const auto query = uploadQuery(parameters, context.kinds);
    const auto matches = context.index.find(query);
    setGuards(response, "default-src 'none'");
    setAnswer(response, 200, "application/json", uploadsJson(matches), isWithoutBody(request));
}

void answerStyle(const httplib::Request &request, httplib::Response &response, const PageContext & /*context*/)
{
    setGuards(response, "default-src 'none'");
    setAnswer(response, 200, "text/css; charset=utf-8", pageStyle(), isWithoutBody(request));
}

const char kNoUpload[] = "there is no such upload";

/// A name for a download that is its own on every disk: the upload's id and what ASCII there is of the name that was
/// sent.
std::string downloadName(const IndexedUpload &upload)
{
    constexpr std::size_t kMaxSentBytes = 100;
    const auto sent = upload.fileName.value_or(upload.contentName);
    std::string name;
    for (const char c : sent.substr(sent.size() - std::min(sent.size(), kMaxSentBytes))) {
        const bool isPlain =
            (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '-';
        if (isPlain || name.empty() || name.back() != '_')
            name += isPlain ? c : '_';
    }
    return upload.id.text + "-" + name;
}

IndexedUpload uploadOf(const PageContext &context, const std::string &text)
{
    const auto id = parseUploadId(text);
    auto upload = id ? context.index.find(*id) : std::nullopt;
    if (!upload)
        throw Refusal(404, kNoUpload);
    return *std::move(upload);
}

std::shared_ptr<const StoredFile> openedFile(const PageContext &context, const UploadId &id, const std::string &name)
{
    auto file = StoredFile::open(context.folder, id, name);
    if (!file)
        throw Refusal(404, kNoUpload);
    return file;
}

void answerLog(const httplib::Request &request, httplib::Response &response, const PageContext &context)
{
    LogView view;
    view.parameters = parametersOf(request, {"from", "before", "level", "text"});
    view.query = logQuery(view.parameters);
    view.upload = uploadOf(context, request.matches[1].str());
    const auto file = openedFile(context, view.upload.id, view.upload.contentName);
    view.fileBytes = file->size();
    view.page = readLog(*file, view.query);
    answerHtml(request, response, logPageHtml(view));
}

void answerFile(const httplib::Request &request, httplib::Response &response, const PageContext &context)
{
    const auto upload = uploadOf(context, request.matches[1].str());
    const auto file =
        openedFile(context, upload.id, request.matches[2] == "fields" ? kUploadRecordName : upload.contentName);
    const bool isDownload = request.has_param("download");
    setGuards(response, "default-src 'none'; sandbox; frame-ancestors 'none'");
    if (isDownload)
        response.set_header("Content-Disposition", "attachment; filename=\"" + downloadName(upload) + "\"");
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

using Answer = void (*)(const httplib::Request &, httplib::Response &, const PageContext &);

/// Has \a answer called for requests that are meant for this machine; what is thrown becomes the answer.
void addRoute(httplib::Server &server, const char *pattern, const PageContext &context, Answer answer)
{
    server.Get(pattern, [context, answer](const httplib::Request &request, httplib::Response &response) {
        const auto refuse = [&](const Refusal &refusal) {
            context.log.writeStray(request, refusal);
            setRefusal(response, refusal);
        };
        try {
            refuseForeignHost(request);
            answer(request, response, context);
        } catch (const Refusal &refusal) {
            refuse(refusal);
        } catch (const std::exception &failure) {
            refuse(Refusal(500, failure.what()));
        }
    });
}

} // namespace

void addPageRoutes(httplib::Server &server, const PageContext &context)
{
    addRoute(server, "/", context, answerList);
    addRoute(server, "/style\\.css", context, answerStyle);
    addRoute(server, "/api/uploads", context, answerQuery);
    // An id is letters, digits and dashes; whatever else is there is none.
    addRoute(server, "/uploads/([0-9a-z-]+)/log", context, answerLog);
    addRoute(server, "/uploads/([0-9a-z-]+)/(file|fields)", context, answerFile);
}
