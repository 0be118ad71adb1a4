#pragma once

#include <QtGlobal>

#include <functional>

namespace velmora {

// Work the host never waits for (video decoding, media downloads) runs nicer than the host
// (Linux), and its bursts keep off the core of the host's main thread: a nice thread that the
// scheduler has picked may still keep that core for the rest of its time slice, so niceness
// alone gives the core back often but not at once. The work still goes on whenever the host
// leaves a core free.
class BackgroundPriority {
public:
    static constexpr int kBelowHost = 10;

    // The niceness for such work started from the calling thread: its own plus kBelowHost,
    // at most 19, so that a host that runs niced keeps the work below it.
    static int niceness();
    // Gives a thread (a Linux task id; 0 is the calling thread) that niceness. Threads it
    // makes afterwards inherit it. Does nothing elsewhere.
    static void apply(qint64 task, int niceness);
    // The core the calling thread runs on (Linux), -1 where unknown.
    static int currentCore();
    // Keeps a task (0: the calling thread) off `core` when the process may use other cores, so
    // that a burst of work does not share the core of the host's main thread, which asked for
    // it from there: on a busy core the scheduler lets a thread that has just started catch up
    // with one that has run for a while. Returns whether the task was moved.
    static bool keepOffCore(qint64 task, int core);
    // Lets a task run on every core the host's main thread may use again.
    static void allowHostCores(qint64 task);
    // Work that the calling thread hands to a worker thread, wrapped so that it runs there off
    // the caller's core and the worker gets its cores back afterwards. Once the scheduler's
    // tick has handed a core to a worker, even an idle-priority one, a main thread that wants
    // that core back may wait for the next tick (4 ms at 250 Hz). Threads that the work starts
    // meanwhile get every core back too: Qt spreads a large image operation over its global
    // pool, and a pool thread inherits the cores of the thread that started it.
    static std::function<void()> offCallersCore(std::function<void()> work);
    // offCallersCore, and at niceness(): for a thread of the framework's own that starts no
    // other. Niceness cannot be taken back, and a thread started meanwhile would keep it.
    static std::function<void()> awayFromCaller(std::function<void()> work);
};

} // namespace velmora
