#pragma once

#include "HostCanvas.h"
#include "support/ManualClock.h"

#include <QPointer>
#include <QStringList>
#include <QUrl>
#include <QWidget>

#include <array>
#include <memory>

namespace velmora {
class SplashScreenController;
}

namespace velmora::test {

// One whole host session in this process: the real facade, presenter, controllers and
// banners over real offscreen windows, on virtual time, with the real media backend. Each
// step is one line of text (a host operation or a passage of time); after every step the
// session checks what a host or its user could notice. A new session starts from scratch.
class HostSession {
public:
    struct Clips {
        QUrl blink; // well under a second, with sound
        QUrl shortClip; // under the five seconds to the close button, with sound
        QUrl longClip; // longer than five seconds, with sound
    };

    explicit HostSession(const Clips &clips);
    ~HostSession();
    HostSession(const HostSession &) = delete;
    HostSession &operator=(const HostSession &) = delete;

    // Runs one step and checks every invariant; returns the first broken one, or an empty
    // string. A step that does not parse is an error too.
    QString run(const QString &step);
    int checks() const { return m_checks; }

    // Steps for a seeded random session of `count` host operations.
    static QStringList randomSteps(quint32 seed, int count);

private:
    static constexpr int kWindows = 4;

    enum class Sequence { Idle, WillShow, DidShow, VideoStarted, VideoStopped };
    enum class ClickSource { None, Splash, Banner };

    QString perform(const QStringList &words);
    QString input(const QStringList &words);
    QString check();
    QString checkNotifications();
    QString checkTopLevels();
    QString checkPlayers();
    QString checkCloseButton();
    QString checkRemoved();
    QString checkResizable();
    QString checkRings();
    QString checkAudioStreams();
    void settle();
    void advance(double seconds);
    void pumpRealTime(int milliseconds);
    void openWindow(int slot);
    QWidget *windowAt(int slot) const;
    SplashScreenController *controllerOf(int slot) const;
    QList<SplashScreenController *> liveControllers() const;
    bool sequenceHasFocus() const;
    QWidget *element(int slot, const QString &name) const;

    Clips m_clips;
    ManualClock m_clock;
    // Each host window is its own content view, as in a canvas host.
    std::array<QPointer<HostCanvas>, kWindows> m_windows;
    std::array<bool, kWindows> m_resizable {};
    std::unique_ptr<QWidget> m_other;

    QStringList m_posted;
    QMetaObject::Connection m_listener;
    ClickSource m_clickSource = ClickSource::None;
    Sequence m_sequence = Sequence::Idle;
    int m_sequencesStarted = 0;
    bool m_expectSecondStart = false;
    // Running seconds of the sequence on screen, and when its close button is due.
    double m_running = 0;
    double m_videoDue = 0;
    double m_closeDue = 0;
    // Virtual time before which a soft show must not start a sequence.
    double m_readyAt = 0;
    bool m_withoutSplash = false;
    bool m_forcedStep = false;
    bool m_withoutStep = false;
    bool m_softShowPending = false;
    int m_checks = 0;
};

} // namespace velmora::test
