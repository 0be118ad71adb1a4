#pragma once

#include <QtGlobal>

namespace velmora {

// Work the host never waits for (video decoding, media downloads) runs nicer than the host
// (Linux): a host thread that wakes takes the core at once instead of waiting for the end of
// a time slice, and the work still goes on whenever the host leaves a core free.
class BackgroundPriority {
public:
    static constexpr int kBelowHost = 10;

    // The niceness for such work started from the calling thread: its own plus kBelowHost,
    // at most 19, so that a host that runs niced keeps the work below it.
    static int niceness();
    // Gives a thread (a Linux task id; 0 is the calling thread) that niceness. Threads it
    // makes afterwards inherit it. Does nothing elsewhere.
    static void apply(qint64 task, int niceness);
};

} // namespace velmora
