#pragma once

// Hand-overs between threads that ThreadSanitizer cannot see: Debian's Qt is built without
// it, so the futexes of QThreadPool's queue and the reference counts of queued calls are
// invisible to it. The thread that hands something over announces a release on its address,
// the thread that takes it an acquire; outside TSan builds both are nothing.

#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void *address);
extern "C" void __tsan_release(void *address);
#endif

namespace velmora {

inline void announceRelease([[maybe_unused]] void *address)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_release(address);
#endif
}

inline void announceAcquire([[maybe_unused]] void *address)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(address);
#endif
}

} // namespace velmora
