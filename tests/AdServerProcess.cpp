#include "AdServerProcess.h"

#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

namespace velmora::test {

bool AdServerProcess::start(const QString &rootDir, const Options &options)
{
    stop();
    const QString program = qEnvironmentVariable("VELMORA_ADSERVER");
    if (program.isEmpty()) {
        m_error = QStringLiteral("VELMORA_ADSERVER is not set");
        return false;
    }
    // Any free port: the listening line names it.
    QStringList arguments { QStringLiteral("--root"), rootDir,  QStringLiteral("--port"), QStringLiteral("0"),
                            QStringLiteral("--log"),  logPath() };
    if (options.https)
        arguments << QStringLiteral("--https") << QStringLiteral("--cert") << options.certFile
                  << QStringLiteral("--key") << options.keyFile;
    if (!options.faultsFile.isEmpty())
        arguments << QStringLiteral("--faults") << options.faultsFile;
    if (!options.address.isEmpty())
        arguments << QStringLiteral("--address") << options.address;
    QFile::remove(logPath());

    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.start(program, arguments);
    if (!m_process.waitForStarted(10000)) {
        m_error = m_process.errorString();
        return false;
    }
    QUrl expected;
    expected.setScheme(QLatin1String(options.https ? "https" : "http"));
    expected.setHost(options.address.isEmpty() ? QStringLiteral("127.0.0.1") : options.address);
    const QByteArray prefix = "listening on " + expected.toEncoded() + ':';
    while (!m_process.canReadLine() && m_process.waitForReadyRead(10000)) { }
    const QByteArray line = m_process.readLine().trimmed();
    bool ok = false;
    m_port = line.startsWith(prefix) ? line.mid(prefix.size()).toUShort(&ok) : 0;
    if (!ok) {
        m_error = QStringLiteral("no listening line (first line: \"%1\"): %2")
                      .arg(QString::fromLocal8Bit(line), QString::fromLocal8Bit(m_process.readAllStandardError()));
        stop();
        return false;
    }
    m_baseUrl = QUrl(QString::fromLatin1(line.mid(qsizetype(sizeof "listening on ") - 1)));
    return true;
}

void AdServerProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

QUrl AdServerProcess::url(const QString &path) const
{
    QUrl url = m_baseUrl;
    url.setPath(path);
    return url;
}

QList<QJsonObject> AdServerProcess::logLines() const
{
    QList<QJsonObject> lines;
    QFile file(logPath());
    if (!file.open(QIODevice::ReadOnly))
        return lines;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (!line.isEmpty())
            lines.append(QJsonDocument::fromJson(line).object());
    }
    return lines;
}

QList<QJsonObject> AdServerProcess::requests(const QString &method, const QString &path) const
{
    QList<QJsonObject> found;
    for (const QJsonObject &line : logLines()) {
        if (line.value(QStringLiteral("method")).toString() == method
            && (path.isEmpty() || line.value(QStringLiteral("path")).toString() == path))
            found << line;
    }
    return found;
}

bool AdServerProcess::setFaults(const QJsonObject &faults)
{
    return control(QStringLiteral("/__control/faults"), QJsonDocument(faults).toJson(QJsonDocument::Compact));
}

bool AdServerProcess::resetFaults()
{
    return control(QStringLiteral("/__control/reset"), {});
}

bool AdServerProcess::control(const QString &path, const QByteArray &body)
{
    QNetworkAccessManager manager;
    QNetworkRequest request(url(path));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    QNetworkReply *reply = manager.post(request, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    loop.exec();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status != 204)
        m_error = QStringLiteral("control %1 answered %2: %3").arg(path).arg(status).arg(reply->errorString());
    delete reply;
    return status == 204;
}

} // namespace velmora::test
