#include "support/PoolTask.h"

#include <QThreadPool>

#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void *address);
extern "C" void __tsan_release(void *address);
#endif

namespace velmora {
namespace {
void announceRelease([[maybe_unused]] void *address)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_release(address);
#endif
}

void announceAcquire([[maybe_unused]] void *address)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(address);
#endif
}
} // namespace

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
