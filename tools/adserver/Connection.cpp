#include "Connection.h"

#include <QTimer>

#include <sys/socket.h>

namespace velmora::adserver {

namespace {
constexpr qint64 kHighWater = 256 * 1024;
constexpr qint64 kChunk = 64 * 1024;
const QByteArray kRepeatUnit = "velmora ";
} // namespace

Connection::Connection(QTcpSocket *socket, AdServer *server)
    : QObject(socket)
    , m_socket(socket)
    , m_server(server)
{
    connect(socket, &QIODevice::readyRead, this, &Connection::onReadyRead);
    connect(socket, &QIODevice::bytesWritten, this, &Connection::pump);
    if (socket->bytesAvailable())
        onReadyRead();
}

void Connection::onReadyRead()
{
    if (m_closing) {
        m_socket->readAll();
        return;
    }
    m_parser.feed(m_socket->readAll());
    processNext();
}

void Connection::processNext()
{
    if (m_busy || m_closing)
        return;
    switch (m_parser.state()) {
    case HttpRequestParser::State::NeedMore:
        return;
    case HttpRequestParser::State::Error:
        send(AdServer::errorResponse(m_parser.errorStatus()), false);
        return;
    case HttpRequestParser::State::Ready:
        break;
    }
    const HttpRequest request = m_parser.take();
    const bool keepAlive = request.keepAlive();
    const Response response = m_server->handle(request);
    auto answer = [this, response, keepAlive] {
        if (response.reset)
            dropWithReset();
        else
            send(response, keepAlive);
    };
    if (response.delayMs > 0) {
        // Only this connection waits; the timer dies with it if the client goes away.
        m_busy = true;
        QTimer::singleShot(response.delayMs, this, answer);
    } else {
        answer();
    }
}

void Connection::send(const Response &response, bool keepAlive)
{
    m_busy = true;
    m_keepAlive = keepAlive;
    const qint64 length = response.bodyLength();
    QByteArray head
        = "HTTP/1.1 " + QByteArray::number(response.status) + ' ' + AdServer::reasonPhrase(response.status) + "\r\n";
    for (const auto &h : response.headers)
        head += h.first + ": " + h.second + "\r\n";
    // 204 and 304 carry no body and no length.
    if (response.status != 204 && response.status != 304)
        head += "Content-Length: " + QByteArray::number(length) + "\r\n";
    head += "Server: velmora-adserver\r\n";
    head += keepAlive ? "Connection: keep-alive\r\n" : "Connection: close\r\n";
    head += "\r\n";
    m_socket->write(head);

    m_body = response.repeatLength >= 0 ? QByteArray() : response.body;
    m_repeatLeft = response.repeatLength >= 0 ? response.repeatLength : 0;
    m_sendLeft = response.headOnly || response.status == 204 ? 0 : length;
    m_truncated = response.truncateAt >= 0 && response.truncateAt < m_sendLeft;
    if (m_truncated)
        m_sendLeft = response.truncateAt;
    m_repeatOffset = 0;
    m_streaming = true;
    pump();
}

void Connection::pump()
{
    if (!m_streaming)
        return;
    while (m_sendLeft > 0 && m_socket->bytesToWrite() < kHighWater) {
        const qint64 n = std::min(m_sendLeft, kChunk);
        QByteArray chunk;
        if (m_repeatLeft > 0) {
            chunk.reserve(n + kRepeatUnit.size());
            const qsizetype start = m_repeatOffset % kRepeatUnit.size();
            chunk = kRepeatUnit.mid(start);
            while (chunk.size() < n)
                chunk += kRepeatUnit;
            chunk.truncate(n);
            m_repeatOffset += n;
        } else {
            chunk = m_body.left(n);
            m_body.remove(0, n);
        }
        m_socket->write(chunk);
        m_sendLeft -= n;
    }
    if (m_sendLeft == 0)
        finishResponse();
}

void Connection::finishResponse()
{
    m_streaming = false;
    m_busy = false;
    if (m_truncated || !m_keepAlive) {
        // disconnectFromHost() sends what is buffered first, so a truncated body really
        // arrives as the first N bytes followed by a close.
        m_closing = true;
        m_socket->disconnectFromHost();
        return;
    }
    // Requests pipelined behind this one are already buffered; no new readyRead will come.
    QTimer::singleShot(0, this, &Connection::processNext);
}

void Connection::dropWithReset()
{
    m_closing = true;
    // SO_LINGER with a zero timeout makes close() send RST instead of FIN.
    const qintptr fd = m_socket->socketDescriptor();
    if (fd >= 0) {
        const linger option { 1, 0 };
        ::setsockopt(static_cast<int>(fd), SOL_SOCKET, SO_LINGER, &option, sizeof option);
    }
    m_socket->abort();
}

} // namespace velmora::adserver
