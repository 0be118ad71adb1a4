#include <velmora/Timer.h>

#include "support/Clock.h"

#include <QPointer>

namespace velmora {

Timer *Timer::scheduled(double interval, bool repeats, QObject *context, Action action)
{
    return new Timer(interval, repeats, context, std::move(action));
}

Timer::Timer(double interval, bool repeats, QObject *context, Action action)
    : QObject(context)
    , m_clock(&Clock::current())
    , m_action(std::move(action))
    // A run-loop timer treats a non-positive interval as the smallest one it has.
    , m_interval(interval > 0 ? interval : 0.0001)
    , m_repeats(repeats)
{
    m_fireDate = m_clock->now() + m_interval;
    m_clock->arm(this, m_fireDate);
}

Timer::~Timer()
{
    if (m_clock && m_valid)
        m_clock->disarm(this);
}

void Timer::invalidate()
{
    if (!m_valid)
        return;
    m_valid = false;
    if (m_clock)
        m_clock->disarm(this);
    deleteLater();
}

bool Timer::isValid() const
{
    return m_valid;
}

bool Timer::repeats() const
{
    return m_repeats;
}

double Timer::timeInterval() const
{
    return m_interval;
}

double Timer::fireDate() const
{
    return m_fireDate;
}

bool Timer::isGodTimer() const
{
    return m_godTimer;
}

void Timer::markGodTimer()
{
    m_godTimer = true;
}

void Timer::due()
{
    if (!m_valid || !m_clock)
        return;
    if (m_repeats) {
        // Keep to the original grid; firings missed while the loop was busy are skipped.
        const double now = m_clock->now();
        do
            m_fireDate += m_interval;
        while (m_fireDate <= now);
        m_clock->arm(this, m_fireDate);
    } else {
        m_valid = false;
    }
    const QPointer<Timer> self(this);
    if (m_action)
        m_action();
    if (self && !m_repeats)
        deleteLater();
}

} // namespace velmora
