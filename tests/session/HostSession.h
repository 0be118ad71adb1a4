#pragma once

#include "SoundStreams.h"
#include "TestEnvironment.h"
#include "controls/BannerImageView.h"
#include "controls/ColoredView.h"
#include "facade/FacadeState.h"
#include "splash/SplashScreenController.h"
#include "splash/SplashScreenLabelsView.h"
#include "splash/TimeProgressView.h"
#include "splash/VideoPlayback.h"
#include "support/ManualClock.h"

#include <velmora/BannerController.h>
#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>
#include <velmora/SplashScreenPresenter.h>
#include <velmora/Timer.h>
#include <velmora/Velmora.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QPointer>
#include <QPropertyAnimation>
#include <QRandomGenerator>
#include <QStringList>
#include <QUrl>
#include <QWheelEvent>
#include <QWidget>
#include <QtTest>

#include <array>
#include <memory>

namespace velmora::test {

// A host window that is its own content, as a canvas host's is: it takes and counts the
// input that reaches it, so that input meant for an ad that falls through shows.
class HostCanvas : public QWidget {
public:
    int inputEvents = 0;

protected:
    bool event(QEvent *event) override
    {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::Wheel:
            ++inputEvents;
            event->accept();
            return true;
        default:
            return QWidget::event(event);
        }
    }
};

namespace {

using P = SplashScreenPresenter;

QString name(const QWidget *widget)
{
    const QString object = widget->objectName();
    return QString::fromLatin1(widget->metaObject()->className())
        + (object.isEmpty() ? QString() : QLatin1Char(' ') + object);
}

bool isFadingOut(const QWidget *widget)
{
    for (const QWidget *w = widget; w; w = w->parentWidget()) {
        for (const QPropertyAnimation *fade :
             w->findChildren<QPropertyAnimation *>(QString(), Qt::FindDirectChildrenOnly)) {
            if (fade->state() == QAbstractAnimation::Running && fade->endValue().toDouble() == 0.0)
                return true;
        }
    }
    return false;
}

} // namespace

// One whole host session in this process: the real facade, presenter, controllers and
// banners over real offscreen windows, on virtual time, with the real media backend. Each
// step is one line of text (a host operation or a passage of time); after every step the
// session checks what a host or its user could notice. A new session starts from scratch.
class HostSession {
public:
    HostSession()
    {
        Clock::install(&m_clock);
        FacadeState::reset();
        Velmora::resetAds();
        Velmora::setARCToWindows(false);
        m_other = std::make_unique<HostCanvas>();
        m_other->setWindowTitle(QStringLiteral("unregistered window"));
        m_other->resize(200, 150);
        m_other->show();
        m_listener = QObject::connect(NotificationCenter::defaultCenter(), &NotificationCenter::notificationPosted,
                                      [this](const QString &name, const QVariant &) { m_posted << name; });
    }

    ~HostSession()
    {
        QObject::disconnect(m_listener);
        FacadeState::reset();
        for (QPointer<HostCanvas> &window : m_windows)
            delete window.data();
        m_other.reset();
        Velmora::resetAds();
        Velmora::setARCToWindows(false);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
        Clock::install(nullptr);
    }

    // Steps for a seeded random session of `count` host operations.
    static QStringList randomSteps(quint32 seed, int count)
    {
        QRandomGenerator random(seed);
        const auto pick = [&random](const QStringList &from) {
            return from.isEmpty() ? QString::number(random.bounded(kWindows))
                                  : from.at(int(random.bounded(from.size())));
        };
        // Each kind of step: how often it comes, its word, and the values its arguments are drawn
        // from, last to first.
        struct Kind {
            int weight;
            const char *op;
            QList<QStringList> args;
        };
        const QStringList slot; // a window's number
        const QStringList elements { "close", "removeads", "removeadsvideo", "video",
                                     "sound", "banner",    "bannerclose",    "close" };
        const QList<Kind> kinds {
            { 18, "time", { { "0.1", "0.5", "1", "1.5", "2.5", "4", "7" } } },
            { 3, "media", { { "10", "40", "120" } } },
            { 6, "force", {} },
            { 4, "show", {} },
            { 3, "without", {} },
            { 1, "refresh", {} },
            { 4, "open", { slot } },
            { 5, "register", { slot } },
            { 2, "unregister", { slot } },
            { 1, "destroy", { slot } },
            { 1, "closewindow", { slot } },
            { 1, "arc", { { "0", "1" } } },
            { 8, "activate", { { "0", "1", "2", "3", "0", "1", "other", "none" } } },
            { 14, "click", { slot, elements } },
            { 3, "dclick", { slot, elements } },
            { 3, "wheel", { slot, elements } },
            { 2, "removeads", {} },
            { 2, "resetads", {} },
            { 2, "loadtime", { { "0", "1", "2", "5", "8", "16", "-1" } } },
            { 1, "waittime", { { "0", "1", "10", "120" } } },
            { 1, "delay", { { "0", "1", "30" } } },
            { 1, "hidebutton", { { "before", "after" }, { "0", "1" } } },
            { 1, "topinset", { { "0", "12.7", "40" } } },
            { 2, "resizable", { slot, { "0", "1" } } },
            { 2, "banner", { slot } },
            { 1, "video", { { "blink", "short", "long", "none" } } },
        };
        int total = 0;
        for (const Kind &kind : kinds)
            total += kind.weight;

        // Every session starts as a host would: a video, one window registered and key.
        QStringList steps { QStringLiteral("video ") + pick({ "blink", "short", "long" }), QStringLiteral("delay 0"),
                            QStringLiteral("open 0"), QStringLiteral("register 0") };
        while (steps.size() < count + 4) {
            int roll = int(random.bounded(total));
            const Kind *kind = kinds.constData();
            for (; roll >= kind->weight; ++kind)
                roll -= kind->weight;
            QStringList words(kind->args.size() + 1);
            words[0] = QLatin1String(kind->op);
            for (qsizetype i = kind->args.size(); i > 0; --i)
                words[i] = pick(kind->args[i - 1]);
            steps << words.join(QLatin1Char(' '));
        }
        // Once the ads are removed nothing of the framework may sound.
        steps << QStringLiteral("removeads") << QStringLiteral("audio");
        return steps;
    }

    // Runs one step and checks every invariant; returns the first broken one, or an empty
    // string. A step that does not parse is an error too.
    QString run(const QString &step)
    {
        const QStringList words = step.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (words.isEmpty())
            return QStringLiteral("empty step");
        m_posted.clear();
        m_clickSource = ClickSource::None;
        m_step = words.first();
        const QString error = perform(words);
        if (!error.isEmpty())
            return error;
        settle();
        const QString broken = check();
        // A soft show asked for while ready but without a key window starts at an activation.
        m_softShowPending = Velmora::SSPresenter()->isNeedShow();
        return broken;
    }

    HostSession(const HostSession &) = delete;
    HostSession &operator=(const HostSession &) = delete;

    int checks() const { return m_checks; }

private:
    static constexpr int kWindows = 4;

    enum class Sequence { Idle, WillShow, DidShow, VideoStarted, VideoStopped };
    enum class ClickSource { None, Splash, Banner };

    QString perform(const QStringList &words)
    {
        const auto is = [&words](const char *op) { return words.first() == QLatin1String(op); };
        const auto number = [&words](int i) { return words.value(i).toDouble(); };
        const int slot = qBound(0, words.value(1).toInt(), kWindows - 1);
        QWidget *window = windowAt(slot);

        if (is("time")) {
            advance(number(1));
        } else if (is("media")) {
            pumpRealTime(int(number(1)));
        } else if (is("audio")) {
            return checkAudioStreams();
        } else if (is("force")) {
            Velmora::forceShow();
        } else if (is("show")) {
            Velmora::show();
        } else if (is("without")) {
            Velmora::showWithouSplash();
        } else if (is("refresh")) {
            Velmora::refreshWaitAgain();
        } else if (is("open")) {
            openWindow(slot);
        } else if (is("register")) {
            if (window)
                Velmora::addSplashScreenToWindow(window);
        } else if (is("unregister")) {
            if (window)
                Velmora::removeSplashScreenFromWindow(window);
        } else if (is("destroy")) {
            delete window;
        } else if (is("closewindow")) {
            if (window)
                window->close();
        } else if (is("arc")) {
            Velmora::setARCToWindows(number(1) != 0);
        } else if (is("activate")) {
            QWidget *target = words.value(1) == QLatin1String("other") ? m_other.get() : window;
            if (words.value(1) == QLatin1String("none"))
                QApplication::setActiveWindow(nullptr);
            else if (target)
                activate(target);
        } else if (is("click") || is("dclick") || is("wheel")) {
            return input(words.first(), slot, words.value(2));
        } else if (is("removeads")) {
            Velmora::removeAdsNow();
            m_sequence = Sequence::Idle;
        } else if (is("resetads")) {
            Velmora::resetAds();
        } else if (is("loadtime")) {
            Velmora::setSplashScreenLoadTime(qint64(number(1)));
            if (m_sequence != Sequence::Idle) {
                const double load = double(Velmora::SSPresenter()->loadTime());
                m_closeDue = qMax(m_closeDue, load + 5);
                m_videoDue = qMin(m_videoDue, m_withoutSplash ? 0 : load);
            }
        } else if (is("waittime")) {
            Velmora::setSplashScreenWaitingVideoTimeSeconds(qint64(number(1)));
        } else if (is("delay")) {
            Velmora::setSplashScreenDelay(number(1));
        } else if (is("hidebutton")) {
            if (words.value(1) == QLatin1String("before"))
                Velmora::setSplashScreenHiddenButtonBeforeVideo(number(2) != 0);
            else
                Velmora::setSplashScreenHiddenButtonAfterVideo(number(2) != 0);
        } else if (is("topinset")) {
            Velmora::setSplashScreenTopInset(number(1));
        } else if (is("resizable")) {
            // The host changes its window's size policy only between showings, so that what a
            // close must restore is plain.
            if (window && !Velmora::SSPresenter()->isShow()) {
                m_resizable[size_t(slot)] = number(2) != 0;
                if (m_resizable[size_t(slot)]) {
                    window->setMinimumSize(160, 120);
                    window->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
                } else {
                    window->setFixedSize(window->size());
                }
            }
        } else if (is("banner")) {
            if (window)
                Velmora::addBannerForWindow(window);
        } else if (is("video")) {
            // blink: well under a second; short: under the five seconds to the close button;
            // long: longer than five seconds; all with sound. Any other word: none.
            const QString clip = QHash<QString, QString> {
                { QStringLiteral("blink"), QStringLiteral("tests/data/media/test-video-blink.mp4") },
                { QStringLiteral("short"), QStringLiteral("tests/data/media/test-video.mp4") },
                { QStringLiteral("long"), QStringLiteral("examples/sample-ads/media/video-cascade.mp4") },
            }.value(words.value(1));
            Velmora::setDefaultVideoURL(clip.isEmpty() ? QUrl()
                                                       : QUrl::fromLocalFile(TestEnvironment::sourcePath(clip)),
                                        QStringLiteral("id4242"));
        } else {
            return QStringLiteral("unknown step");
        }
        return {};
    }

    // A click, double click or wheel turn at the centre of one element of a window's splash
    // screen or banner, delivered to the window as the platform would, so that it lands on
    // whatever is on top there. The host puts nothing into its windows: whatever is under the
    // point is an ad's, and input aimed at it must not reach the host.
    QString input(const QString &op, int slot, const QString &which)
    {
        QWidget *window = windowAt(slot);
        QWidget *target = element(slot, which);
        if (!window || !target || !window->isVisible() || !window->windowHandle())
            return {};
        const QPoint point = target->mapTo(window, target->rect().center());
        QWidget *under = window->childAt(point);
        if (!under)
            return {};
        // Whatever is on top at that point takes the input, whichever element was aimed at.
        BannerController *banner = Velmora::isADSRemoved() ? nullptr : Velmora::BControllFromWindow(window);
        SplashScreenController *splash = controllerOf(slot);
        for (const QWidget *w = under; w; w = w->parentWidget()) {
            if (banner && w == banner->view())
                m_clickSource = ClickSource::Banner;
            else if (splash && w == splash->view())
                m_clickSource = ClickSource::Splash;
        }
        const int before = m_windows[size_t(slot)]->inputEvents;
        if (op == QLatin1String("click")) {
            QTest::mouseClick(window->windowHandle(), Qt::LeftButton, {}, point);
        } else if (op == QLatin1String("dclick")) {
            QTest::mouseDClick(window->windowHandle(), Qt::LeftButton, {}, point, 0);
        } else {
            const QPointF local = under->mapFrom(window, point);
            QWheelEvent wheel(local, window->mapToGlobal(point), QPoint(), QPoint(0, -120), Qt::NoButton, {},
                              Qt::NoScrollPhase, false);
            QApplication::sendEvent(under, &wheel);
        }
        // The click may have taken the window away.
        HostCanvas *canvas = m_windows[size_t(slot)];
        if (canvas && canvas->inputEvents != before)
            return QStringLiteral("input aimed at %1 reached the host's canvas").arg(name(under));
        return {};
    }

    void openWindow(int slot)
    {
        if (m_windows[size_t(slot)])
            return;
        // The window is its own content view, as in a canvas host: input that an ad lets
        // through goes to it.
        auto *window = new HostCanvas;
        window->setWindowTitle(QStringLiteral("host window %1").arg(slot));
        window->resize(480 + 40 * slot, 360);
        m_windows[size_t(slot)] = window;
        m_resizable[size_t(slot)] = true;
        window->show();
        activate(window);
    }

    static void activate(QWidget *window)
    {
        window->activateWindow();
        QApplication::setActiveWindow(window);
    }

    // Virtual time passes; the sequence's clock runs only while one of its windows is key (in
    // the presenter's own notion of focus: a window removed while key keeps it).
    void advance(double seconds)
    {
        P *presenter = Velmora::SSPresenter();
        const bool running = presenter->isShow() && presenter->isFocus() && !presenter->needsResumeSplashScreen();
        m_clock.advance(seconds);
        if (running)
            m_running += seconds;
    }

    // Real time for the media backend: the player decodes, plays and ends on the wall clock.
    void pumpRealTime(int milliseconds)
    {
        QElapsedTimer elapsed;
        elapsed.start();
        while (elapsed.elapsed() < milliseconds)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }

    // Deferred focus steps and deletions, as the next turns of the host's loop would run them.
    void settle()
    {
        for (int i = 0; i < 3; ++i) {
            QCoreApplication::processEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
    }

    QWidget *windowAt(int slot) const { return m_windows[size_t(qBound(0, slot, kWindows - 1))]; }

    SplashScreenController *controllerOf(int slot) const
    {
        QWidget *window = windowAt(slot);
        return window
            ? dynamic_cast<SplashScreenController *>(Velmora::SSPresenter()->splashScreenControllerWithWindow(window))
            : nullptr;
    }

    QWidget *element(int slot, const QString &which) const
    {
        if (which.startsWith(QLatin1String("banner"))) {
            BannerController *banner = Velmora::isADSRemoved() ? nullptr : Velmora::BControllFromWindow(windowAt(slot));
            if (!banner)
                return nullptr;
            return which == QLatin1String("banner") ? static_cast<QWidget *>(banner->bannerImage())
                                                    : banner->closeButton();
        }
        SplashScreenController *controller = controllerOf(slot);
        if (!controller)
            return nullptr;
        // Any other word: the link under the video.
        return QHash<QString, QAbstractButton *> {
            { QStringLiteral("close"), controller->closeButton() },
            { QStringLiteral("removeads"), controller->removeAdsButton() },
            { QStringLiteral("removeadsvideo"), controller->removeAdsImageButton() },
            { QStringLiteral("sound"), controller->soundButton() },
        }
            .value(which, controller->urlButton());
    }

    // Every controller the presenter can still address, also one whose window was removed.
    QList<SplashScreenController *> liveControllers() const
    {
        P *presenter = Velmora::SSPresenter();
        QList<SplashScreenController *> all;
        QList<P::Controller *> candidates = presenter->SSControllers();
        candidates << presenter->activeSplashScreenController() << presenter->splashScreenControllerWithVideo();
        for (P::Controller *candidate : candidates) {
            auto *controller = dynamic_cast<SplashScreenController *>(candidate);
            if (controller && !all.contains(controller))
                all << controller;
        }
        return all;
    }

    // What the sound server says: no stream of this process may be open and running.
    QString checkAudioStreams()
    {
        // The helper plays in a process of its own: it hears "stop" a moment after the host said
        // it, and has a second to fall silent.
        std::optional<int> running; // nothing without a sound server to ask
        const bool silent
            = QTest::qWaitFor([&running] { return (running = runningSoundStreams()).value_or(0) == 0; }, 1000);
        m_checks += running ? 1 : 0;
        if (silent)
            return {};
        int helpers = 0;
        for (SplashScreenController *controller : liveControllers())
            helpers += controller->playback()->process() ? 1 : 0;
        return QStringLiteral("%1 audio stream(s) of this process run (%2 video helpers alive)")
            .arg(*running)
            .arg(helpers);
    }

    QString check()
    {
        for (QString (HostSession::*invariant)() :
             { &HostSession::checkNotifications, &HostSession::checkTopLevels, &HostSession::checkPlayers,
               &HostSession::checkCloseButton, &HostSession::checkRemoved, &HostSession::checkResizable,
               &HostSession::checkRings }) {
            ++m_checks;
            const QString broken = (this->*invariant)();
            if (!broken.isEmpty())
                return broken;
        }
        return {};
    }

    // will show → did show [→ second start] → video start [→ video stop] → did close, each once
    // per sequence; clicks on a splash screen only while one is on screen.
    QString checkNotifications()
    {
        for (const QString &posted : std::as_const(m_posted)) {
            const QByteArray n = posted.toLatin1();
            const Sequence was = m_sequence;
            const bool inOrder = n == VLMsplashScreenWillShow ? was == Sequence::Idle
                : n == VLMsplashScreenDidShow                 ? was == Sequence::WillShow
                : n == VLMsplashScreenShowMoreOne             ? was == Sequence::DidShow && m_expectSecondStart
                : n == VLMadsVideoDidStart                    ? was == Sequence::DidShow && !m_expectSecondStart
                : n == VLMadsVideoDidStop                     ? was == Sequence::VideoStarted
                : n == VLMsplashScreenDidClose ? was == Sequence::VideoStarted || was == Sequence::VideoStopped
                                               : true;
            if (!inOrder)
                return QStringLiteral("\"%1\" out of order (sequence state %2)").arg(posted).arg(int(was));
            if (n == VLMsplashScreenWillShow) {
                m_sequence = Sequence::WillShow;
                ++m_sequencesStarted;
            } else if (n == VLMsplashScreenDidShow) {
                m_sequence = Sequence::DidShow;
                m_expectSecondStart = m_sequencesStarted >= 2;
                const bool forced = m_step == QLatin1String("force") || m_step == QLatin1String("without");
                if (!forced && !m_softShowPending && m_clock.now() < m_readyAt - 1e-6)
                    return QStringLiteral("a soft show started %1 s before the waiting period ended")
                        .arg(m_readyAt - m_clock.now());
                // Only an accepted request without the start screen skips it; a close ends that.
                if (m_step == QLatin1String("without"))
                    m_withoutSplash = true;
                const double load = double(Velmora::SSPresenter()->loadTime());
                m_running = 0;
                m_videoDue = m_withoutSplash ? 0 : load;
                m_closeDue = m_videoDue + 5;
            } else if (n == VLMsplashScreenShowMoreOne) {
                m_expectSecondStart = false;
            } else if (n == VLMadsVideoDidStart) {
                if (m_running < m_videoDue - 1e-6)
                    return QStringLiteral("the video started %1 s into the sequence, due at %2 s")
                        .arg(m_running)
                        .arg(m_videoDue);
                m_sequence = Sequence::VideoStarted;
            } else if (n == VLMadsVideoDidStop) {
                m_sequence = Sequence::VideoStopped;
            } else if (n == VLMsplashScreenDidClose) {
                m_sequence = Sequence::Idle;
                m_withoutSplash = false;
                m_readyAt = m_clock.now() + double(Velmora::SSPresenter()->waitTime());
            } else if (n == VLMclickForVideo || (n == VLMtryRemoveAds && m_clickSource == ClickSource::Splash)) {
                if (m_clickSource != ClickSource::Splash || m_sequence == Sequence::Idle)
                    return QStringLiteral("\"%1\" with no sequence on screen").arg(posted);
            } else if (n == VLMclickForBanner || n == VLMtryRemoveAds) {
                if (m_clickSource != ClickSource::Banner)
                    return QStringLiteral("\"%1\" without a click on a banner").arg(posted);
            }
        }
        if (m_expectSecondStart)
            return QStringLiteral("no second-start notification");
        if ((m_sequence == Sequence::Idle) == Velmora::SSPresenter()->isShow())
            return QStringLiteral("notifications say %1, the presenter says %2")
                .arg(m_sequence == Sequence::Idle ? "closed" : "on screen",
                     Velmora::SSPresenter()->isShow() ? "on screen" : "closed");
        return {};
    }

    // No ad ever opens a window of its own.
    QString checkTopLevels()
    {
        for (QWidget *top : QApplication::topLevelWidgets()) {
            if (top->isVisible() && !dynamic_cast<HostCanvas *>(top))
                return QStringLiteral("a top-level %1 is on screen").arg(name(top));
        }
        return {};
    }

    // At most one player plays: the video controller's, in the video states, while the
    // sequence runs.
    QString checkPlayers()
    {
        P *presenter = Velmora::SSPresenter();
        const qint64 state = presenter->stateSplashScreen();
        for (SplashScreenController *controller : liveControllers()) {
            const VideoPlayback::State playing = controller->playback()->state();
            if (playing != VideoPlayback::State::Loading && playing != VideoPlayback::State::Playing)
                continue;
            if (controller != presenter->splashScreenControllerWithVideo())
                return QStringLiteral("a player plays that is not the video controller's");
            if (!presenter->isShow() || presenter->needsResumeSplashScreen())
                return QStringLiteral("a player plays while no sequence runs");
            if (m_sequence == Sequence::VideoStopped)
                return QStringLiteral("a player plays after its video ended");
            if (state != P::SplashScreenStateVideo && state != P::SplashScreenStateVideoCloseButton)
                return QStringLiteral("a player plays in state %1").arg(state);
        }
        return {};
    }

    // A window covered by a running sequence gets its close button on time.
    QString checkCloseButton()
    {
        if (m_sequence == Sequence::Idle || m_running < m_closeDue + 1e-6)
            return {};
        for (P::Controller *registered : Velmora::SSPresenter()->SSControllers()) {
            auto *controller = dynamic_cast<SplashScreenController *>(registered);
            ColoredView *root = controller ? controller->view() : nullptr;
            if (!root || !root->isVisible() || SplashScreenController::isElementHidden(root))
                continue;
            if (SplashScreenController::isElementHidden(controller->closeButton()))
                return QStringLiteral("no close button %1 s into the sequence (due at %2 s)")
                    .arg(m_running)
                    .arg(m_closeDue);
        }
        return {};
    }

    // With ads removed nothing of the framework shows and no sequence timer waits.
    QString checkRemoved()
    {
        if (!Velmora::isADSRemoved())
            return {};
        P *presenter = Velmora::SSPresenter();
        for (const Timer *timer : { presenter->tickTimer(), presenter->videoTimer(), presenter->resumeTickTimer() }) {
            if (timer && timer->isValid())
                return QStringLiteral("a sequence timer is pending after the ads were removed");
        }
        for (const QPointer<HostCanvas> &window : m_windows) {
            if (!window)
                continue;
            for (QWidget *child : window->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly)) {
                if (child->isVisible() && !isFadingOut(child))
                    return QStringLiteral("%1 is on screen after the ads were removed").arg(name(child));
            }
        }
        return {};
    }

    // Between showings every window is as resizable as its host made it.
    QString checkResizable()
    {
        const bool showing = Velmora::SSPresenter()->isShow();
        for (int slot = 0; slot < kWindows; ++slot) {
            QWidget *window = windowAt(slot);
            if (!window || (showing && controllerOf(slot)))
                continue;
            if (SplashScreenController::isResizable(window) != m_resizable[size_t(slot)])
                return QStringLiteral("window %1 is %2 resizable between showings")
                    .arg(slot)
                    .arg(m_resizable[size_t(slot)] ? "not" : "");
        }
        return {};
    }

    // A countdown ring moves with its ticks only: painting it again changes nothing.
    QString checkRings()
    {
        for (SplashScreenController *controller : liveControllers()) {
            for (TimeProgressView *ring :
                 { controller->lablesView()->timeProgressView(), controller->videoProgressView() }) {
                if (!ring->isVisible())
                    continue;
                const qint64 before = ring->val1();
                ring->repaint();
                if (ring->val1() != before)
                    return QStringLiteral("a paint moved the ring from %1 to %2").arg(before).arg(ring->val1());
                if (before < 0 || before > 100)
                    return QStringLiteral("the ring stands at %1 %").arg(before);
            }
        }
        return {};
    }

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
    QString m_step; // the word of the step that runs
    bool m_softShowPending = false;
    int m_checks = 0;
};

} // namespace velmora::test
