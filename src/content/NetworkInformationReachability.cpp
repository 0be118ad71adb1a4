#include "content/NetworkInformationReachability.h"

#include "content/Reachability.h"

#include <velmora/Support.h>

#include <QCoreApplication>
#include <QNetworkInterface>
#include <QThread>

#include <atomic>

namespace velmora {

namespace {

// Loaded once, on the application's thread: the instance lives there until the application
// ends, and its backend delivers changes through that thread's event loop. Asked on another
// thread before that, the state is unknown and no change is followed.
QNetworkInformation *networkInformation()
{
    static std::atomic<bool> tried { false };
    if (QNetworkInformation *loaded = QNetworkInformation::instance())
        return loaded;
    const QCoreApplication *app = QCoreApplication::instance();
    if (!app || app->thread() != QThread::currentThread() || tried.exchange(true))
        return nullptr;
    // The platform's own backend first; on Linux that is NetworkManager's, and without it
    // any that knows reachability (GLib's monitor).
    if (!QNetworkInformation::loadDefaultBackend()
        && !QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability))
        LOG(QStringLiteral("reachability: no network information here; the network counts as reachable"));
    return QNetworkInformation::instance();
}

QNetworkInformation::Reachability currentState()
{
    const QNetworkInformation *information = networkInformation();
    return information ? information->reachability() : QNetworkInformation::Reachability::Unknown;
}

} // namespace

quint32 NetworkInformationReachability::flagsForState(QNetworkInformation::Reachability state)
{
    switch (state) {
    case QNetworkInformation::Reachability::Disconnected:
        return 0;
    // Only the local network: its hosts answer directly (a development ad server may be
    // one of them).
    case QNetworkInformation::Reachability::Local:
        return Reachability::Reachable | Reachability::IsDirect;
    case QNetworkInformation::Reachability::Site:
    case QNetworkInformation::Reachability::Online:
        return Reachability::Reachable;
    case QNetworkInformation::Reachability::Unknown:
        break;
    }
    // Unknown: an update is tried, and a failed one is quiet.
    return Reachability::Reachable;
}

quint32 NetworkInformationReachability::flagsForAddress(const QHostAddress &address) const
{
    const auto protocol = address.protocol();
    if (protocol != QAbstractSocket::IPv4Protocol && protocol != QAbstractSocket::IPv6Protocol)
        return 0;
    if (address.isLoopback() || QNetworkInterface::allAddresses().contains(address))
        return Reachability::Reachable | Reachability::IsLocalAddress | Reachability::IsDirect;
    return flagsForState(currentState());
}

quint32 NetworkInformationReachability::internetFlags() const
{
    return flagsForState(currentState());
}

NetworkInformationReachability::~NetworkInformationReachability()
{
    stopWatching();
}

void NetworkInformationReachability::startWatching(Changed changed)
{
    if (m_thread)
        return;
    m_thread = new QThread;
    m_thread->setObjectName(QStringLiteral("velmora-reachability"));
    m_listener = new QObject;
    m_listener->moveToThread(m_thread);
    QObject::connect(m_thread, &QThread::started, m_listener, changed);
    if (QNetworkInformation *information = networkInformation())
        QObject::connect(information, &QNetworkInformation::reachabilityChanged, m_listener, [changed] { changed(); });
    m_thread->start(QThread::LowPriority);
}

void NetworkInformationReachability::stopWatching()
{
    if (!m_thread)
        return;
    m_thread->quit();
    m_thread->wait();
    // Its thread has ended, so nothing of the listener runs any more; deleting it drops
    // the connection and any change still queued for it.
    delete m_listener;
    delete m_thread;
    m_listener = nullptr;
    m_thread = nullptr;
}

} // namespace velmora
