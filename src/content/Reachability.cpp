#include "content/Reachability.h"

#include <velmora/Bundle.h>
#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>
#include <velmora/Support.h>

#include "BuildConfig.h"
#if VELMORA_PORTABLE
#include "content/NetworkInformationReachability.h"
#else
#include "content/NetlinkReachability.h"
#endif
#include "support/PostCall.h"

#include <QCoreApplication>
#include <QPointer>
#include <QUrl>

namespace velmora {

namespace {

std::unique_ptr<ReachabilityBackend> systemBackend()
{
#if VELMORA_PORTABLE
    return std::make_unique<NetworkInformationReachability>();
#else
    return std::make_unique<NetlinkReachability>();
#endif
}

} // namespace

quint32 Reachability::flagsForAddress(const QHostAddress &address)
{
    return systemBackend()->flagsForAddress(address);
}

Reachability::Reachability(const QString &host, const QHostAddress &address, quint16 port)
    : m_host(host)
    , m_address(address)
    , m_port(port)
    , m_backend(systemBackend())
{
}

Reachability::~Reachability()
{
    stopNotifier();
}

std::unique_ptr<Reachability> Reachability::reachabilityWithHostname(const QString &host)
{
    if (host.isEmpty())
        return nullptr;
    return std::unique_ptr<Reachability>(new Reachability(host, QHostAddress(), 0));
}

std::unique_ptr<Reachability> Reachability::reachabilityWithHostName(const QString &host)
{
    return reachabilityWithHostname(host);
}

std::unique_ptr<Reachability> Reachability::reachabilityWithAddress(const QHostAddress &address, quint16 port)
{
    if (address.isNull())
        return nullptr;
    return std::unique_ptr<Reachability>(new Reachability(QString(), address, port));
}

std::unique_ptr<Reachability> Reachability::reachabilityForInternetConnection()
{
    return reachabilityWithAddress(QHostAddress::AnyIPv4);
}

std::unique_ptr<Reachability> Reachability::reachabilityForLocalWiFi()
{
    return reachabilityWithAddress(QHostAddress(QStringLiteral("169.254.0.0")));
}

std::unique_ptr<Reachability> Reachability::reachabilityWithURL(const QUrl &url)
{
    const QString host = url.host();
    // An IPv6 literal is an address too, watched as one rather than as a name.
    if (isIpAddress(host) || QHostAddress(host).protocol() == QAbstractSocket::IPv6Protocol) {
        const quint16 fallback = url.scheme() == QLatin1String("https") ? 443 : 80;
        return reachabilityWithAddress(QHostAddress(host), quint16(url.port(fallback)));
    }
    return reachabilityWithHostname(host);
}

bool Reachability::isIpAddress(const QString &text)
{
    QHostAddress address;
    return address.setAddress(text) && address.protocol() == QAbstractSocket::IPv4Protocol;
}

QString Reachability::targetHost() const
{
    return m_host.isEmpty() ? m_address.toString() : m_host;
}

quint16 Reachability::targetPort() const
{
    return m_port;
}

quint32 Reachability::reachabilityFlags() const
{
    // A name is reachable when the internet is: resolving it would block on DNS.
    if (!m_host.isEmpty()) {
        if (m_host == QLatin1String("localhost"))
            return m_backend->flagsForAddress(QHostAddress::LocalHost);
        return m_backend->internetFlags();
    }
    if (m_address == QHostAddress::AnyIPv4 || m_address == QHostAddress::AnyIPv6)
        return m_backend->internetFlags();
    return m_backend->flagsForAddress(m_address);
}

bool Reachability::isReachableWithFlags(quint32 flags)
{
    if (!(flags & Reachable))
        return false;
    return !((flags & ConnectionRequired) && (flags & TransientConnection));
}

bool Reachability::isReachable() const
{
    return isReachableWithFlags(reachabilityFlags());
}

bool Reachability::isReachableViaWWAN() const
{
    return false;
}

bool Reachability::isReachableViaWiFi() const
{
    return reachabilityFlags() & Reachable;
}

bool Reachability::isConnectionRequired() const
{
    return reachabilityFlags() & ConnectionRequired;
}

bool Reachability::connectionRequired() const
{
    return isConnectionRequired();
}

bool Reachability::isConnectionOnDemand() const
{
    const quint32 flags = reachabilityFlags();
    return (flags & ConnectionRequired) && (flags & (ConnectionOnTraffic | ConnectionOnDemand));
}

bool Reachability::isInterventionRequired() const
{
    const quint32 flags = reachabilityFlags();
    return (flags & ConnectionRequired) && (flags & InterventionRequired);
}

Reachability::NetworkStatus Reachability::currentReachabilityStatus() const
{
    const quint32 flags = reachabilityFlags();
    if (!isReachableWithFlags(flags))
        return NetworkStatusNone;
    return (flags & Reachable) ? NetworkStatusWiFi : NetworkStatusNone;
}

QString Reachability::currentReachabilityString() const
{
    QString key;
    switch (currentReachabilityStatus()) {
    case NetworkStatusCellular:
        key = QStringLiteral("Cellular");
        break;
    case NetworkStatusWiFi:
        key = QStringLiteral("WiFi");
        break;
    default:
        key = QStringLiteral("No Connection");
    }
    return VLMMainAppBundle().localizedString(key, key);
}

QString Reachability::flagsText(quint32 flags)
{
    const auto bit = [flags](quint32 mask, char set) { return QLatin1Char((flags & mask) ? set : '-'); };
    return QStringLiteral("X") + bit(Reachable, 'R') + QLatin1Char(' ') + bit(ConnectionRequired, 'c')
        + bit(TransientConnection, 't') + bit(InterventionRequired, 'i') + bit(ConnectionOnTraffic, 'C')
        + bit(ConnectionOnDemand, 'D') + bit(IsLocalAddress, 'l') + bit(IsDirect, 'd');
}

QString Reachability::currentReachabilityFlags() const
{
    return flagsText(reachabilityFlags());
}

QString Reachability::description() const
{
    return QStringLiteral("<%1: %2 (%3)>")
        .arg(QString::fromLatin1(metaObject()->className()), QStringLiteral("0x%1").arg(quintptr(this), 0, 16),
             currentReachabilityFlags());
}

bool Reachability::startNotifier()
{
    if (m_watching)
        return true;
    m_watching = true;
    m_lastFlags.reset();
    m_backend->startWatching([this] { recheck(); });
    return true;
}

void Reachability::stopNotifier()
{
    if (!m_watching)
        return;
    m_backend->stopWatching();
    m_watching = false;
}

// On the backend's thread: reports the flags only when they differ from the last look.
void Reachability::recheck()
{
    const quint32 now = reachabilityFlags();
    const bool changed = m_lastFlags && *m_lastFlags != now;
    m_lastFlags = now;
    if (changed)
        reachabilityChanged(now);
}

void Reachability::reachabilityChanged(quint32 flags)
{
    if (isReachableWithFlags(flags)) {
        if (reachableBlock)
            reachableBlock(this);
    } else if (unreachableBlock) {
        unreachableBlock(this);
    }
    if (reachabilityBlock)
        reachabilityBlock(this, flags);
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return;
    const QPointer<Reachability> self(this);
    postCall(app, [self] {
        if (self)
            NotificationCenter::defaultCenter()->post(QString::fromLatin1(kReachabilityChangedNotification),
                                                      QVariant::fromValue<QObject *>(self.data()));
    });
}

} // namespace velmora
