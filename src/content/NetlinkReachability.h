#pragma once

#include "content/ReachabilityBackend.h"

#include <atomic>

class QThread;

namespace velmora {

// Linux: a kernel route lookup (rtnetlink) gives the flags; a netlink socket subscribed to
// link, address and route changes wakes the watching thread.
class NetlinkReachability final : public ReachabilityBackend {
public:
    ~NetlinkReachability() override;

    quint32 flagsForAddress(const QHostAddress &address) const override;
    quint32 internetFlags() const override;
    void startWatching(Changed changed) override;
    void stopWatching() override;

private:
    void watch(const Changed &changed);

    QThread *m_thread = nullptr;
    std::atomic<bool> m_stop { false };
    int m_wake = -1; // eventfd that ends the watching thread's wait
};

} // namespace velmora
