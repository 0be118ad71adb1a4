#pragma once

namespace velmora {

// Qt Multimedia loads its backend (GStreamer's registry and plugins) the first time any
// player is made: a fifth of a second or more, on whichever thread asks first. Asking on a
// worker thread once a splash screen is registered keeps that cost off the host's main
// thread and ahead of the video.
class MediaBackend {
public:
    // Starts the backend on a pool thread; later calls do nothing.
    static void warmUp();
    // True once the backend has been started by warmUp (for diagnostics and tests).
    static bool isWarm();
};

} // namespace velmora
