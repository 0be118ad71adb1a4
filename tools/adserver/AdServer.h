#pragma once

#include "HttpRequestParser.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonObject>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpServer>

namespace velmora::adserver {

// How the server misbehaves for one path; see README.md.
struct Fault {
    int status = 0;
    bool hasBody = false;
    QByteArray body;
    qint64 repeatBody = -1;
    QByteArray contentType;
    int delayMs = 0;
    qint64 truncateAt = -1;
    bool reset = false;
    QByteArray redirect;

    static Fault fromJson(const QJsonObject &object);
};

// What a connection sends for one request. The body is either literal bytes or
// generated (repeatLength bytes), so huge replies never sit in memory.
struct Response {
    int status = 200;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
    qint64 repeatLength = -1;
    qint64 truncateAt = -1; // close after this many body bytes, Content-Length unchanged
    bool reset = false; // drop the connection without answering
    int delayMs = 0;
    bool headOnly = false;

    qint64 bodyLength() const { return repeatLength >= 0 ? repeatLength : body.size(); }
};

class AdServer : public QTcpServer {
    Q_OBJECT
public:
    struct TlsSettings {
        QList<QSslCertificate> chain;
        QSslKey key;
    };

    explicit AdServer(const QString &root, QObject *parent = nullptr);

    bool setLogFile(const QString &path, QString *error);
    // Replaces the whole table; false when the JSON is not an object of objects.
    bool setFaults(const QByteArray &json, QString *error);
    void enableTls(const TlsSettings &settings) { m_tls = settings; }
    bool usesTls() const { return !m_tls.chain.isEmpty(); }

    // Logs the request and decides the answer.
    Response handle(const HttpRequest &request);

    static Response errorResponse(int status);
    static QByteArray reasonPhrase(int status);

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    void log(const HttpRequest &request);
    Response serveFile(const HttpRequest &request);
    QString resolve(const QByteArray &rawPath) const;
    static void applyFault(const Fault &fault, const QByteArray &path, Response &response);

    QDir m_root;
    QString m_canonicalRoot;
    QFile m_log;
    QHash<QByteArray, Fault> m_faults;
    TlsSettings m_tls;
};

} // namespace velmora::adserver
