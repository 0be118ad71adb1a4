#include "TestEnvironment.h"

#include "AdServerProcess.h"
#include "ChildProcesses.h"
#include "content/AdsDownloader.h"
#include "content/AdsMacHelper.h"
#include "content/NetworkInformationReachability.h"
#include "content/Reachability.h"

#include "BuildConfig.h"

#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>

#include <QMap>
#include <QProcess>

using namespace velmora;
using F = Reachability::Flag;

namespace {

bool ip(const QString &arguments)
{
    QProcess process;
    process.start(QStringLiteral("ip"), arguments.split(QLatin1Char(' ')));
    return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// Voluntary sleeps so far of each of this process's threads named `name`.
QMap<QString, long long> voluntarySwitches(const QByteArray &name)
{
    QMap<QString, long long> counts;
    for (const QString &tid : test::threadsNamed(name)) {
        QFile status(QStringLiteral("/proc/self/task/%1/status").arg(tid));
        if (!status.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("voluntary_ctxt_switches:"))
                counts.insert(tid, line.mid(line.indexOf(':') + 1).trimmed().toLongLong());
        }
    }
    return counts;
}

// Runs inside a private network namespace, where only loopback exists at first: a default
// route of one family comes and goes. Returns "PASS", or why it failed or was skipped.
QString namespaceScenario(int family)
{
    ip(QStringLiteral("link set lo up"));
    const bool v6 = family == 6;
    const QHostAddress internetV4(QStringLiteral("198.51.100.1"));
    const QHostAddress internetV6(QStringLiteral("2001:db8::1"));
    if (Reachability::flagsForAddress(internetV4) != 0 || Reachability::flagsForAddress(internetV6) != 0)
        return QStringLiteral("FAIL: reachable before any route");
    auto monitor = Reachability::reachabilityForInternetConnection();
    if (monitor->reachabilityFlags() != 0 || AdsMacHelper::isInternetConnection())
        return QStringLiteral("FAIL: without a route: flags 0x%1").arg(monitor->reachabilityFlags(), 0, 16);
    QAtomicInt reachable = 0;
    QAtomicInt unreachable = 0;
    // Only this monitor's: the downloader keeps a monitor of its own.
    int notifications = 0;
    monitor->reachableBlock = [&](Reachability *) { reachable.fetchAndAddOrdered(1); };
    monitor->unreachableBlock = [&](Reachability *) { unreachable.fetchAndAddOrdered(1); };
    QObject::connect(NotificationCenter::defaultCenter(), &NotificationCenter::notificationPosted,
                     [&](const QString &name, const QVariant &object) {
                         if (name == QLatin1String(kReachabilityChangedNotification)
                             && object.value<QObject *>() == monitor.get())
                             ++notifications;
                     });
    monitor->startNotifier();
    QTest::qWait(300);
    // Nothing changes in this namespace: the watching threads must sleep through it.
    const QByteArray watcher("velmora-reachab");
    const QMap<QString, long long> before = voluntarySwitches(watcher);
    QTest::qWait(1000);
    const QMap<QString, long long> after = voluntarySwitches(watcher);
    if (before.isEmpty() && !VELMORA_PORTABLE)
        return QStringLiteral("FAIL: no watching thread");
    for (auto thread = before.cbegin(); thread != before.cend(); ++thread) {
        if (const long long woke = after.value(thread.key(), thread.value()) - thread.value(); woke > 1)
            return QStringLiteral("FAIL: a watching thread woke %1 times in a second of no change").arg(woke);
    }
    // A dummy interface where the kernel has them, else one end of a veth pair.
    const bool link = ip(QStringLiteral("link add vlm0 type dummy"))
        || (ip(QStringLiteral("link add vlm0 type veth peer name vlm1")) && ip(QStringLiteral("link set vlm1 up")));
    const bool configured = link
        && (v6 ? ip(QStringLiteral("-6 addr add 2001:db8:77::2/64 dev vlm0 nodad"))
               : ip(QStringLiteral("addr add 10.77.0.2/24 dev vlm0")))
        && ip(QStringLiteral("link set vlm0 up"))
        && (v6 ? ip(QStringLiteral("-6 route add default via 2001:db8:77::1 dev vlm0"))
               : ip(QStringLiteral("route add default via 10.77.0.1 dev vlm0")));
    if (!configured)
        return QStringLiteral("SKIP: cannot configure a dummy interface here");
    const bool told = QTest::qWaitFor([&] { return notifications == 1; }, 5000);
    // QNetworkInformation's GLib backend is not told of changes by GLib's netlink monitor
    // (only NetworkManager's notifies connectivity), so here Qt itself may never hear of it.
    const QNetworkInformation *information = QNetworkInformation::instance();
    if (!told && VELMORA_PORTABLE && information
        && information->reachability() != QNetworkInformation::Reachability::Online)
        return QStringLiteral("SKIP: QNetworkInformation (%1) did not see the new route")
            .arg(information->backendName());
    if (!told || reachable != 1)
        return QStringLiteral("FAIL: expected one reachable change, got %1 notifications, %2 reachable")
            .arg(notifications)
            .arg(int(reachable));
    QTest::qWait(500);
    if (notifications != 1)
        return QStringLiteral("FAIL: repeated notifications (%1) for one change").arg(notifications);
    const quint32 flags = monitor->reachabilityFlags();
    if (!(flags & F::Reachable) || (flags & F::IsDirect) || !AdsMacHelper::isInternetConnection())
        return QStringLiteral("FAIL: flags 0x%1").arg(flags, 0, 16);
    // Only a route lookup tells the families apart.
    if (v6 && !VELMORA_PORTABLE && Reachability::flagsForAddress(internetV4) != 0)
        return QStringLiteral("FAIL: an IPv4 route appeared");
    if (v6) {
        // An ad table asked for from an ad server on IPv6 loopback, with no test override of
        // the internet check: asked once the server logs the request.
        test::AdServerProcess server;
        test::AdServerProcess::Options options;
        options.address = QStringLiteral("::1");
        if (!server.start(test::TestEnvironment::sourcePath(QStringLiteral("examples/sample-ads")), options))
            return QStringLiteral("FAIL: no ad server on ::1: ") + server.errorString();
        qputenv("VELMORA_AD_SERVER_URL", server.baseUrl().toString().toUtf8());
        AdsDownloader::sharedInstance()->startUpdateAllAds();
        if (!QTest::qWaitFor([&] { return !server.logLines().isEmpty(); }, 10000))
            return QStringLiteral("FAIL: the ad server at %1 was never asked").arg(server.baseUrl().toString());
    }
    ip(QStringLiteral("link del vlm0"));
    if (!QTest::qWaitFor([&] { return notifications == 2; }, 5000) || unreachable != 1)
        return QStringLiteral("FAIL: removal not reported (%1 notifications)").arg(notifications);
    return QStringLiteral("PASS");
}

int namespaceMain()
{
    const QString outcome = namespaceScenario(qEnvironmentVariableIntValue("VELMORA_NETNS_SCENARIO"));
    printf("%s\n", qPrintable(outcome));
    return outcome.startsWith(QLatin1String("FAIL")) ? 1 : 0;
}

} // namespace

class ReachabilityTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void reachableWithFlags_data()
    {
        QTest::addColumn<quint32>("flags");
        QTest::addColumn<bool>("reachable");
        QTest::newRow("none") << 0u << false;
        QTest::newRow("reachable") << quint32(F::Reachable) << true;
        QTest::newRow("reachable, connection required") << quint32(F::Reachable | F::ConnectionRequired) << true;
        QTest::newRow("reachable, connection required, transient")
            << quint32(F::Reachable | F::ConnectionRequired | F::TransientConnection) << false;
        QTest::newRow("transient without reachable") << quint32(F::TransientConnection) << false;
    }

    void reachableWithFlags()
    {
        QFETCH(quint32, flags);
        QFETCH(bool, reachable);
        QCOMPARE(Reachability::isReachableWithFlags(flags), reachable);
    }

    void loopbackIsLocalAndDirect()
    {
        const quint32 flags = Reachability::flagsForAddress(QHostAddress::LocalHost);
        QCOMPARE(flags, quint32(F::Reachable | F::IsLocalAddress | F::IsDirect));
    }

    // Without route lookups every target beyond this machine follows the network's state;
    // an unknown one must still let an update be tried.
    void networkStateFlags_data()
    {
        using State = QNetworkInformation::Reachability;
        QTest::addColumn<State>("state");
        QTest::addColumn<quint32>("flags");
        QTest::newRow("unknown") << State::Unknown << quint32(F::Reachable);
        QTest::newRow("disconnected") << State::Disconnected << 0u;
        QTest::newRow("local network only") << State::Local << quint32(F::Reachable | F::IsDirect);
        QTest::newRow("some sites") << State::Site << quint32(F::Reachable);
        QTest::newRow("online") << State::Online << quint32(F::Reachable);
    }

    void networkStateFlags()
    {
        QFETCH(QNetworkInformation::Reachability, state);
        QFETCH(quint32, flags);
        QCOMPARE(NetworkInformationReachability::flagsForState(state), flags);
    }

    void changesInAPrivateNetworkNamespace_data()
    {
        QTest::addColumn<int>("family");
        QTest::newRow("IPv4 only") << 4;
        QTest::newRow("IPv6 only") << 6;
    }

    void changesInAPrivateNetworkNamespace()
    {
        QFETCH(int, family);
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("VELMORA_NETNS_SCENARIO"), QString::number(family));
        child.setProcessEnvironment(env);
        // A user namespace as well, so this also runs without root where the kernel lets it.
        child.start(QStringLiteral("unshare"), { QStringLiteral("-rn"), QCoreApplication::applicationFilePath() });
        if (!child.waitForStarted(5000))
            QSKIP("unshare is not available");
        QVERIFY(child.waitForFinished(60000));
        const QString output = QString::fromUtf8(child.readAllStandardOutput() + child.readAllStandardError());
        if (child.exitCode() != 0 && output.contains(QLatin1String("Operation not permitted")))
            QSKIP("no permission for a private network namespace here");
        if (output.contains(QLatin1String("SKIP:")))
            QSKIP(qPrintable(output.trimmed()));
        QVERIFY2(output.contains(QLatin1String("PASS")), qPrintable(output));
    }
};

VELMORA_TEST_MAIN_WITH_CHILD(ReachabilityTest, "VELMORA_NETNS_SCENARIO", namespaceMain())

#include "tst_reachability.moc"
