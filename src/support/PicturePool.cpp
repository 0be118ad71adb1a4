#include "support/PicturePool.h"

#include "support/BackgroundPriority.h"
#include "support/PoolTask.h"

#include <QCoreApplication>
#include <QThreadPool>

#include <mutex>

namespace velmora {

QThreadPool *PicturePool::instance()
{
    static QThreadPool pool;
    static std::once_flag once;
    std::call_once(once, [] {
        pool.setMaxThreadCount(1);
        // A thread that stays lets later pictures skip the thread's start-up.
        pool.setExpiryTimeout(-1);
        // A host that quits while a picture is read: Qt's plugins and the application must
        // outlive the task, so it ends before the application goes.
        qAddPostRoutine([] {
            pool.clear();
            pool.waitForDone();
        });
    });
    return &pool;
}

void PicturePool::start(std::function<void()> work)
{
    PoolTask::start(instance(), BackgroundPriority::offCallersCore(std::move(work)));
}

} // namespace velmora
