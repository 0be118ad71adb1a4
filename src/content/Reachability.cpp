#include "content/Reachability.h"

#include <velmora/Bundle.h>
#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>
#include <velmora/Support.h>

#include <QCoreApplication>
#include <QPointer>
#include <QThread>
#include <QUrl>

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace velmora {

namespace {

// 0.0.0.0 means "this host" to the Linux routing table, so the internet in general is
// asked for with a global documentation address of each family; a route lookup sends no
// packet. A host on an IPv6-only network is as online as one on IPv4.
const QHostAddress internetProbeIPv4(QStringLiteral("198.51.100.1"));
const QHostAddress internetProbeIPv6(QStringLiteral("2001:db8::1"));

quint32 internetFlags()
{
    const quint32 v4 = Reachability::flagsForAddress(internetProbeIPv4);
    if (Reachability::isReachableWithFlags(v4))
        return v4;
    const quint32 v6 = Reachability::flagsForAddress(internetProbeIPv6);
    return Reachability::isReachableWithFlags(v6) ? v6 : v4;
}

class NetlinkSocket {
public:
    explicit NetlinkSocket(quint32 groups = 0)
        : m_fd(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE))
    {
        if (m_fd < 0 || groups == 0)
            return;
        sockaddr_nl local {};
        local.nl_family = AF_NETLINK;
        local.nl_groups = groups;
        if (::bind(m_fd, reinterpret_cast<sockaddr *>(&local), sizeof local) != 0) {
            ::close(m_fd);
            m_fd = -1;
        }
    }
    ~NetlinkSocket()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    NetlinkSocket(const NetlinkSocket &) = delete;
    NetlinkSocket &operator=(const NetlinkSocket &) = delete;
    int fd() const { return m_fd; }

private:
    int m_fd;
};

bool waitReadable(int fd, int timeoutMs)
{
    pollfd p { fd, POLLIN, 0 };
    return ::poll(&p, 1, timeoutMs) > 0 && (p.revents & POLLIN);
}

quint32 flagsFromRoute(const nlmsghdr *header)
{
    const auto *route = static_cast<const rtmsg *>(NLMSG_DATA(header));
    if (route->rtm_type == RTN_UNREACHABLE || route->rtm_type == RTN_PROHIBIT || route->rtm_type == RTN_BLACKHOLE)
        return 0;
    quint32 flags = Reachability::Reachable;
    if (route->rtm_type == RTN_LOCAL)
        return flags | Reachability::IsLocalAddress | Reachability::IsDirect;
    bool viaGateway = false;
    int length = int(RTM_PAYLOAD(header));
    for (const rtattr *attribute = RTM_RTA(route); RTA_OK(attribute, length); attribute = RTA_NEXT(attribute, length)) {
        if (attribute->rta_type == RTA_GATEWAY)
            viaGateway = true;
    }
    return viaGateway ? flags : flags | Reachability::IsDirect;
}

} // namespace

quint32 Reachability::flagsForAddress(const QHostAddress &address)
{
    const bool v6 = address.protocol() == QAbstractSocket::IPv6Protocol;
    if (!v6 && address.protocol() != QAbstractSocket::IPv4Protocol)
        return 0;
    NetlinkSocket socket;
    if (socket.fd() < 0)
        return 0;

    struct {
        nlmsghdr header;
        rtmsg route;
        char attributes[64];
    } request {};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtmsg));
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.header.nlmsg_seq = 1;
    request.route.rtm_family = v6 ? AF_INET6 : AF_INET;
    request.route.rtm_dst_len = v6 ? 128 : 32;
    auto *destination
        = reinterpret_cast<rtattr *>(reinterpret_cast<char *>(&request) + NLMSG_ALIGN(request.header.nlmsg_len));
    const int addressLength = v6 ? 16 : 4;
    destination->rta_type = RTA_DST;
    destination->rta_len = RTA_LENGTH(addressLength);
    if (v6) {
        const Q_IPV6ADDR bytes = address.toIPv6Address();
        std::memcpy(RTA_DATA(destination), bytes.c, 16);
    } else {
        const quint32 value = htonl(address.toIPv4Address());
        std::memcpy(RTA_DATA(destination), &value, 4);
    }
    request.header.nlmsg_len = NLMSG_ALIGN(request.header.nlmsg_len) + RTA_LENGTH(addressLength);

    if (::send(socket.fd(), &request, request.header.nlmsg_len, 0) < 0 || !waitReadable(socket.fd(), 1000))
        return 0;
    alignas(nlmsghdr) char buffer[8192];
    const ssize_t received = ::recv(socket.fd(), buffer, sizeof buffer, 0);
    if (received <= 0)
        return 0;
    int remaining = int(received);
    for (auto *header = reinterpret_cast<nlmsghdr *>(buffer); NLMSG_OK(header, remaining);
         header = NLMSG_NEXT(header, remaining)) {
        if (header->nlmsg_type == RTM_NEWROUTE)
            return flagsFromRoute(header);
        if (header->nlmsg_type == NLMSG_ERROR || header->nlmsg_type == NLMSG_DONE)
            return 0;
    }
    return 0;
}

Reachability::Reachability(const QString &host, const QHostAddress &address, quint16 port)
    : m_host(host)
    , m_address(address)
    , m_port(port)
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
            return flagsForAddress(QHostAddress::LocalHost);
        return internetFlags();
    }
    if (m_address == QHostAddress::AnyIPv4 || m_address == QHostAddress::AnyIPv6)
        return internetFlags();
    return flagsForAddress(m_address);
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
    if (m_thread)
        return true;
    m_stop = false;
    m_thread = QThread::create([this] { watch(); });
    m_thread->setObjectName(QStringLiteral("velmora-reachability"));
    m_thread->start(QThread::LowPriority);
    return true;
}

void Reachability::stopNotifier()
{
    if (!m_thread)
        return;
    m_stop = true;
    m_thread->wait();
    delete m_thread;
    m_thread = nullptr;
}

void Reachability::watch()
{
    const NetlinkSocket socket(RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_IFADDR
                               | RTMGRP_IPV6_ROUTE);
    if (socket.fd() < 0) {
        LOG(QStringLiteral("reachability: no netlink socket; changes will not be reported"));
        return;
    }
    quint32 last = reachabilityFlags();
    alignas(nlmsghdr) char buffer[16384];
    while (!m_stop) {
        // A short timeout lets stopNotifier() end the thread promptly.
        if (!waitReadable(socket.fd(), 200))
            continue;
        // Drain the burst of messages one change usually produces, then look once.
        while (::recv(socket.fd(), buffer, sizeof buffer, MSG_DONTWAIT) > 0) { }
        const quint32 now = reachabilityFlags();
        if (now != last) {
            last = now;
            reachabilityChanged(now);
        }
    }
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
    QMetaObject::invokeMethod(
        app,
        [self] {
            if (self)
                NotificationCenter::defaultCenter()->post(QString::fromLatin1(kReachabilityChangedNotification),
                                                          QVariant::fromValue<QObject *>(self.data()));
        },
        Qt::QueuedConnection);
}

} // namespace velmora
