#include "content/NetlinkReachability.h"

#include "content/Reachability.h"

#include <velmora/Support.h>

#include <QThread>

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <optional>

namespace velmora {

namespace {

// 0.0.0.0 means "this host" to the Linux routing table, so the internet in general is
// asked for with a global documentation address of each family; a route lookup sends no
// packet. A host on an IPv6-only network is as online as one on IPv4.
const QHostAddress internetProbeIPv4(QStringLiteral("198.51.100.1"));
const QHostAddress internetProbeIPv6(QStringLiteral("2001:db8::1"));

// A lookup is a netlink round trip (a socket, a request, a reply), and the internet's flags
// are asked on every banner swap. While a watcher listens, the last answer stands until it
// hears the next change; without one nothing would say when it went stale.
std::atomic<int> watchersListening { 0 };
std::atomic<quint64> changesHeard { 0 };
struct KnownInternetFlags {
    quint64 changes = 0;
    quint32 flags = 0;
};
std::mutex knownMutex;
std::optional<KnownInternetFlags> knownInternetFlags;

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

quint32 NetlinkReachability::flagsForAddress(const QHostAddress &address) const
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

quint32 NetlinkReachability::internetFlags() const
{
    // Taken before the lookup: a change heard during it makes its answer stale at once.
    const bool listening = watchersListening.load() > 0;
    const quint64 changes = changesHeard.load();
    if (listening) {
        const std::lock_guard lock(knownMutex);
        if (knownInternetFlags && knownInternetFlags->changes == changes)
            return knownInternetFlags->flags;
    }
    quint32 flags = flagsForAddress(internetProbeIPv4);
    if (!Reachability::isReachableWithFlags(flags)) {
        const quint32 v6 = flagsForAddress(internetProbeIPv6);
        if (Reachability::isReachableWithFlags(v6))
            flags = v6;
    }
    if (listening && watchersListening.load() > 0) {
        const std::lock_guard lock(knownMutex);
        knownInternetFlags = KnownInternetFlags { changes, flags };
    }
    return flags;
}

NetlinkReachability::~NetlinkReachability()
{
    stopWatching();
}

void NetlinkReachability::startWatching(Changed changed)
{
    if (m_thread)
        return;
    m_stop = false;
    m_wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    m_thread = QThread::create([this, changed = std::move(changed)] { watch(changed); });
    m_thread->setObjectName(QStringLiteral("velmora-reachability"));
    m_thread->start(QThread::LowPriority);
}

void NetlinkReachability::stopWatching()
{
    if (!m_thread)
        return;
    m_stop = true;
    if (m_wake >= 0) {
        const quint64 one = 1;
        [[maybe_unused]] const ssize_t written = ::write(m_wake, &one, sizeof one);
    }
    m_thread->wait();
    delete m_thread;
    m_thread = nullptr;
    if (m_wake >= 0)
        ::close(m_wake);
    m_wake = -1;
}

void NetlinkReachability::watch(const Changed &changed)
{
    const NetlinkSocket socket(RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_IFADDR
                               | RTMGRP_IPV6_ROUTE);
    if (socket.fd() < 0) {
        LOG(QStringLiteral("reachability: no netlink socket; changes will not be reported"));
        return;
    }
    // Every answer kept from before this watcher listened may be stale.
    ++changesHeard;
    ++watchersListening;
    changed();
    alignas(nlmsghdr) char buffer[16384];
    // The thread sleeps until the kernel reports a change or stopWatching() wakes it: a
    // timeout would wake an idle host several times a second for nothing.
    pollfd waits[2] = { { socket.fd(), POLLIN, 0 }, { m_wake, POLLIN, 0 } };
    const nfds_t count = m_wake >= 0 ? 2 : 1;
    while (!m_stop) {
        const int ready = ::poll(waits, count, m_wake >= 0 ? -1 : 200);
        if (ready <= 0 || !(waits[0].revents & POLLIN))
            continue;
        // Drain the burst of messages one change usually produces, then look once.
        while (::recv(socket.fd(), buffer, sizeof buffer, MSG_DONTWAIT) > 0) { }
        ++changesHeard;
        changed();
    }
    --watchersListening;
}

} // namespace velmora
