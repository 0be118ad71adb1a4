#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

namespace velmora::adserver {

struct HttpRequest {
    QByteArray method;
    QByteArray target; // as received, e.g. "/media/a.gif?x=1"
    QByteArray path; // target before '?'
    QByteArray query; // target after '?', without it
    int versionMinor = 1; // HTTP/1.x
    QList<QPair<QByteArray, QByteArray>> headers; // names lower-cased, in arrival order
    QByteArray body;

    QByteArray header(const QByteArray &lowerName) const;
    bool keepAlive() const;
};

// Incremental HTTP/1.x request parser: feed() the bytes as they arrive, take() each
// complete request. Strict enough that malformed input is reported instead of guessed at.
class HttpRequestParser {
public:
    enum class State { NeedMore, Ready, Error };

    static constexpr qsizetype kMaxHeaderBytes = 64 * 1024;
    static constexpr qint64 kMaxBodyBytes = 64 * 1024 * 1024;

    void feed(const QByteArray &bytes);
    State state();
    // Valid in State::Ready; removes the request from the buffer.
    HttpRequest take();
    int errorStatus() const { return m_errorStatus; }
    bool hasBufferedBytes() const { return !m_buffer.isEmpty(); }

private:
    State fail(int status);
    bool reject(int status)
    {
        m_errorStatus = status;
        return false;
    }
    bool parseHead(const QByteArray &head);

    QByteArray m_buffer;
    HttpRequest m_current;
    bool m_haveHead = false;
    qint64 m_bodyLength = 0;
    int m_errorStatus = 0;
};

} // namespace velmora::adserver
