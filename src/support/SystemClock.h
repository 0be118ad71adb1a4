#pragma once

#include "support/Clock.h"

#include <QElapsedTimer>

#include <atomic>

namespace velmora {

// Monotonic time and precise QTimers: a one-second tick must not drift by the 5 % slack
// of Qt's coarse timers.
class VELMORA_EXPORT SystemClock final : public Clock {
public:
    // A QTimer counts in an int of milliseconds (24.8 days); a longer wait is slept in
    // legs of at most `longestLeg` seconds, each looking again at how much is left.
    explicit SystemClock(double longestLeg = 3600.0);
    double now() const override;

    // Moves this clock's time forward, as a suspended machine does on waking; lets a test
    // see a wait of years end without living through it.
    void skip(double seconds);

protected:
    void arm(Timer *timer, double fireDate) override;
    void disarm(Timer *timer) override;

private:
    QElapsedTimer m_elapsed;
    const double m_longestLeg;
    std::atomic<double> m_skipped { 0.0 };
};

} // namespace velmora
