#include "support/SystemClock.h"

#include <velmora/Timer.h>

#include <QTimer>

#include <algorithm>
#include <cmath>

namespace velmora {

SystemClock::SystemClock(double longestLeg)
    : m_longestLeg(longestLeg)
{
    m_elapsed.start();
}

double SystemClock::now() const
{
    return double(m_elapsed.nsecsElapsed()) / 1e9 + m_skipped.load();
}

void SystemClock::skip(double seconds)
{
    m_skipped = m_skipped.load() + seconds;
}

void SystemClock::arm(Timer *timer, double fireDate)
{
    auto *qtimer = timer->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    if (!qtimer) {
        qtimer = new QTimer(timer);
        qtimer->setSingleShot(true);
        qtimer->setTimerType(Qt::PreciseTimer);
        QObject::connect(qtimer, &QTimer::timeout, timer, [this, timer] {
            // The end of a leg short of the fire date only starts the next leg.
            if (timer->fireDate() - now() > 0.001)
                arm(timer, timer->fireDate());
            else
                Clock::fire(timer);
        });
    }
    const double delay = std::clamp(fireDate - now(), 0.0, m_longestLeg);
    qtimer->start(int(std::ceil(delay * 1000.0)));
}

void SystemClock::disarm(Timer *timer)
{
    if (auto *qtimer = timer->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly))
        qtimer->stop();
}

} // namespace velmora
