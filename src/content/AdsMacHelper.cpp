#include "content/AdsMacHelper.h"

#include "content/Reachability.h"

#include <QFile>
#include <QMutex>

#include <mutex>

namespace velmora {

namespace {
QMutex probeMutex;
std::function<bool()> probe;

QString readFirstLine(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(file.readLine(256)).trimmed();
}
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
        uuid = readFirstLine(QStringLiteral("/sys/class/dmi/id/product_uuid"));
        if (uuid.isEmpty())
            uuid = readFirstLine(QStringLiteral("/etc/machine-id"));
    });
    return uuid;
}

void AdsMacHelper::setInternetProbe(std::function<bool()> replacement)
{
    QMutexLocker lock(&probeMutex);
    probe = std::move(replacement);
}

} // namespace velmora
