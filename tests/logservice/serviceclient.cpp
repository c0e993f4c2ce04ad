#include "serviceclient.h"

#include <QtCore/QRegularExpression>
#include <QtNetwork/QHostAddress>

namespace {

constexpr int kPatienceMs = 20000;

int contentLength(const QByteArray &head)
{
    static const QRegularExpression pattern(QStringLiteral("\r\nContent-Length: (\\d+)\r\n"));
    return pattern.match(QString::fromLatin1(head)).captured(1).toInt();
}

} // namespace

ServiceClient::ServiceClient(quint16 port)
{
    socket_.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    socket_.waitForConnected(kPatienceMs);
}

bool ServiceClient::send(const QByteArray &bytes)
{
    socket_.write(bytes);
    while (socket_.bytesToWrite() > 0) {
        if (!socket_.waitForBytesWritten(kPatienceMs))
            return false;
    }
    return true;
}

RawAnswer ServiceClient::readAnswer()
{
    RawAnswer answer;
    for (;;) {
        received_ += socket_.readAll();
        const int headEnd = received_.indexOf("\r\n\r\n");
        if (headEnd >= 0) {
            answer.head = received_.left(headEnd + 2);
            const int length = contentLength(answer.head);
            if (received_.size() >= headEnd + 4 + length) {
                answer.status = answer.head.mid(9, 3).toInt();
                answer.body = received_.mid(headEnd + 4, length);
                received_.remove(0, headEnd + 4 + length);
                return answer;
            }
        }
        if (!socket_.waitForReadyRead(kPatienceMs))
            return answer;
    }
}

QByteArray ServiceClient::readHeads(int count)
{
    int end = 0;
    for (int found = 0; found < count;) {
        const int headEnd = received_.indexOf("\r\n\r\n", end);
        if (headEnd >= 0) {
            end = headEnd + 4;
            ++found;
        } else if (socket_.waitForReadyRead(kPatienceMs)) {
            received_ += socket_.readAll();
        } else {
            break;
        }
    }
    return received_.left(end);
}

bool ServiceClient::waitForEnd()
{
    return socket_.state() == QAbstractSocket::UnconnectedState || socket_.waitForDisconnected(kPatienceMs);
}

RawAnswer ServiceClient::ask(quint16 port, const QByteArray &request)
{
    ServiceClient client(port);
    client.send(request);
    return client.readAnswer();
}
