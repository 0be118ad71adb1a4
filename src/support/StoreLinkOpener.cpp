#include "support/StoreLinkOpener.h"

#include "BuildConfig.h"
#include <velmora/Support.h>

#include <QDesktopServices>
#include <QDir>
#include <QFile>

namespace velmora {

namespace {

const QString storeScheme = QStringLiteral("macappstores");

QString firstLabel(const QString &host)
{
    return host.section(QLatin1Char('.'), 0, 0);
}

#if defined(Q_OS_UNIX) && !defined(Q_OS_DARWIN)
QStringList xdgDirs(const char *variable, const QString &fallback)
{
    const QString value = qEnvironmentVariable(variable);
    return (value.isEmpty() ? fallback : value).split(QLatin1Char(':'), Qt::SkipEmptyParts);
}

// Where freedesktop desktops keep which application opens what (mimeapps.list in the config
// folders, mimeapps.list and mimeinfo.cache in the data folders), in any order: any of them
// naming a handler is enough.
QStringList associationFiles()
{
    QStringList files;
    for (const QString &dir : xdgDirs("XDG_CONFIG_HOME", QDir::homePath() + QStringLiteral("/.config"))
             + xdgDirs("XDG_CONFIG_DIRS", QStringLiteral("/etc/xdg")))
        files << dir + QStringLiteral("/mimeapps.list");
    for (const QString &dir : xdgDirs("XDG_DATA_HOME", QDir::homePath() + QStringLiteral("/.local/share"))
             + xdgDirs("XDG_DATA_DIRS", QStringLiteral("/usr/local/share:/usr/share")))
        files << dir + QStringLiteral("/applications/mimeapps.list")
              << dir + QStringLiteral("/applications/mimeinfo.cache");
    return files;
}
#endif

} // namespace

void StoreLinkOpener::install()
{
    static StoreLinkOpener *const opener = [] {
        auto *made = new StoreLinkOpener;
        QDesktopServices::setUrlHandler(storeScheme, made, "open");
        return made;
    }();
    Q_UNUSED(opener);
}

QUrl StoreLinkOpener::webLink(const QUrl &storeLink)
{
    QUrl web = storeLink;
    web.setScheme(QStringLiteral("https"));
    const QString storeLabel = firstLabel(QStringLiteral(VELMORA_STORE_HOST_DEFAULT));
    const QString webLabel = firstLabel(QStringLiteral(VELMORA_WEB_STORE_HOST_DEFAULT));
    const QString host = storeLink.host();
    if (firstLabel(host) == storeLabel)
        web.setHost(webLabel + host.mid(storeLabel.size()));
    return web;
}

bool StoreLinkOpener::desktopOpens(const QString &scheme)
{
#if defined(Q_OS_UNIX) && !defined(Q_OS_DARWIN)
    const QByteArray key = "x-scheme-handler/" + scheme.toLatin1() + '=';
    for (const QString &path : associationFiles()) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
            continue;
        bool removed = false;
        while (!file.atEnd()) {
            const QByteArray line = file.readLine().trimmed();
            if (line.startsWith('['))
                removed = line == "[Removed Associations]";
            else if (!removed && line.startsWith(key) && line.size() > key.size())
                return true;
        }
    }
    return false;
#else
    Q_UNUSED(scheme);
    return true;
#endif
}

// Called by QDesktopServices::openUrl for store links; openUrl called from here goes to the
// desktop, not back to a handler.
void StoreLinkOpener::open(const QUrl &link)
{
    if (desktopOpens(link.scheme()) && QDesktopServices::openUrl(link))
        return;
    const QUrl web = webLink(link);
    LOG(QStringLiteral("no application opens %1; opening %2").arg(link.toString(), web.toString()));
    QDesktopServices::openUrl(web);
}

// Before the host's main(): a handler the host sets for the scheme comes later and wins.
const bool installedAtLoad = (StoreLinkOpener::install(), true);

} // namespace velmora
