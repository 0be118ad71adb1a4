#pragma once

#include <QObject>

#include <functional>

namespace velmora {

// Work the host's main thread can do later, one item per turn of its event loop, so that a
// host call that sets up several windows never becomes one long stall. Main thread only.
class IdleQueue {
public:
    // Runs `work` in a later turn, unless `context` is gone by then.
    static void post(QObject *context, std::function<void()> work);
};

} // namespace velmora
