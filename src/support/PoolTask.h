#pragma once

#include <QRunnable>

#include <functional>

class QThreadPool;

namespace velmora {

// A task for a QThreadPool. Everything the starting thread wrote before start() is visible to
// the task. Under ThreadSanitizer the hand-over is announced: QThreadPool's queue is guarded by
// futexes that TSan cannot see in a Qt built without it, so every task would look like a race.
class PoolTask final : public QRunnable {
public:
    static void start(QThreadPool *pool, std::function<void()> work);

    void run() override;

private:
    explicit PoolTask(std::function<void()> work);

    std::function<void()> m_work;
};

} // namespace velmora
