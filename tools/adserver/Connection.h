#pragma once

#include "AdServer.h"
#include "HttpRequestParser.h"

#include <QObject>
#include <QPointer>
#include <QTcpSocket>

namespace velmora::adserver {

// One client connection: parses requests in order, answers them one at a time (a delayed
// answer holds back the pipelined requests behind it, as HTTP/1.1 requires) and streams
// bodies so that a slow reader does not make the server buffer a huge reply.
class Connection : public QObject {
    Q_OBJECT
public:
    Connection(QTcpSocket *socket, AdServer *server);

private:
    void onReadyRead();
    void processNext();
    void send(const Response &response, bool keepAlive);
    void pump();
    void finishResponse();
    void dropWithReset();

    QTcpSocket *m_socket;
    AdServer *m_server;
    HttpRequestParser m_parser;
    bool m_busy = false; // a response is being delayed or streamed
    bool m_closing = false;
    bool m_keepAlive = true;

    // Streaming state of the current body.
    QByteArray m_body;
    qint64 m_repeatLeft = 0; // non-zero: the body is generated
    qint64 m_sendLeft = 0; // bytes still to send, after truncation
    bool m_truncated = false;
    bool m_streaming = false;
    qint64 m_repeatOffset = 0;
};

} // namespace velmora::adserver
