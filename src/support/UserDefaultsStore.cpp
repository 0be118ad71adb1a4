#include "support/UserDefaultsStore.h"

#include "support/FileStamp.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <mutex>
#include <optional>

namespace velmora {

namespace {

constexpr quint32 magic = 0x564c4d44; // "VLMD"
constexpr quint32 formatVersion = 1;
// Pinned, so a later Qt still reads what this one wrote.
constexpr QDataStream::Version streamVersion = QDataStream::Qt_6_0;

// argv[0]'s file name, which is what QCoreApplication names the program by default.
QString programName()
{
    QFile file(QStringLiteral("/proc/self/cmdline"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray first = file.read(4096).split('\0').value(0);
    return QFileInfo(QString::fromLocal8Bit(first)).fileName();
}

} // namespace

QSettings::Format UserDefaultsStore::format()
{
    static const QSettings::Format registered = QSettings::registerFormat(QStringLiteral("defaults"), read, write);
    return registered;
}

bool UserDefaultsStore::read(QIODevice &device, QSettings::SettingsMap &map)
{
    QDataStream in(&device);
    in.setVersion(streamVersion);
    quint32 fileMagic = 0;
    quint32 version = 0;
    in >> fileMagic >> version;
    if (fileMagic != magic || version != formatVersion)
        return false;
    QSettings::SettingsMap loaded;
    in >> loaded;
    if (in.status() != QDataStream::Ok)
        return false;
    map = std::move(loaded);
    return true;
}

bool UserDefaultsStore::write(QIODevice &device, const QSettings::SettingsMap &map)
{
    QDataStream out(&device);
    out.setVersion(streamVersion);
    out << magic << formatVersion << map;
    return out.status() == QDataStream::Ok;
}

std::unique_ptr<QSettings> UserDefaultsStore::open()
{
    const QString organization = QCoreApplication::organizationName();
    QString application = QCoreApplication::applicationName();
    if (application.isEmpty())
        application = programName();
    auto store = std::make_unique<QSettings>(format(), QSettings::UserScope, organization, application);
    carryOverFromNative(*store, organization, application);
    return store;
}

namespace {

struct KnownValues {
    QString organization;
    QString application;
    QString file;
    FileStamp stamp;
    QSettings::SettingsMap values;
};
std::mutex knownMutex;
std::optional<KnownValues> known;

} // namespace

QVariant UserDefaultsStore::value(const QString &key)
{
    const QString organization = QCoreApplication::organizationName();
    const QString application = QCoreApplication::applicationName();
    const std::lock_guard lock(knownMutex);
    if (!known || known->organization != organization || known->application != application
        || known->stamp != FileStamp::of(known->file)) {
        const auto store = open();
        // Stamped before the store reads the file again: a write in between is read next time.
        KnownValues read { organization, application, store->fileName(), FileStamp::of(store->fileName()), {} };
        store->sync();
        for (const QString &stored : store->allKeys())
            read.values.insert(stored, store->value(stored));
        known = std::move(read);
    }
    return known->values.value(key);
}

void UserDefaultsStore::setValue(const QString &key, const QVariant &value)
{
    const auto store = open();
    store->setValue(key, value);
    store->sync();
    const std::lock_guard lock(knownMutex);
    known.reset();
}

void UserDefaultsStore::carryOverFromNative(QSettings &store, const QString &organization, const QString &application)
{
    static QMutex mutex;
    static QString carried;
    const QMutexLocker lock(&mutex);
    if (carried == store.fileName())
        return;
    carried = store.fileName();
    if (QFileInfo::exists(store.fileName()))
        return;
    // Qt's native format, which on Linux is INI in a ".conf" file.
    const QSettings old(QSettings::NativeFormat, QSettings::UserScope, organization, application);
    const QStringList keys = old.allKeys();
    if (keys.isEmpty())
        return;
    for (const QString &key : keys)
        store.setValue(key, old.value(key));
    store.sync();
}

} // namespace velmora
