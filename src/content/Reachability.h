#pragma once

#include <velmora/velmora_export.h>

#include <QHostAddress>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace velmora {

class ReachabilityBackend;

// Watches whether one network target can be reached. The flags come from a kernel route
// lookup (rtnetlink) on Linux, from QNetworkInformation elsewhere and in VELMORA_PORTABLE
// builds (ReachabilityBackend); a notifier thread follows the system's changes and reports
// only real changes of the flags.
class VELMORA_EXPORT Reachability : public QObject {
    Q_OBJECT

public:
    enum Flag : quint32 {
        TransientConnection = 1,
        Reachable = 2,
        ConnectionRequired = 4,
        ConnectionOnTraffic = 8,
        InterventionRequired = 16,
        ConnectionOnDemand = 32,
        IsLocalAddress = 1u << 16,
        IsDirect = 1u << 17,
    };
    enum NetworkStatus { NetworkStatusNone = 0, NetworkStatusCellular = 1, NetworkStatusWiFi = 2 };

    using Block = std::function<void(Reachability *)>;
    using FlagsBlock = std::function<void(Reachability *, quint32)>;

    static std::unique_ptr<Reachability> reachabilityWithHostname(const QString &host);
    static std::unique_ptr<Reachability> reachabilityWithHostName(const QString &host);
    static std::unique_ptr<Reachability> reachabilityWithAddress(const QHostAddress &address, quint16 port = 0);
    static std::unique_ptr<Reachability> reachabilityForInternetConnection();
    static std::unique_ptr<Reachability> reachabilityForLocalWiFi();
    static std::unique_ptr<Reachability> reachabilityWithURL(const QUrl &url);
    static bool isIpAddress(const QString &text);

    ~Reachability() override;

    // Called on the notifier thread, never on the main thread.
    Block reachableBlock;
    Block unreachableBlock;
    FlagsBlock reachabilityBlock;
    bool reachableOnWWAN = true;

    bool startNotifier();
    void stopNotifier();

    static bool isReachableWithFlags(quint32 flags);
    bool isReachable() const;
    bool isReachableViaWWAN() const;
    bool isReachableViaWiFi() const;
    bool isConnectionRequired() const;
    bool connectionRequired() const;
    bool isConnectionOnDemand() const;
    bool isInterventionRequired() const;
    NetworkStatus currentReachabilityStatus() const;
    QString currentReachabilityString() const;
    quint32 reachabilityFlags() const;
    QString currentReachabilityFlags() const;
    static QString flagsText(quint32 flags);
    QString description() const;

    QString targetHost() const;
    quint16 targetPort() const;

    // The flags of a route lookup for `address` (0 when there is no route); without
    // rtnetlink, the machine's own addresses are local and the rest follow the network's
    // state.
    static quint32 flagsForAddress(const QHostAddress &address);

private:
    Reachability(const QString &host, const QHostAddress &address, quint16 port);
    void reachabilityChanged(quint32 flags);
    void recheck();

    QString m_host;
    QHostAddress m_address;
    quint16 m_port = 0;
    std::unique_ptr<ReachabilityBackend> m_backend;
    bool m_watching = false;
    std::optional<quint32> m_lastFlags; // the notifier thread's
};

} // namespace velmora
