#pragma once

#include "support/Handover.h"

#include <QMetaObject>
#include <QObject>

#include <utility>

namespace velmora {

namespace detail {
// A queued call is reference-counted by Qt: whichever thread drops the last reference, the
// poster or the receiver, destroys it. The count lives in a Qt built without ThreadSanitizer,
// so the receiver's use of the call and the poster's destruction of it would look like a race.
// The call announces the end of its run, and its destruction waits on that announcement.
template<typename Work> class AnnouncedCall {
public:
    explicit AnnouncedCall(Work work)
        : m_work(std::move(work))
    {
    }
    AnnouncedCall(AnnouncedCall &&) noexcept = default;
    AnnouncedCall(const AnnouncedCall &) = delete;
    AnnouncedCall &operator=(const AnnouncedCall &) = delete;
    AnnouncedCall &operator=(AnnouncedCall &&) = delete;

    ~AnnouncedCall() { announceAcquire(this); }

    void operator()()
    {
        m_work();
        announceRelease(this);
    }

private:
    Work m_work;
};
} // namespace detail

// Runs work on the receiver's thread in a later turn; safe to call from any thread.
template<typename Work> void postCall(QObject *receiver, Work work)
{
    QMetaObject::invokeMethod(receiver, detail::AnnouncedCall<Work>(std::move(work)), Qt::QueuedConnection);
}

} // namespace velmora
