#include "support/server/rawclient.h"

#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kPatienceMs = 60000;

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
    close();
}

void RawClient::close()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
    descriptor_ = -1;
}

RawAnswer RawClient::ask(quint16 port, const QByteArray &request)
{
    RawClient client(port);
    client.send(request);
    return client.receiveAnswer();
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
    while (unread_.size() < count && receiveMore(kPatienceMs)) {
    }
    const QByteArray bytes = unread_.left(count);
    unread_.remove(0, bytes.size());
    return bytes;
}

RawAnswer RawClient::receiveAnswer()
{
    static const QRegularExpression pattern(QStringLiteral("\r\nContent-Length: (\\d+)\r\n"));
    RawAnswer answer;
    answer.head = receiveHead();
    const int length = pattern.match(QString::fromLatin1(answer.head)).captured(1).toInt();
    answer.body = receive(length);
    if (answer.body.size() == length)
        answer.status = answer.head.mid(9, 3).toInt();
    return answer;
}

QByteArray RawClient::receiveHead()
{
    int end = -1;
    while ((end = unread_.indexOf("\r\n\r\n")) < 0) {
        if (!receiveMore(kPatienceMs))
            return QByteArray();
    }
    return receive(end + 4);
}

RawClient::End RawClient::receiveEnd(int quietMs)
{
    while (receiveMore(quietMs))
        unread_.clear();
    return end_;
}

bool RawClient::receiveMore(int quietMs)
{
    char buffer[16 * 1024];
    if (end_ != End::Open || !waitUntil(descriptor_, POLLIN, quietMs))
        return false;
    const auto count = ::recv(descriptor_, buffer, sizeof buffer, 0);
    if (count <= 0) {
        end_ = count == 0 ? End::Closed : End::Reset;
        return false;
    }
    unread_.append(buffer, int(count));
    return true;
}

QByteArray post(const QByteArray &path, const QByteArray &contentType, const QByteArray &body,
                const QByteArray &moreHeaders)
{
    const QByteArray type = contentType.isEmpty() ? QByteArray() : "Content-Type: " + contentType + "\r\n";
    return "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + type +
           "Content-Length: " + QByteArray::number(body.size()) + "\r\n" + moreHeaders + "\r\n" + body;
}

QByteArray rawPost(const QByteArray &body, const QByteArray &path)
{
    return post(path, QByteArray(), body);
}
