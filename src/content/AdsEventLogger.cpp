#include "content/AdsEventLogger.h"

#include "content/ReplyOutcome.h"
#include "support/MainThread.h"
#include "support/PostCall.h"

#include <velmora/Support.h>

#include <QCborArray>
#include <QCborValue>
#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QThread>

namespace velmora {

namespace {
const QString stackKey = QStringLiteral("eventStackData");
constexpr int transferTimeoutMs = 60000;
} // namespace

AdsEventLogger *AdsEventLogger::sharedInstance()
{
    static AdsEventLogger *logger = new AdsEventLogger;
    return logger;
}

AdsEventLogger::AdsEventLogger()
    : m_network(new QNetworkAccessManager(this))
    , m_stack(unarchive(VLMObjForKey(stackKey).toByteArray()))
{
    MainThread::adopt(this);
}

void AdsEventLogger::onMainThread(std::function<void()> work)
{
    postCall(this, std::move(work));
}

void AdsEventLogger::logEventWithURL(const QUrl &url)
{
    if (QThread::currentThread() != thread()) {
        onMainThread([this, url] { logEventWithURL(url); });
        return;
    }
    QNetworkRequest request(url);
    request.setTransferTimeout(transferTimeoutMs);
    QNetworkReply *reply = m_network->get(request);
    connect(reply, &QNetworkReply::finished, this, [this, reply, url] {
        reply->deleteLater();
        // Delivered when the server answered in full, whatever its status code; a transfer
        // cut after the status line (reset, short body) puts the URL back.
        if (!ReplyOutcome::answeredInFull(reply))
            addEventURL(url);
        else
            logAllStack();
    });
}

void AdsEventLogger::addEventURL(const QUrl &url)
{
    onMainThread([this, url] {
        if (!url.isEmpty())
            m_stack.append(url);
        persist();
    });
}

void AdsEventLogger::logAllStack()
{
    onMainThread([this] {
        const qsizetype count = m_stack.size();
        for (qsizetype i = 0; i < count && !m_stack.isEmpty(); ++i) {
            logEventWithURL(m_stack.constFirst());
            m_stack.removeFirst();
            persist();
        }
    });
}

QList<QUrl> AdsEventLogger::eventStack() const
{
    return m_stack;
}

void AdsEventLogger::setEventStack(const QList<QUrl> &stack)
{
    m_stack = stack;
}

void AdsEventLogger::persist()
{
    VLMSetObjForKey(archive(m_stack), stackKey);
}

QByteArray AdsEventLogger::archive(const QList<QUrl> &stack)
{
    QCborArray array;
    for (const QUrl &url : stack)
        array.append(url.toString(QUrl::FullyEncoded));
    return QCborValue(array).toCbor();
}

QList<QUrl> AdsEventLogger::unarchive(const QByteArray &bytes)
{
    QCborParserError error;
    const QCborValue value = QCborValue::fromCbor(bytes, &error);
    QList<QUrl> stack;
    if (error.error != QCborError::NoError || !value.isArray())
        return stack;
    const QCborArray array = value.toArray();
    for (const QCborValue &entry : array) {
        const QUrl url(entry.toString(), QUrl::StrictMode);
        if (url.isValid() && !url.isEmpty())
            stack.append(url);
    }
    return stack;
}

} // namespace velmora
