#include "support/SystemClock.h"

#include <velmora/Timer.h>

#include <QTimer>

#include <cmath>

namespace velmora {

SystemClock::SystemClock()
{
    m_elapsed.start();
}

double SystemClock::now() const
{
    return double(m_elapsed.nsecsElapsed()) / 1e9;
}

void SystemClock::arm(Timer *timer, double fireDate)
{
    auto *qtimer = timer->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    if (!qtimer) {
        qtimer = new QTimer(timer);
        qtimer->setSingleShot(true);
        qtimer->setTimerType(Qt::PreciseTimer);
        QObject::connect(qtimer, &QTimer::timeout, timer, [timer] { Clock::fire(timer); });
    }
    const double delay = std::max(0.0, fireDate - now());
    qtimer->start(int(std::ceil(delay * 1000.0)));
}

void SystemClock::disarm(Timer *timer)
{
    if (auto *qtimer = timer->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly))
        qtimer->stop();
}

} // namespace velmora
