#include "support/IdleQueue.h"

#include "support/MainThread.h"

#include <QPointer>
#include <QTimer>

#include <deque>
#include <utility>

namespace velmora {

namespace {

std::deque<std::pair<QPointer<QObject>, std::function<void()>>> queue;
bool armed = false;

// A zero timer per item: the host's own timers and input run between two of them.
void runOne()
{
    armed = false;
    while (!queue.empty()) {
        auto [context, work] = std::move(queue.front());
        queue.pop_front();
        if (!context)
            continue;
        work();
        break;
    }
    if (!queue.empty() && !armed) {
        armed = true;
        QTimer::singleShot(0, QCoreApplication::instance(), &runOne);
    }
}

} // namespace

void IdleQueue::post(QObject *context, std::function<void()> work)
{
    Q_ASSERT(MainThread::isCurrent());
    queue.emplace_back(context, std::move(work));
    if (!armed) {
        armed = true;
        QTimer::singleShot(0, QCoreApplication::instance(), &runOne);
    }
}

} // namespace velmora
