#pragma once

#include <QHostAddress>

#include <functional>

namespace velmora {

// What Reachability asks of the system: the flags of a target now, and word of anything
// that may have changed them. Linux answers with rtnetlink (NetlinkReachability); other
// systems, and builds with VELMORA_PORTABLE, with QNetworkInformation
// (NetworkInformationReachability).
class ReachabilityBackend {
public:
    using Changed = std::function<void()>;

    virtual ~ReachabilityBackend() = default;

    // The flags for `address` (0 when it cannot be reached).
    virtual quint32 flagsForAddress(const QHostAddress &address) const = 0;
    // The flags for the internet in general.
    virtual quint32 internetFlags() const = 0;

    // Calls `changed` on a thread of the backend's own, never the main thread: once when it
    // starts and then after anything that may have changed the flags. stopWatching() returns
    // after the last call.
    virtual void startWatching(Changed changed) = 0;
    virtual void stopWatching() = 0;
};

} // namespace velmora
