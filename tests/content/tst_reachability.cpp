#include "TestEnvironment.h"

#include "content/Reachability.h"

#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>

#include <QProcess>

using namespace velmora;
using F = Reachability::Flag;

namespace {

bool run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

bool ip(const QString &arguments)
{
    return run(QStringLiteral("ip"), arguments.split(QLatin1Char(' ')));
}

// Runs inside a private network namespace: only loopback exists at first.
int namespaceScenario()
{
    const QHostAddress internet(QStringLiteral("198.51.100.1"));
    if (Reachability::flagsForAddress(internet) != 0) {
        printf("FAIL: reachable before any route\n");
        return 1;
    }
    auto monitor = Reachability::reachabilityForInternetConnection();
    if (monitor->currentReachabilityStatus() != Reachability::NetworkStatusNone
        || monitor->currentReachabilityString() != QLatin1String("No Connection")
        || monitor->currentReachabilityFlags() != QLatin1String("X- -------")) {
        printf("FAIL: without a route: %s\n", qPrintable(monitor->description()));
        return 1;
    }
    QAtomicInt reachable = 0;
    QAtomicInt unreachable = 0;
    int notifications = 0;
    bool objectIsMonitor = true;
    monitor->reachableBlock = [&](Reachability *) { reachable.fetchAndAddOrdered(1); };
    monitor->unreachableBlock = [&](Reachability *) { unreachable.fetchAndAddOrdered(1); };
    QObject::connect(NotificationCenter::defaultCenter(), &NotificationCenter::notificationPosted,
                     [&](const QString &name, const QVariant &object) {
                         if (name != QLatin1String(kReachabilityChangedNotification))
                             return;
                         ++notifications;
                         objectIsMonitor = objectIsMonitor && object.value<QObject *>() == monitor.get();
                     });
    monitor->startNotifier();
    QTest::qWait(300);
    // A dummy interface where the kernel has them, else one end of a veth pair.
    const bool link = ip(QStringLiteral("link add vlm0 type dummy"))
        || (ip(QStringLiteral("link add vlm0 type veth peer name vlm1")) && ip(QStringLiteral("link set vlm1 up")));
    if (!link || !ip(QStringLiteral("addr add 10.77.0.2/24 dev vlm0")) || !ip(QStringLiteral("link set vlm0 up"))
        || !ip(QStringLiteral("route add default via 10.77.0.1 dev vlm0"))) {
        printf("SKIP: cannot configure a dummy interface here\n");
        return 0;
    }
    if (!QTest::qWaitFor([&] { return notifications == 1; }, 5000) || reachable != 1) {
        printf("FAIL: expected one reachable change, got %d notifications, %d reachable\n", notifications,
               int(reachable));
        return 1;
    }
    QTest::qWait(500);
    if (notifications != 1) {
        printf("FAIL: repeated notifications (%d) for one change\n", notifications);
        return 1;
    }
    const quint32 flags = monitor->reachabilityFlags();
    if (!(flags & F::Reachable) || (flags & F::IsDirect)
        || monitor->currentReachabilityString() != QLatin1String("WiFi")) {
        printf("FAIL: flags %s\n", qPrintable(Reachability::flagsText(flags)));
        return 1;
    }
    ip(QStringLiteral("link del vlm0"));
    if (!QTest::qWaitFor([&] { return notifications == 2; }, 5000) || unreachable != 1) {
        printf("FAIL: removal not reported (%d notifications)\n", notifications);
        return 1;
    }
    if (!objectIsMonitor) {
        printf("FAIL: a notification's object was not the monitor\n");
        return 1;
    }
    printf("PASS\n");
    return 0;
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

    void flagsText_data()
    {
        QTest::addColumn<quint32>("flags");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << 0u << "X- -------";
        QTest::newRow("reachable direct local")
            << quint32(F::Reachable | F::IsDirect | F::IsLocalAddress) << "XR -----ld";
        QTest::newRow("every bit") << quint32(0x3003F) << "XR ctiCDld";
    }

    void flagsText()
    {
        QFETCH(quint32, flags);
        QFETCH(QString, text);
        QCOMPARE(Reachability::flagsText(flags), text);
    }

    void loopbackIsLocalAndDirect()
    {
        const quint32 flags = Reachability::flagsForAddress(QHostAddress::LocalHost);
        QCOMPARE(flags, quint32(F::Reachable | F::IsLocalAddress | F::IsDirect));
    }

    void urlTargets_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("port");
        QTest::newRow("https to an address watches 443") << QUrl("https://10.1.2.3/x") << "10.1.2.3" << 443;
        QTest::newRow("http to an address watches 80") << QUrl("http://10.1.2.3/x") << "10.1.2.3" << 80;
        QTest::newRow("explicit port") << QUrl("https://10.1.2.3:8443/") << "10.1.2.3" << 8443;
        QTest::newRow("a name is watched by name") << QUrl("https://ads.example/") << "ads.example" << 0;
    }

    void urlTargets()
    {
        QFETCH(QUrl, url);
        QFETCH(QString, host);
        QFETCH(int, port);
        const auto monitor = Reachability::reachabilityWithURL(url);
        QVERIFY(monitor);
        QCOMPARE(monitor->targetHost(), host);
        QCOMPARE(int(monitor->targetPort()), port);
    }

    void changesInAPrivateNetworkNamespace()
    {
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("VELMORA_NETNS_SCENARIO"), QStringLiteral("1"));
        child.setProcessEnvironment(env);
        child.start(QStringLiteral("unshare"), { QStringLiteral("-n"), QCoreApplication::applicationFilePath() });
        if (!child.waitForStarted(5000))
            QSKIP("unshare is not available");
        QVERIFY(child.waitForFinished(30000));
        const QString output = QString::fromUtf8(child.readAllStandardOutput() + child.readAllStandardError());
        if (child.exitCode() != 0 && output.contains(QLatin1String("Operation not permitted")))
            QSKIP("no permission for a private network namespace here");
        if (output.contains(QLatin1String("SKIP:")))
            QSKIP(qPrintable(output.trimmed()));
        QVERIFY2(output.contains(QLatin1String("PASS")), qPrintable(output));
    }
};

int main(int argc, char **argv)
{
    velmora::test::TestEnvironment::prepare("ReachabilityTest");
    QApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("VELMORA_NETNS_SCENARIO")) {
        ip(QStringLiteral("link set lo up"));
        return namespaceScenario();
    }
    ReachabilityTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_reachability.moc"
