#include <velmora/NotificationCenter.h>

#include "support/MainThread.h"

namespace velmora {

NotificationCenter::NotificationCenter() = default;

NotificationCenter *NotificationCenter::defaultCenter()
{
    // Never destroyed: hosts may post or observe during their own static teardown.
    static NotificationCenter *center = [] {
        auto *made = new NotificationCenter;
        MainThread::adopt(made);
        return made;
    }();
    return center;
}

void NotificationCenter::post(const QString &name, const QVariant &object)
{
    Q_EMIT notificationPosted(name, object);
}

} // namespace velmora
