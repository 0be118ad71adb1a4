#pragma once

#include <velmora/velmora_export.h>

#include <QList>
#include <QObject>
#include <QUrl>

class QNetworkAccessManager;

namespace velmora {

// Delivers tracking URLs with a plain GET. Undelivered URLs wait in a queue persisted in
// the settings store, and the whole queue is sent again after the next delivery.
class VELMORA_EXPORT AdsEventLogger : public QObject {
    Q_OBJECT

public:
    static AdsEventLogger *sharedInstance();

    void logEventWithURL(const QUrl &url);
    void addEventURL(const QUrl &url);
    void logAllStack();

    QList<QUrl> eventStack() const;
    void setEventStack(const QList<QUrl> &stack);

    // The stored form of a queue, and back; unreadable bytes give an empty queue.
    static QByteArray archive(const QList<QUrl> &stack);
    static QList<QUrl> unarchive(const QByteArray &bytes);

private:
    AdsEventLogger();
    void persist();
    void onMainThread(std::function<void()> work);

    QNetworkAccessManager *m_network;
    QList<QUrl> m_stack;
};

} // namespace velmora
