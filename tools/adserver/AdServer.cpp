#include "AdServer.h"

#include "Connection.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSslSocket>

namespace velmora::adserver {

namespace {

const QByteArray kBannersPath = "/api/v1/banners";
const QByteArray kFaultsPath = "/__control/faults";
const QByteArray kResetPath = "/__control/reset";

QByteArray contentTypeFor(const QString &fileName)
{
    static const QHash<QString, QByteArray> types = {
        { QStringLiteral("gif"), "image/gif" },
        { QStringLiteral("mp4"), "video/mp4" },
        { QStringLiteral("webm"), "video/webm" },
        { QStringLiteral("jpg"), "image/jpeg" },
        { QStringLiteral("jpeg"), "image/jpeg" },
        { QStringLiteral("png"), "image/png" },
        { QStringLiteral("json"), "application/json" },
        { QStringLiteral("txt"), "text/plain; charset=utf-8" },
        { QStringLiteral("html"), "text/html; charset=utf-8" },
    };
    return types.value(QFileInfo(fileName).suffix().toLower(), "application/octet-stream");
}

void setHeader(Response &response, const QByteArray &name, const QByteArray &value)
{
    for (auto &h : response.headers) {
        if (h.first.compare(name, Qt::CaseInsensitive) == 0) {
            h.second = value;
            return;
        }
    }
    response.headers.append({ name, value });
}

} // namespace

Fault Fault::fromJson(const QJsonObject &object)
{
    Fault fault;
    fault.status = object.value(QLatin1String("status")).toInt(0);
    if (object.contains(QLatin1String("body"))) {
        fault.hasBody = true;
        fault.body = object.value(QLatin1String("body")).toString().toUtf8();
    }
    fault.repeatBody = object.value(QLatin1String("repeatBody")).toInteger(-1);
    fault.contentType = object.value(QLatin1String("contentType")).toString().toUtf8();
    fault.delayMs = object.value(QLatin1String("delayMs")).toInt(0);
    fault.truncateAt = object.value(QLatin1String("truncateAt")).toInteger(-1);
    fault.reset = object.value(QLatin1String("reset")).toBool(false);
    fault.redirect = object.value(QLatin1String("redirect")).toString().toUtf8();
    return fault;
}

AdServer::AdServer(const QString &root, QObject *parent)
    : QTcpServer(parent)
    , m_root(root)
    , m_canonicalRoot(QFileInfo(root).canonicalFilePath())
{
}

bool AdServer::setLogFile(const QString &path, QString *error)
{
    m_log.setFileName(path);
    if (!m_log.open(QIODevice::WriteOnly | QIODevice::Append)) {
        *error = m_log.errorString();
        return false;
    }
    return true;
}

bool AdServer::setFaults(const QByteArray &json, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (!document.isObject()) {
        *error = parseError.error != QJsonParseError::NoError ? parseError.errorString()
                                                              : QStringLiteral("not a JSON object");
        return false;
    }
    QHash<QByteArray, Fault> faults;
    const QJsonObject table = document.object();
    for (auto it = table.begin(); it != table.end(); ++it) {
        if (!it.value().isObject()) {
            *error = QStringLiteral("fault for %1 is not an object").arg(it.key());
            return false;
        }
        faults.insert(it.key().toUtf8(), Fault::fromJson(it.value().toObject()));
    }
    m_faults = std::move(faults);
    return true;
}

void AdServer::incomingConnection(qintptr descriptor)
{
    QTcpSocket *socket = nullptr;
    if (usesTls()) {
        auto *ssl = new QSslSocket(this);
        if (!ssl->setSocketDescriptor(descriptor)) {
            delete ssl;
            return;
        }
        ssl->setLocalCertificateChain(m_tls.chain);
        ssl->setPrivateKey(m_tls.key);
        ssl->setPeerVerifyMode(QSslSocket::VerifyNone);
        ssl->startServerEncryption();
        socket = ssl;
    } else {
        socket = new QTcpSocket(this);
        if (!socket->setSocketDescriptor(descriptor)) {
            delete socket;
            return;
        }
    }
    connect(socket, &QAbstractSocket::disconnected, socket, &QObject::deleteLater);
    connect(socket, &QAbstractSocket::errorOccurred, socket, [socket] {
        // A failed TLS handshake or a peer reset may leave the socket closed without a
        // disconnected() signal.
        if (socket->state() == QAbstractSocket::UnconnectedState)
            socket->deleteLater();
    });
    new Connection(socket, this);
}

void AdServer::log(const HttpRequest &request)
{
    if (!m_log.isOpen())
        return;
    QJsonObject headers;
    for (const auto &h : request.headers) {
        const QString name = QString::fromLatin1(h.first);
        const QString value = QString::fromLatin1(h.second);
        headers.insert(name,
                       headers.contains(name) ? headers.value(name).toString() + QLatin1String(", ") + value : value);
    }
    const QJsonObject line {
        { QStringLiteral("method"), QString::fromLatin1(request.method) },
        { QStringLiteral("path"), QString::fromLatin1(request.path) },
        { QStringLiteral("query"), QString::fromLatin1(request.query) },
        { QStringLiteral("headers"), headers },
        { QStringLiteral("body"), QString::fromUtf8(request.body) },
        { QStringLiteral("bodyBase64"), QString::fromLatin1(request.body.toBase64()) },
        { QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs) },
    };
    m_log.write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
    m_log.flush();
}

Response AdServer::handle(const HttpRequest &request)
{
    log(request);

    if (request.path == kFaultsPath || request.path == kResetPath) {
        if (request.method != "POST") {
            Response response = errorResponse(405);
            setHeader(response, "Allow", "POST");
            return response;
        }
        QString error;
        if (request.path == kResetPath)
            m_faults.clear();
        else if (!setFaults(request.body, &error)) {
            Response response = errorResponse(400);
            response.body = error.toUtf8() + '\n';
            setHeader(response, "Content-Type", "text/plain; charset=utf-8");
            return response;
        }
        Response response;
        response.status = 204;
        return response;
    }

    const auto fault = m_faults.constFind(request.path);
    Response response;
    if (fault != m_faults.cend() && !fault->redirect.isEmpty()) {
        response.status = 302;
        setHeader(response, "Location", fault->redirect);
        setHeader(response, "Content-Type", "text/plain; charset=utf-8");
        response.body = "Found: " + fault->redirect + '\n';
    } else if (request.method == "POST" && request.path == kBannersPath) {
        QFile manifest(m_root.filePath(QStringLiteral("manifest.json")));
        if (!manifest.open(QIODevice::ReadOnly)) {
            response = errorResponse(500);
        } else {
            response.body = manifest.readAll();
            setHeader(response, "Content-Type", "application/json");
        }
    } else if (request.method == "GET" || request.method == "HEAD") {
        response = serveFile(request);
    } else if (request.method == "POST") {
        response = errorResponse(404);
    } else {
        response = errorResponse(405);
        setHeader(response, "Allow", "GET, HEAD, POST");
    }
    response.headOnly = request.method == "HEAD";
    if (fault != m_faults.cend())
        applyFault(*fault, request.path, response);
    return response;
}

void AdServer::applyFault(const Fault &fault, const QByteArray &path, Response &response)
{
    const bool replacesBody = fault.hasBody || fault.repeatBody >= 0;
    if (fault.status) {
        response.status = fault.status;
        if (!replacesBody) {
            const Response page = errorResponse(fault.status);
            response.body = page.body;
            setHeader(response, "Content-Type", "text/html; charset=utf-8");
        }
    } else if (replacesBody && fault.redirect.isEmpty()) {
        // The fault stands in for the resource, present or not.
        if (response.status == 404)
            setHeader(response, "Content-Type", contentTypeFor(QString::fromUtf8(path)));
        response.status = 200;
    }
    if (fault.hasBody) {
        response.body = fault.body;
        response.repeatLength = -1;
    }
    if (fault.repeatBody >= 0) {
        response.body.clear();
        response.repeatLength = fault.repeatBody;
    }
    if (!fault.contentType.isEmpty())
        setHeader(response, "Content-Type", fault.contentType);
    response.delayMs = fault.delayMs;
    response.truncateAt = fault.truncateAt;
    response.reset = fault.reset;
}

Response AdServer::serveFile(const HttpRequest &request)
{
    const QString file = resolve(request.path);
    if (file.isEmpty())
        return errorResponse(404);
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return errorResponse(403);
    Response response;
    response.body = f.readAll();
    setHeader(response, "Content-Type", contentTypeFor(file));
    return response;
}

QString AdServer::resolve(const QByteArray &rawPath) const
{
    // Decode first, then judge: "%2e%2e" and "%2f" must not slip past the checks.
    const QByteArray decoded = QByteArray::fromPercentEncoding(rawPath);
    if (decoded.contains('\0') || decoded.contains('\\') || m_canonicalRoot.isEmpty())
        return {};
    const QList<QByteArray> segments = decoded.split('/');
    for (const QByteArray &segment : segments)
        if (segment == ".." || segment == ".")
            return {};
    const QFileInfo info(m_root.absolutePath() + QLatin1Char('/') + QString::fromUtf8(decoded));
    if (!info.isFile())
        return {};
    // Symlinks are followed, but only to targets that stay inside the root.
    const QString canonical = info.canonicalFilePath();
    if (!canonical.startsWith(m_canonicalRoot + QLatin1Char('/')))
        return {};
    return canonical;
}

QByteArray AdServer::reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 204:
        return "No Content";
    case 301:
        return "Moved Permanently";
    case 302:
        return "Found";
    case 400:
        return "Bad Request";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 413:
        return "Content Too Large";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 501:
        return "Not Implemented";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    case 505:
        return "HTTP Version Not Supported";
    default:
        return "Status";
    }
}

Response AdServer::errorResponse(int status)
{
    Response response;
    response.status = status;
    const QByteArray title = QByteArray::number(status) + ' ' + reasonPhrase(status);
    response.body = "<!DOCTYPE html>\n<html><head><title>" + title + "</title></head><body><h1>" + title
        + "</h1></body></html>\n";
    setHeader(response, "Content-Type", "text/html; charset=utf-8");
    return response;
}

} // namespace velmora::adserver
