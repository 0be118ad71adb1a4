#pragma once

class QThreadPool;

namespace velmora {

// The one thread on which the framework decodes and scales pictures: end screens' stills and
// banner frames. One thread, since every thread that allocates gets a malloc arena of its own
// and the host would keep the pages of several; at idle priority, so that decoding never takes
// a core from the host's main thread. The image plugins a picture needs load here too, never
// on the host's main thread.
class PicturePool {
public:
    static QThreadPool *instance();
};

} // namespace velmora
