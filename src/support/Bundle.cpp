#include <velmora/Bundle.h>

#include "support/PropertyList.h"
#include "support/StandardNames.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <mutex>

// Outside any namespace, as Q_INIT_RESOURCE requires; it also pulls the compiled
// resources out of the static archive when a test links the area directly.
static void initVelmoraResources()
{
    Q_INIT_RESOURCE(velmora);
}

namespace velmora {

struct Bundle::Data {
    QString bundlePath;
    QStringList resourceFolders; // searched in order
    QVariantMap info;
};

namespace {

const QString frameworkRoot = QStringLiteral(":/velmora");

QVariantMap readInfoPlist(const QStringList &folders)
{
    for (const QString &folder : folders) {
        QFile file(folder + QStringLiteral("/Info.plist"));
        // An Info.plist is small; a huge file is not one.
        if (file.open(QIODevice::ReadOnly) && file.size() < qint64(4) * 1024 * 1024)
            return PropertyList::parse(file.readAll()).toMap();
    }
    return {};
}

std::mutex mainBundleMutex;
QString mainBundleOverride;
std::shared_ptr<const Bundle::Data> mainBundleCache;

// Under mainBundleMutex.
QString mainBundlePath()
{
    return mainBundleOverride.isEmpty() ? QCoreApplication::applicationDirPath() : mainBundleOverride;
}

} // namespace

Bundle::Bundle() = default;

Bundle::Bundle(const QString &bundlePath)
{
    auto data = std::make_shared<Data>();
    data->bundlePath = QDir::cleanPath(bundlePath);
    if (data->bundlePath.startsWith(QLatin1Char(':')))
        data->resourceFolders = { data->bundlePath };
    else
        data->resourceFolders = { data->bundlePath + QStringLiteral("/Resources"), data->bundlePath };
    data->info = readInfoPlist({ data->bundlePath, data->bundlePath + QStringLiteral("/Resources") });
    d = std::move(data);
}

Bundle Bundle::resourseBundleForClass(const QMetaObject *)
{
    static std::once_flag once;
    std::call_once(once, initVelmoraResources);
    static const Bundle framework(frameworkRoot);
    return framework;
}

// The Info.plist is read outside the lock: a thread that warms the bundle never makes the
// host's main thread wait for it. Whoever finishes first is kept.
Bundle Bundle::mainAppBundle()
{
    QString path;
    {
        const std::lock_guard lock(mainBundleMutex);
        if (mainBundleCache) {
            Bundle bundle;
            bundle.d = mainBundleCache;
            return bundle;
        }
        path = mainBundlePath();
    }
    Bundle read(path);
    const std::lock_guard lock(mainBundleMutex);
    if (!mainBundleCache && mainBundlePath() == path)
        mainBundleCache = read.d;
    return read;
}

void Bundle::setMainAppBundlePath(const QString &path)
{
    const std::lock_guard lock(mainBundleMutex);
    mainBundleOverride = path;
    mainBundleCache.reset();
}

bool Bundle::isValid() const
{
    return d != nullptr;
}

QString Bundle::bundlePath() const
{
    return d ? d->bundlePath : QString();
}

QString Bundle::resourcePath() const
{
    return d ? d->resourceFolders.constFirst() : QString();
}

QVariantMap Bundle::infoDictionary() const
{
    return d ? d->info : QVariantMap();
}

QVariant Bundle::objectForInfoDictionaryKey(const QString &key) const
{
    return d ? d->info.value(key) : QVariant();
}

QString Bundle::pathForResource(const QString &name, const QString &type) const
{
    if (!d || name.isEmpty())
        return {};
    const QString file = type.isEmpty() ? name : name + QLatin1Char('.') + type;
    for (const QString &folder : d->resourceFolders) {
        QString path = folder + QLatin1Char('/') + file;
        if (QFileInfo(path).isFile())
            return path;
    }
    return {};
}

QUrl Bundle::URLForResource(const QString &name, const QString &type) const
{
    const QString path = pathForResource(name, type);
    if (path.isEmpty())
        return {};
    if (path.startsWith(QLatin1Char(':')))
        return QUrl(QStringLiteral("qrc") + path);
    return QUrl::fromLocalFile(path);
}

QString Bundle::localizedString(const QString &key, const QString &value) const
{
    if (!d)
        return value;
    const QString language = StandardNames::curentLocaleIdentifier();
    const QString path = pathForResource(QStringLiteral("Localizable"), QStringLiteral("strings"));
    const QString localized
        = pathForResource(language + QStringLiteral(".lproj/Localizable"), QStringLiteral("strings"));
    for (const QString &candidate : { localized, path }) {
        if (candidate.isEmpty())
            continue;
        const auto table = StandardNames::getInfoFromURL(candidate.startsWith(QLatin1Char(':'))
                                                             ? QUrl(QStringLiteral("qrc") + candidate)
                                                             : QUrl::fromLocalFile(candidate));
        if (table.contains(key))
            return table.value(key);
    }
    return value;
}

} // namespace velmora
