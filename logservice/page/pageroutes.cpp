#include "page/pageroutes.h"

#include "http/answer.h"
#include "http/foreignpages.h"
#include "page/logpage.h"
#include "page/pagestyle.h"
#include "page/uploadchart.h"
#include "page/uploadpage.h"
#include "store/storedfile.h"
#include "store/uploadrecord.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cctype>

namespace {

constexpr std::size_t kPieceBytes = std::size_t(64) * 1024;
constexpr char kPlainText[] = "text/plain; charset=utf-8";

/// A request, and where its answer goes.
struct Exchange
{
    const PageContext &context;
    const httplib::Request &request;
    const Parameters parameters;
    httplib::Response &response;

    /// False with a body that somebody would have to read; what came behind it would be taken for another request.
    bool keepsConnection() const
    {
        return !request.has_header("Content-Length") && !request.has_header("Transfer-Encoding");
    }

    /// Sets what keeps browsers from taking an answer for more than it is, and other sites from reading it.
    void setGuards(const char *contentPolicy) const
    {
        response.set_header("Content-Security-Policy", contentPolicy);
        response.set_header("X-Content-Type-Options", "nosniff");
        response.set_header("Cross-Origin-Resource-Policy", "same-origin");
        response.set_header("Referrer-Policy", "no-referrer");
        response.set_header("Cache-Control", "no-store");
        response.set_header("Accept-Ranges", "none");
    }

    void answer(const char *type, const std::string &text, const char *contentPolicy = "default-src 'none'") const
    {
        setGuards(contentPolicy);
        setAnswer(response, 200, type, text, keepsConnection());
    }

    void answerHtml(const std::string &html) const
    {
        answer("text/html; charset=utf-8", html,
               "default-src 'none'; style-src 'self'; img-src data:; form-action 'self'; base-uri 'none'; "
               "frame-ancestors 'none'");
    }
};

void answerStyle(const Exchange &exchange)
{
    exchange.answer("text/css; charset=utf-8", pageStyle());
}

void answerList(const Exchange &exchange)
{
    const auto &context = exchange.context;
    UploadPage page;
    page.origin = context.origin;
    page.kinds = context.kinds;
    page.parameters = exchange.parameters;
    auto query = uploadQuery(page.parameters, page.kinds);
    query.days = kChartDays;
    page.matches = context.index.find(query);
    exchange.answerHtml(uploadPageHtml(page));
}

using Json = nlohmann::ordered_json;

template<typename Value>
Json orNull(const std::optional<Value> &value)
{
    return value ? Json(*value) : Json();
}

Json uploadJson(const IndexedUpload &upload)
{
    auto rooms = Json::array();
    for (const auto &room : upload.rooms)
        rooms.push_back({{"id", room.id}, {"name", room.name}});
    return {{"id", upload.id.text},          {"time", upload.time},           {"kind", upload.id.kind},
            {"nickname", upload.nickname},   {"loginName", upload.loginName}, {"userId", upload.userId},
            {"rooms", std::move(rooms)},     {"namespace", upload.nameSpace}, {"file", orNull(upload.fileName)},
            {"bytes", orNull(upload.bytes)}, {"sha256", upload.sha256},       {"message", upload.message}};
}

/// As docs/openapi.yaml describes it.
void answerQuery(const Exchange &exchange)
{
    const auto matches = exchange.context.index.find(uploadQuery(exchange.parameters, exchange.context.kinds));
    auto uploads = Json::array();
    for (const auto &upload : matches.uploads)
        uploads.push_back(uploadJson(upload));
    const Json document = {{"total", matches.total},
                           {"uploads", std::move(uploads)},
                           {"next", matches.older ? Json(matches.older->text) : Json()}};
    exchange.answer("application/json", document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

const char kNoUpload[] = "there is no such upload";

/// A name for a download that is its own on every disk: the upload's id and what ASCII there is of the name that was
/// sent.
std::string downloadName(const IndexedUpload &upload)
{
    constexpr std::size_t kMaxSentBytes = 100;
    const auto sent = upload.fileName.value_or(upload.contentName);
    auto name = sent.substr(sent.size() - std::min(sent.size(), kMaxSentBytes));
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0 && c != '.' && c != '-'; }, '_');
    name.erase(std::unique(name.begin(), name.end(), [](char a, char b) { return a == '_' && b == '_'; }), name.end());
    return upload.id.text + "-" + name;
}

IndexedUpload uploadOf(const Exchange &exchange)
{
    const auto id = parseUploadId(exchange.request.matches[1].str());
    auto upload = id ? exchange.context.index.find(*id) : std::nullopt;
    if (!upload)
        throw Refusal(404, kNoUpload);
    return *std::move(upload);
}

std::shared_ptr<const StoredFile> openedFile(const Exchange &exchange, const UploadId &id, const std::string &name)
{
    auto file = StoredFile::open(exchange.context.folder, id, name);
    if (!file)
        throw Refusal(404, kNoUpload);
    return file;
}

void answerLog(const Exchange &exchange)
{
    LogView view;
    view.parameters = exchange.parameters;
    view.query = logQuery(view.parameters);
    view.upload = uploadOf(exchange);
    const auto file = openedFile(exchange, view.upload.id, view.upload.contentName);
    view.fileBytes = file->size();
    view.page = readLog(*file, view.query);
    exchange.answerHtml(logPageHtml(view));
}

void answerStored(const Exchange &exchange, const UploadId &id, const std::string &name, const char *type)
{
    const auto file = openedFile(exchange, id, name);
    auto &response = exchange.response;
    exchange.setGuards("default-src 'none'; sandbox; frame-ancestors 'none'");
    const bool keepsConnection = exchange.keepsConnection();
    if (!keepsConnection)
        response.set_header("Connection", "close");
    response.status = 200;
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

void answerFile(const Exchange &exchange)
{
    const auto upload = uploadOf(exchange);
    const bool isDownload = exchange.request.has_param("download");
    answerStored(exchange, upload.id, upload.contentName, isDownload ? "application/octet-stream" : kPlainText);
    if (isDownload)
        exchange.response.set_header("Content-Disposition", "attachment; filename=\"" + downloadName(upload) + "\"");
}

void answerFields(const Exchange &exchange)
{
    answerStored(exchange, uploadOf(exchange).id, kUploadRecordName, kPlainText);
}

/// Has \a answer called for requests that are meant for this machine and have no parameters but those that are
/// \a known; what is thrown becomes the answer.
void addRoute(httplib::Server &server, const char *pattern, const PageContext &context,
              const std::vector<std::string> &known, void (*answer)(const Exchange &))
{
    server.Get(pattern, [context, known, answer](const httplib::Request &request, httplib::Response &response) {
        const auto refuse = [&](const Refusal &refusal) {
            context.log.writeStray(request, refusal);
            setRefusal(response, refusal);
        };
        try {
            refuseForeignHost(request);
            answer({context, request, parametersOf(request, known), response});
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
    addRoute(server, "/style\\.css", context, {}, answerStyle);
    addRoute(server, "/", context, {"user", "room", "kind", "since", "until", "text", "limit", "before", "after"},
             answerList);
    addRoute(server, "/api/uploads", context, {"user", "room", "kind", "since", "until", "text", "limit", "before"},
             answerQuery);
    // An id is letters, digits and dashes; whatever else is there is none.
    addRoute(server, "/uploads/([0-9a-z-]+)/log", context, {"from", "before", "level", "text"}, answerLog);
    addRoute(server, "/uploads/([0-9a-z-]+)/file", context, {"download"}, answerFile);
    addRoute(server, "/uploads/([0-9a-z-]+)/fields", context, {}, answerFields);
}
