#include "content/NetworkWarmUp.h"

#include "support/MainThread.h"
#include "support/PoolTask.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSslSocket>
#include <QThreadPool>
#include <QTimer>

#include <mutex>
#include <utility>
#include <vector>

namespace velmora {

namespace {

// Both only on the main thread.
bool ready = false;
std::vector<std::pair<QPointer<QObject>, std::function<void()>>> waiting;

void becameReady()
{
    ready = true;
    for (auto &[context, work] : std::exchange(waiting, {})) {
        if (context)
            work();
    }
}

} // namespace

void NetworkWarmUp::start()
{
    static std::once_flag once;
    // From the host's next turn on: a worker loading libraries holds the dynamic linker's
    // lock, which the turn that made the first facade call would wait for.
    std::call_once(once, [] {
        QTimer::singleShot(0, QCoreApplication::instance(), [] {
            PoolTask::start(QThreadPool::globalInstance(), [] {
                QSslSocket::supportsSsl();
                if (QCoreApplication *app = QCoreApplication::instance())
                    QMetaObject::invokeMethod(app, &becameReady, Qt::QueuedConnection);
            });
        });
    });
}

bool NetworkWarmUp::isReady()
{
    return ready;
}

void NetworkWarmUp::whenReady(QObject *context, std::function<void()> work)
{
    Q_ASSERT(MainThread::isCurrent());
    if (ready) {
        work();
        return;
    }
    waiting.emplace_back(context, std::move(work));
    start();
}

} // namespace velmora
