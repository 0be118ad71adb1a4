#pragma once

#include <QSettings>

#include <memory>

namespace velmora {

// The user-defaults store on disk. Qt's native format on Linux is INI, which gives back
// every bool, number and one-element list as a string in the next process; this one
// keeps each value's type (QDataStream of the whole map). Values written to the INI
// store by earlier versions are carried over the first time the new store is opened.
class UserDefaultsStore {
public:
    // A fresh handle on the store of the host's organisation and application. Works
    // before the host made its application object and after it is gone: the names then
    // come from what the host already set, else from the program's own name, as Qt would
    // take it.
    static std::unique_ptr<QSettings> open();
    // One value of the store. The whole store is kept in memory with the stamp of its file
    // and read again when the file changed (another process wrote it) or this process wrote
    // through setValue(): opening the store is tens of microseconds, and the ads-off flag is
    // asked on every facade call and log line.
    static QVariant value(const QString &key);
    static void setValue(const QString &key, const QVariant &value);

private:
    static QSettings::Format format();
    static bool read(QIODevice &device, QSettings::SettingsMap &map);
    static bool write(QIODevice &device, const QSettings::SettingsMap &map);
    static void carryOverFromNative(QSettings &store, const QString &organization, const QString &application);
};

} // namespace velmora
