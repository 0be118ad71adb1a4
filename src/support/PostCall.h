#pragma once

#include "support/Handover.h"

#include <QMetaObject>
#include <QObject>

#include <type_traits>
#include <utility>

namespace velmora {

namespace detail {
// Qt posts a call through futexes and reference counts in a build without ThreadSanitizer, so
// nothing it does orders the poster's writes before the receiver's run, nor the receiver's
// run before the poster's destruction of the call when the poster drops the last reference.
// The call announces both itself: its move into Qt's slot object, the last write the poster
// makes, is released at the address the receiver runs it from.
template<typename Work> class AnnouncedCall {
public:
    explicit AnnouncedCall(Work work)
        : m_work(std::move(work))
    {
    }
    AnnouncedCall(AnnouncedCall &&other) noexcept(std::is_nothrow_move_constructible_v<Work>)
        : m_work(std::move(other.m_work))
    {
        announceRelease(this);
    }
    AnnouncedCall(const AnnouncedCall &) = delete;
    AnnouncedCall &operator=(const AnnouncedCall &) = delete;
    AnnouncedCall &operator=(AnnouncedCall &&) = delete;

    ~AnnouncedCall() { announceAcquire(this); }

    void operator()()
    {
        announceAcquire(this);
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
