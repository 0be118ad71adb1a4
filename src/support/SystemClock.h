#pragma once

#include "support/Clock.h"

#include <QElapsedTimer>

namespace velmora {

// Monotonic time and precise QTimers: a one-second tick must not drift by the 5 % slack
// of Qt's coarse timers.
class VELMORA_EXPORT SystemClock final : public Clock {
public:
    SystemClock();
    double now() const override;

protected:
    void arm(Timer *timer, double fireDate) override;
    void disarm(Timer *timer) override;

private:
    QElapsedTimer m_elapsed;
};

} // namespace velmora
