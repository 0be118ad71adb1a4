#include "support/Switches.h"

#include <velmora/Support.h>

#include <QCoreApplication>
#include <QFile>

#include <sys/stat.h>

#include <atomic>
#include <mutex>
#include <optional>

namespace velmora {

namespace {
std::atomic<bool> debugMode { false };
std::atomic<bool> arcMode { false };
const QString adsOffKey = QStringLiteral("adsoff");

// Which version of the store's file an answer was read from: a write replaces the file.
struct FileVersion {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified {};

    static FileVersion of(const QString &path)
    {
        struct stat info { };
        if (::stat(QFile::encodeName(path).constData(), &info) != 0)
            return {};
        return { true, info.st_dev, info.st_ino, info.st_size, info.st_mtim };
    }
    bool operator==(const FileVersion &other) const
    {
        return exists == other.exists && device == other.device && inode == other.inode && size == other.size
            && modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
    }
};

// The ads-off flag is asked on every facade call and every log line, and opening the store
// builds a QSettings, tens of microseconds each time. The answer is kept with the version of
// the file it came from and read again once the file changed, also when another instance of
// the host removed the ads.
struct KnownAdsOff {
    QString organization;
    QString application;
    QString file;
    FileVersion version;
    bool removed = false;
};
std::mutex knownMutex;
std::optional<KnownAdsOff> known;
} // namespace

void Switches::activateDebugMode()
{
    debugMode = true;
}

bool Switches::isDebugModeActivate()
{
    return debugMode;
}

void Switches::setARCToWindows(bool on)
{
    arcMode = on;
}

bool Switches::isARCActivate()
{
    return arcMode;
}

bool Switches::isADSRemoved()
{
    const QString organization = QCoreApplication::organizationName();
    const QString application = QCoreApplication::applicationName();
    const std::lock_guard lock(knownMutex);
    if (known && known->organization == organization && known->application == application
        && known->version == FileVersion::of(known->file))
        return known->removed;
    const auto store = VLMUserDefaults();
    // The version is taken before the store reads the file again: a write in between is
    // then read next time.
    const FileVersion version = FileVersion::of(store->fileName());
    store->sync();
    known = KnownAdsOff { organization, application, store->fileName(), version, store->value(adsOffKey).toBool() };
    return known->removed;
}

void Switches::setADSRemoved(bool removed)
{
    VLMSetObjForKey(removed, adsOffKey);
    const std::lock_guard lock(knownMutex);
    known.reset();
}

} // namespace velmora
