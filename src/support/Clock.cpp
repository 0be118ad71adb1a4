#include "support/Clock.h"

#include "support/SystemClock.h"

#include <velmora/Timer.h>

#include <atomic>

namespace velmora {

namespace {
std::atomic<Clock *> installedClock { nullptr };

Clock &systemClock()
{
    static SystemClock clock;
    return clock;
}
} // namespace

Clock::~Clock() = default;

Clock &Clock::current()
{
    Clock *clock = installedClock.load();
    return clock ? *clock : systemClock();
}

void Clock::install(Clock *clock)
{
    installedClock.store(clock);
}

void Clock::fire(Timer *timer)
{
    timer->due();
}

void Clock::forget(Timer *timer)
{
    timer->m_clock = nullptr;
    timer->invalidate();
}

} // namespace velmora
