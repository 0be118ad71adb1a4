#pragma once

#include <QObject>
#include <QUrl>

namespace velmora {

// Opens store links where the desktop can. A store link has the store application's scheme;
// a desktop without that application (every stock Linux desktop) would open nothing, so
// there the click opens the same app's page of the web store in the browser instead.
//
// It works as the QDesktopServices handler of the store scheme, set when the library loads:
// a host that handles store links itself sets its own handler later, which replaces this one.
class StoreLinkOpener : public QObject {
    Q_OBJECT

public:
    // Sets the handler once; later calls do nothing.
    static void install();
    // https, the web store's host and the same path (the same app id).
    static QUrl webLink(const QUrl &storeLink);
    // Whether the desktop names an application for URLs of `scheme`. Only freedesktop
    // systems can be asked ahead; elsewhere this is true and opening tells.
    static bool desktopOpens(const QString &scheme);

public Q_SLOTS:
    void open(const QUrl &link);

private:
    using QObject::QObject;
};

} // namespace velmora
