#include "content/AdsMacHelper.h"

#include "content/Reachability.h"

#include "BuildConfig.h"

#include <QFile>
#include <QMutex>
#include <QSysInfo>

#include <mutex>

namespace velmora {

namespace {
QMutex probeMutex;
std::function<bool()> probe;

#if !VELMORA_PORTABLE
QString readFirstLine(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(file.readLine(256)).trimmed();
}
#endif
} // namespace

bool AdsMacHelper::isInternetConnection()
{
    {
        QMutexLocker lock(&probeMutex);
        if (probe)
            return probe();
    }
    const auto monitor = Reachability::reachabilityForInternetConnection();
    const quint32 flags = monitor ? monitor->reachabilityFlags() : 0;
    return (flags & Reachability::Reachable) && !(flags & Reachability::ConnectionRequired);
}

QString AdsMacHelper::getSystemUUID()
{
    static std::once_flag once;
    static QString uuid;
    std::call_once(once, [] {
#if VELMORA_PORTABLE
        // Each system's own answer (machine-id, the registry's MachineGuid, IOKit's UUID).
        uuid = QString::fromLatin1(QSysInfo::machineUniqueId());
#else
        uuid = readFirstLine(QStringLiteral("/sys/class/dmi/id/product_uuid"));
        if (uuid.isEmpty())
            uuid = readFirstLine(QStringLiteral("/etc/machine-id"));
#endif
    });
    return uuid;
}

void AdsMacHelper::setInternetProbe(std::function<bool()> replacement)
{
    QMutexLocker lock(&probeMutex);
    probe = std::move(replacement);
}

} // namespace velmora
