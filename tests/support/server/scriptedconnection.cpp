#include "support/server/scriptedconnection.h"

#include <QSslSocket>
#include <QTcpSocket>
#include <algorithm>

#include <sys/socket.h>

namespace {

constexpr int kMaxHeadBytes = 64 * 1024;
constexpr int kReadBufferBytes = 64 * 1024;
const char kEndOfHead[] = "\r\n\r\n";

} // namespace

ScriptedConnection::ScriptedConnection(qintptr descriptor, int number, const ScriptedServer::Config &config,
                                       ServerState &state)
    : descriptor_(descriptor), number_(number), config_(config), state_(state)
{
}

ScriptedConnection::~ScriptedConnection() = default;

void ScriptedConnection::run()
{
    if (open()) {
        while (serveOne()) {
        }
    }
    socket_.reset();
    state_.closeHandle(handle_);
}

bool ScriptedConnection::open()
{
    const bool encrypted = !config_.certificate.isNull();
    socket_.reset(encrypted ? new QSslSocket : new QTcpSocket);
    handle_ = state_.openHandle(descriptor_);
    if (!socket_->setSocketDescriptor(descriptor_) || handle_ < 0)
        return false;
    socket_->setReadBufferSize(kReadBufferBytes);
    if (state_.takeResetOnConnect()) {
        resetWhenClosed();
        return false;
    }
    if (!encrypted)
        return true;
    auto *tls = static_cast<QSslSocket *>(socket_.get());
    tls->setLocalCertificate(config_.certificate);
    tls->setPrivateKey(config_.key);
    tls->startServerEncryption();
    return tls->waitForEncrypted(-1);
}

/// Returns whether the connection may carry another request.
bool ScriptedConnection::serveOne()
{
    if (unread_.isEmpty() && !fill())
        return false;
    if (state_.takeResetOnConnect()) {
        resetWhenClosed();
        return false;
    }

    RecordedRequest request;
    request.connection = number_;
    request.firstByteMs = state_.elapsedMs();
    QCryptographicHash hash(QCryptographicHash::Sha1);
    bool readable = readHead(request);
    if (readable) {
        reply_ = state_.takeReply(request);
        nextMark_ = 0;
        readable = readBody(request, hash);
    }
    keep(request, hash);
    return readable && act(request);
}

bool ScriptedConnection::readHead(RecordedRequest &request)
{
    int end = unread_.indexOf(kEndOfHead);
    while (end < 0 && unread_.size() < kMaxHeadBytes && fill())
        end = unread_.indexOf(kEndOfHead);
    if (end < 0) {
        request.rawHead = unread_;
        request.problem = QStringLiteral("the head has no end");
        return false;
    }
    const int size = end + int(sizeof kEndOfHead) - 1;
    request.parseHead(unread_.left(size));
    unread_.remove(0, size);
    return request.problem.isEmpty();
}

/// Reads up to where the reply acts. Returns false when the client went away before.
bool ScriptedConnection::readBody(RecordedRequest &request, QCryptographicHash &hash)
{
    qint64 wanted = request.contentLength;
    if (reply_.when == Reply::When::AfterHeaders)
        wanted = 0;
    else if (reply_.when == Reply::When::DuringBody)
        wanted = std::min(wanted, reply_.actAtBodyBytes);

    while (passMarks(request) && request.bodySize < wanted) {
        if (unread_.isEmpty() && !fill())
            return false;
        if (reply_.readDelayMs > 0)
            state_.pause(reply_.readDelayMs);
        const QByteArray piece = unread_.left(int(std::min<qint64>(wanted - request.bodySize, reply_.readChunk)));
        unread_.remove(0, piece.size());
        request.bodySize += piece.size();
        if (config_.bodyStore == BodyStore::Keep)
            request.body += piece;
        else if (config_.bodyStore == BodyStore::Hash)
            hash.addData(piece);
    }
    return !state_.isStopped();
}

/// Runs the hooks and holds that are due. Returns false when the server stops.
bool ScriptedConnection::passMarks(const RecordedRequest &request)
{
    for (; nextMark_ < reply_.marks.size() && reply_.marks[nextMark_].bodyBytes <= request.bodySize; ++nextMark_) {
        const Reply::Mark &mark = reply_.marks[nextMark_];
        if (mark.hook)
            mark.hook();
        else
            state_.hold();
    }
    return !state_.isStopped();
}

void ScriptedConnection::keep(RecordedRequest &request, QCryptographicHash &hash)
{
    request.bodyComplete = request.problem.isEmpty() && request.bodySize == request.contentLength;
    if (config_.bodyStore == BodyStore::Hash)
        request.bodyHash = hash.result().toHex();
    request.readMs = state_.elapsedMs();
    state_.record(request);
}

/// Does what the reply says. Returns whether the connection may carry another request.
bool ScriptedConnection::act(const RecordedRequest &request)
{
    for (const Reply::Hook &hook : reply_.requestHooks)
        hook();

    if (!send(reply_.head))
        return false;
    const int chunk = reply_.bodyChunk > 0 ? reply_.bodyChunk : reply_.body.size();
    for (int from = 0; from < reply_.body.size(); from += chunk) {
        if (reply_.bodyDelayMs > 0)
            state_.pause(reply_.bodyDelayMs);
        if (!send(reply_.body.mid(from, chunk)))
            return false;
    }

    if (reply_.then == Reply::Then::Reset)
        resetWhenClosed();
    else if (reply_.then == Reply::Then::Close)
        closeInOrder();
    return reply_.then == Reply::Then::KeepOpen && qstricmp(request.header("Connection").constData(), "close") != 0;
}

/// Adds what the client sent to unread_, waiting for it if need be. Returns false at the end of the connection.
bool ScriptedConnection::fill()
{
    if (state_.isStopped() || (socket_->bytesAvailable() == 0 && !socket_->waitForReadyRead(-1)))
        return false;
    unread_ += socket_->read(kReadBufferBytes);
    return true;
}

bool ScriptedConnection::send(const QByteArray &bytes)
{
    socket_->write(bytes);
    while (socket_->bytesToWrite() > 0) {
        if (state_.isStopped() || !socket_->waitForBytesWritten(-1))
            return false;
    }
    return true;
}

void ScriptedConnection::closeInOrder()
{
    socket_->disconnectFromHost();
    if (socket_->state() != QAbstractSocket::UnconnectedState)
        socket_->waitForDisconnected(-1);
}

void ScriptedConnection::resetWhenClosed()
{
    // Closing with a linger time of zero makes the kernel drop the connection with RST instead of FIN.
    const linger now{1, 0};
    ::setsockopt(handle_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}
