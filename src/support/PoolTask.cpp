#include "support/PoolTask.h"

#include "support/Handover.h"

#include <QThreadPool>

namespace velmora {

PoolTask::PoolTask(std::function<void()> work)
    : m_work(std::move(work))
{
}

void PoolTask::start(QThreadPool *pool, std::function<void()> work)
{
    auto *task = new PoolTask(std::move(work));
    // Built in full before the release; the pool only passes the pointer on. The pool deletes
    // the task after run(), on the thread that acquired it.
    announceRelease(task);
    pool->start(task);
}

void PoolTask::run()
{
    announceAcquire(this);
    m_work();
}

} // namespace velmora
