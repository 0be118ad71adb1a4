#pragma once

#include <velmora/velmora_export.h>

namespace velmora {

class Timer;

// Where "now" comes from and what makes timers fire. Production runs on SystemClock;
// tests install a ManualClock and advance virtual time.
class VELMORA_EXPORT Clock {
public:
    virtual ~Clock();

    // Seconds since an arbitrary, fixed origin.
    virtual double now() const = 0;

    static Clock &current();
    // Installs `clock` (not owned) for every timer scheduled from now on; nullptr restores
    // the system clock. Timers already armed stay on the clock that armed them.
    static void install(Clock *clock);

protected:
    friend class Timer;
    virtual void arm(Timer *timer, double fireDate) = 0;
    virtual void disarm(Timer *timer) = 0;
    static void fire(Timer *timer);
    // Invalidates a timer whose clock goes away.
    static void forget(Timer *timer);
};

} // namespace velmora
