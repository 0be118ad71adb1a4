#pragma once

#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

namespace velmora::test {

// Runs velmora-adserver (path from $VELMORA_ADSERVER) as a child process for a test:
// serves one ad folder on a loopback address, logs every request to a private file the test can
// read back, and lets the test change the fault table while it runs.
class AdServerProcess {
public:
    struct Options {
        bool https = false;
        QString certFile; // PEM, needed with https
        QString keyFile;
        QString faultsFile; // initial fault table, optional
        QString address; // loopback address to listen on; empty: 127.0.0.1
    };

    AdServerProcess() = default;
    ~AdServerProcess() { stop(); }
    AdServerProcess(const AdServerProcess &) = delete;
    AdServerProcess &operator=(const AdServerProcess &) = delete;

    // Starts the server and waits for its "listening on" line. False with errorString().
    bool start(const QString &rootDir, const Options &options);
    bool start(const QString &rootDir) { return start(rootDir, Options()); }
    void stop();

    quint16 port() const { return m_port; }
    QUrl baseUrl() const { return m_baseUrl; } // no trailing slash
    QUrl url(const QString &path) const; // path begins with "/"
    QString logPath() const { return m_dir.filePath(QStringLiteral("requests.jsonl")); }
    QString errorString() const { return m_error; }

    // Requests received so far, oldest first; or only those with `method` (and `path`).
    QList<QJsonObject> logLines() const;
    QList<QJsonObject> requests(const QString &method, const QString &path = QString()) const;
    // Replace or clear the fault table through the server's control endpoint.
    bool setFaults(const QJsonObject &faults);
    bool resetFaults();

private:
    bool control(const QString &path, const QByteArray &body);

    QProcess m_process;
    QTemporaryDir m_dir;
    quint16 m_port = 0;
    QUrl m_baseUrl;
    QString m_error;
};

} // namespace velmora::test
