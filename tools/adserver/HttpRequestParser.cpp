#include "HttpRequestParser.h"

namespace velmora::adserver {

namespace {

bool isTokenChar(char c)
{
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    return QByteArrayView("!#$%&'*+-.^_`|~").contains(c);
}

bool isToken(const QByteArray &s)
{
    if (s.isEmpty())
        return false;
    for (char c : s)
        if (!isTokenChar(c))
            return false;
    return true;
}

bool hasControlChars(const QByteArray &s)
{
    for (char c : s)
        if ((static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f)
            return true;
    return false;
}

} // namespace

QByteArray HttpRequest::header(const QByteArray &lowerName) const
{
    for (const auto &h : headers)
        if (h.first == lowerName)
            return h.second;
    return {};
}

bool HttpRequest::keepAlive() const
{
    const QByteArray connection = header("connection").toLower();
    const auto tokens = connection.split(',');
    for (const QByteArray &t : tokens) {
        if (t.trimmed() == "close")
            return false;
        if (t.trimmed() == "keep-alive")
            return true;
    }
    return versionMinor >= 1;
}

void HttpRequestParser::feed(const QByteArray &bytes)
{
    m_buffer.append(bytes);
}

HttpRequestParser::State HttpRequestParser::fail(int status)
{
    m_errorStatus = status;
    return State::Error;
}

HttpRequestParser::State HttpRequestParser::state()
{
    if (m_errorStatus)
        return State::Error;
    if (!m_haveHead) {
        // Tolerate blank lines between pipelined requests (RFC 9112 §2.2).
        while (m_buffer.startsWith("\r\n"))
            m_buffer.remove(0, 2);
        while (m_buffer.startsWith('\n'))
            m_buffer.remove(0, 1);
        qsizetype end = m_buffer.indexOf("\r\n\r\n");
        qsizetype skip = 4;
        const qsizetype lfEnd = m_buffer.indexOf("\n\n");
        if (lfEnd >= 0 && (end < 0 || lfEnd < end)) {
            end = lfEnd;
            skip = 2;
        }
        if (end < 0)
            return m_buffer.size() > kMaxHeaderBytes ? fail(431) : State::NeedMore;
        if (end > kMaxHeaderBytes)
            return fail(431);
        const QByteArray head = m_buffer.left(end);
        m_buffer.remove(0, end + skip);
        m_current = HttpRequest();
        if (!parseHead(head))
            return State::Error;
        m_haveHead = true;
    }
    if (m_buffer.size() < m_bodyLength)
        return State::NeedMore;
    return State::Ready;
}

bool HttpRequestParser::parseHead(const QByteArray &head)
{
    QList<QByteArray> lines = head.split('\n');
    for (QByteArray &line : lines)
        if (line.endsWith('\r'))
            line.chop(1);

    const QList<QByteArray> parts = lines.first().split(' ');
    if (parts.size() != 3 || !isToken(parts[0]) || parts[1].isEmpty() || hasControlChars(parts[1]))
        return reject(400);
    const QByteArray &version = parts[2];
    if (version == "HTTP/1.1")
        m_current.versionMinor = 1;
    else if (version == "HTTP/1.0")
        m_current.versionMinor = 0;
    else
        return reject(version.startsWith("HTTP/") ? 505 : 400);
    // Origin form only: the server is never a proxy.
    if (!parts[1].startsWith('/'))
        return reject(400);
    m_current.method = parts[0];
    m_current.target = parts[1];
    const qsizetype q = m_current.target.indexOf('?');
    m_current.path = q < 0 ? m_current.target : m_current.target.left(q);
    m_current.query = q < 0 ? QByteArray() : m_current.target.mid(q + 1);

    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray &line = lines[i];
        const qsizetype colon = line.indexOf(':');
        // No obsolete line folding, no whitespace before the colon.
        if (colon <= 0 || line.startsWith(' ') || line.startsWith('\t'))
            return reject(400);
        const QByteArray name = line.left(colon);
        const QByteArray value = line.mid(colon + 1).trimmed();
        if (!isToken(name) || hasControlChars(value))
            return reject(400);
        m_current.headers.append({ name.toLower(), value });
    }

    if (!m_current.header("transfer-encoding").isEmpty())
        return reject(501); // nothing we talk to sends chunked requests
    m_bodyLength = 0;
    bool seen = false;
    for (const auto &h : std::as_const(m_current.headers)) {
        if (h.first != "content-length")
            continue;
        const QByteArray &v = h.second;
        if (v.isEmpty())
            return reject(400);
        for (char c : v)
            if (c < '0' || c > '9')
                return reject(400);
        bool ok = false;
        const qint64 length = v.toLongLong(&ok);
        if (!ok || (seen && length != m_bodyLength))
            return reject(400);
        if (length > kMaxBodyBytes)
            return reject(413);
        m_bodyLength = length;
        seen = true;
    }
    return true;
}

HttpRequest HttpRequestParser::take()
{
    HttpRequest request = std::move(m_current);
    request.body = m_buffer.left(m_bodyLength);
    m_buffer.remove(0, m_bodyLength);
    m_current = HttpRequest();
    m_haveHead = false;
    m_bodyLength = 0;
    return request;
}

} // namespace velmora::adserver
