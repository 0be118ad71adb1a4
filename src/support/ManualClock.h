#pragma once

#include "support/Clock.h"

#include <QPointer>

#include <vector>

namespace velmora {

// Virtual time for tests: nothing fires until advance(), which fires every due timer at
// its own instant, in order, including timers scheduled by the ones that fire.
class VELMORA_EXPORT ManualClock final : public Clock {
public:
    explicit ManualClock(double start = 1000.0);
    ~ManualClock() override;

    double now() const override;
    void advance(double seconds);
    // Fires the earliest timer due at or before `until` (absolute) alone, moving the time to
    // its instant, and returns true; with none due, moves the time to `until`. A host's loop
    // driven by this runs each timer in a turn of its own, as the system clock does.
    bool fireNextDue(double until);
    // Number of armed timers that are still alive.
    int pendingTimers() const;

protected:
    void arm(Timer *timer, double fireDate) override;
    void disarm(Timer *timer) override;

private:
    struct Entry {
        double fireDate;
        unsigned long long order;
        QPointer<Timer> timer;
    };
    std::vector<Entry> m_entries;
    double m_now;
    unsigned long long m_order = 0;
};

} // namespace velmora
