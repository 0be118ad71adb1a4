#pragma once

#include <functional>

class QThreadPool;

namespace velmora {

// The one thread on which the framework decodes and scales pictures: end screens' stills and
// banner frames. One thread, since every thread that allocates gets a malloc arena of its own
// and the host would keep the pages of several. Its work keeps off the core of the thread that
// asked for it, so that decoding takes no core from the host's main thread; its priority is
// the host's own: Qt spreads a large scale or fill over its global pool, whose threads, started
// from here, would keep a lower priority for good, and the host's own work runs on them. The
// image plugins a picture needs load here too, never on the host's main thread.
class PicturePool {
public:
    static QThreadPool *instance();
    // Runs `work` there, off the caller's core while it runs (see BackgroundPriority).
    static void start(std::function<void()> work);
};

} // namespace velmora
