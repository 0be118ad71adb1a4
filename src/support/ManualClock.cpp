#include "support/ManualClock.h"

#include <velmora/Timer.h>

#include <algorithm>

namespace velmora {

ManualClock::ManualClock(double start)
    : m_now(start)
{
}

ManualClock::~ManualClock()
{
    const auto entries = std::move(m_entries);
    for (const Entry &entry : entries) {
        if (entry.timer)
            forget(entry.timer);
    }
}

double ManualClock::now() const
{
    return m_now;
}

void ManualClock::advance(double seconds)
{
    const double target = m_now + std::max(0.0, seconds);
    while (fireNextDue(target)) { }
}

bool ManualClock::fireNextDue(double until)
{
    auto next = std::min_element(m_entries.begin(), m_entries.end(), [](const Entry &a, const Entry &b) {
        return a.fireDate < b.fireDate || (a.fireDate == b.fireDate && a.order < b.order);
    });
    if (next == m_entries.end() || next->fireDate > until) {
        m_now = std::max(m_now, until);
        return false;
    }
    const QPointer<Timer> timer = next->timer;
    m_now = std::max(m_now, next->fireDate);
    m_entries.erase(next);
    if (timer)
        fire(timer);
    return true;
}

int ManualClock::pendingTimers() const
{
    return int(std::count_if(m_entries.begin(), m_entries.end(), [](const Entry &e) { return !e.timer.isNull(); }));
}

void ManualClock::arm(Timer *timer, double fireDate)
{
    disarm(timer);
    m_entries.push_back({ fireDate, m_order++, timer });
}

void ManualClock::disarm(Timer *timer)
{
    std::erase_if(m_entries, [timer](const Entry &e) { return e.timer == timer || e.timer.isNull(); });
}

} // namespace velmora
