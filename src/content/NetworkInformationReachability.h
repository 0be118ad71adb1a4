#pragma once

#include "content/ReachabilityBackend.h"

#include <QNetworkInformation>

class QObject;
class QThread;

namespace velmora {

// Wherever Qt runs: QNetworkInformation's view of the network, which knows no routes. The
// machine's own addresses are local and direct; any other target follows the network's
// state. Its changes arrive on the application's thread and are handed to one of ours.
class NetworkInformationReachability final : public ReachabilityBackend {
public:
    ~NetworkInformationReachability() override;

    // The flags of a target beyond this machine while the network is in `state`.
    static quint32 flagsForState(QNetworkInformation::Reachability state);

    quint32 flagsForAddress(const QHostAddress &address) const override;
    quint32 internetFlags() const override;
    void startWatching(Changed changed) override;
    void stopWatching() override;

private:
    QThread *m_thread = nullptr;
    QObject *m_listener = nullptr; // lives on m_thread
};

} // namespace velmora
