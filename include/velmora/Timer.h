#pragma once

#include <velmora/velmora_export.h>

#include <QObject>

#include <functional>

namespace velmora {

class Clock;

// A timer on the framework's clock. Like a run-loop timer it keeps itself alive while it
// is valid: dropping the last pointer to it does not stop it. A one-shot timer ends after
// it fired, any timer ends on invalidate() or with its context object.
class VELMORA_EXPORT Timer : public QObject {
    Q_OBJECT

public:
    using Action = std::function<void()>;

    // Creates a timer that fires `action` `interval` seconds from now (and every `interval`
    // seconds after that when `repeats`), and starts it on the current clock.
    static Timer *scheduled(double interval, bool repeats, QObject *context, Action action);

    ~Timer() override;

    void invalidate();
    bool isValid() const;
    bool repeats() const;
    double timeInterval() const;
    // Clock time (seconds) of the next firing.
    double fireDate() const;
    // True once the timer was registered with setGodTimer.
    bool isGodTimer() const;

private:
    Timer(double interval, bool repeats, QObject *context, Action action);
    void due();
    void markGodTimer();

    friend class Clock;
    friend VELMORA_EXPORT void setGodTimer(Timer *timer);

    Clock *m_clock = nullptr;
    Action m_action;
    double m_interval = 0;
    double m_fireDate = 0;
    bool m_repeats = false;
    bool m_valid = true;
    bool m_godTimer = false;
};

} // namespace velmora
