#pragma once

#include <velmora/velmora_export.h>

#include <QObject>
#include <QVariant>

namespace velmora {

// The process-wide channel through which the framework tells the host what happened.
// Observe notificationPosted(); the names are the constants of <velmora/Notifications.h>.
class VELMORA_EXPORT NotificationCenter : public QObject {
    Q_OBJECT

public:
    static NotificationCenter *defaultCenter();

    // Emits notificationPosted synchronously on the calling thread.
    void post(const QString &name, const QVariant &object = QVariant());

Q_SIGNALS:
    void notificationPosted(const QString &name, const QVariant &object);

private:
    NotificationCenter();
};

} // namespace velmora
