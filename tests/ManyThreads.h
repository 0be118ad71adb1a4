#pragma once

#include <QSemaphore>
#include <QThreadPool>

#include <functional>

namespace velmora::test {

// Runs `work(i)` on `count` pool threads that all start at the same moment, and waits.
inline void fromManyThreads(int count, const std::function<void(int)> &work)
{
    QThreadPool threads;
    threads.setMaxThreadCount(count);
    QSemaphore ready, go;
    for (int i = 0; i < count; ++i) {
        threads.start([&, i] {
            ready.release();
            go.acquire();
            work(i);
        });
    }
    ready.acquire(count);
    go.release(count);
    threads.waitForDone();
}

} // namespace velmora::test
