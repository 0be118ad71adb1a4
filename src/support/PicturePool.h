#pragma once

#include <functional>

class QThreadPool;

namespace velmora {

// The one thread on which the framework decodes and scales pictures: end screens' stills and
// banner frames. One thread, since every thread that allocates gets a malloc arena of its own
// and the host would keep the pages of several; at idle priority and off the core of the
// thread that asked, so that decoding takes no core from the host's main thread: the still is
// decoded as the video starts, when the main thread paints its busiest frames, and an idle
// thread that the tick has given the core held it for up to 2 ms. The image plugins a picture
// needs load here too, never on the host's main thread.
class PicturePool {
public:
    static QThreadPool *instance();
    // Runs `work` there, off the caller's core while it runs (see BackgroundPriority).
    static void start(std::function<void()> work);
};

} // namespace velmora
