#include "support/server/rawclient.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kPatienceMs = 10000;

bool waitUntil(int descriptor, short event, int timeoutMs)
{
    pollfd wanted = {descriptor, event, 0};
    return ::poll(&wanted, 1, timeoutMs) > 0;
}

} // namespace

RawClient::RawClient(quint16 port) : descriptor_(::socket(AF_INET, SOCK_STREAM, 0))
{
    std::signal(SIGPIPE, SIG_IGN);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = ::connect(descriptor_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
}

RawClient::~RawClient()
{
    ::close(descriptor_);
}

bool RawClient::send(const QByteArray &bytes)
{
    return sendUntilStuck(bytes, kPatienceMs) == bytes.size();
}

int RawClient::sendUntilStuck(const QByteArray &bytes, int quietMs)
{
    int sent = 0;
    while (sent < bytes.size() && waitUntil(descriptor_, POLLOUT, quietMs)) {
        const auto taken = ::send(descriptor_, bytes.constData() + sent, size_t(bytes.size() - sent), MSG_DONTWAIT);
        if (taken < 0 && errno != EAGAIN)
            break;
        sent += int(std::max<decltype(taken)>(taken, 0));
    }
    return sent;
}

QByteArray RawClient::receive(int count)
{
    while (unread_.size() < count) {
        const QByteArray piece = receiveSome(kPatienceMs);
        if (piece.isEmpty())
            break;
        unread_ += piece;
    }
    const QByteArray bytes = unread_.left(count);
    unread_.remove(0, bytes.size());
    return bytes;
}

QByteArray RawClient::receiveAnswer()
{
    QByteArray head;
    while (!head.endsWith("\r\n\r\n")) {
        const QByteArray byte = receive(1);
        if (byte.isEmpty())
            return head;
        head += byte;
    }
    const QByteArray name = "Content-Length: ";
    const int from = head.indexOf(name) + name.size();
    return head + receive(head.mid(from, head.indexOf('\r', from) - from).toInt());
}

RawClient::End RawClient::receiveEnd(int quietMs)
{
    while (!receiveSome(quietMs).isEmpty()) {
    }
    return end_;
}

QByteArray RawClient::receiveSome(int quietMs)
{
    char buffer[16 * 1024];
    if (!waitUntil(descriptor_, POLLIN, quietMs))
        return QByteArray();
    const auto count = ::recv(descriptor_, buffer, sizeof buffer, 0);
    if (count <= 0)
        end_ = count == 0 ? End::Closed : End::Reset;
    return QByteArray(buffer, int(std::max<decltype(count)>(count, 0)));
}

QByteArray rawPost(const QByteArray &body, const QByteArray &path)
{
    return "POST " + path + " HTTP/1.1\r\nHost: x\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" +
           body;
}

QByteArray bodyOf(const QByteArray &answer)
{
    return answer.mid(answer.indexOf("\r\n\r\n") + 4);
}
