// A host that knows Velmora only through its installed package.
#include <velmora/Velmora.h>

#include <QApplication>
#include <QTemporaryDir>

#include <cstdio>

int main(int argc, char **argv)
{
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.path().toLocal8Bit());
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("VelmoraConsumer"));

    QString seen;
    QObject::connect(velmora::NotificationCenter::defaultCenter(), &velmora::NotificationCenter::notificationPosted,
        [&seen](const QString &name, const QVariant &) { seen = name; });
    velmora::NotificationCenter::defaultCenter()->post(QString::fromLatin1(velmora::VLMtryRemoveAds));
    if (seen != QLatin1String("com.tamsel.tryremoveads"))
        return 1;

    std::printf("velmora %s ads-removed=%d\n", velmora::VelmoraVersion, int(velmora::Velmora::isADSRemoved()));
    return 0;
}
