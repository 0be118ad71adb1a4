#include <velmora/SplashScreenPresenter.h>

#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>
#include <velmora/Support.h>
#include <velmora/Timer.h>

#include "content/AdsDownloader.h"
#include "content/AdsEventLogger.h"
#include "splash/MediaDuration.h"
#include "splash/SplashScreenController.h"
#include "splash/SplashScreenControllerProtocolInput.h"
#include "splash/SplashScreenControllerProtocolOutput.h"
#include "support/Clock.h"
#include "support/PoolTask.h"
#include "support/PostCall.h"
#include "support/Switches.h"

#include <QApplication>
#include <QColor>
#include <QDesktopServices>
#include <QEvent>
#include <QImage>
#include <QPointer>
#include <QThreadPool>
#include <QWidget>

#include <algorithm>
#include <cmath>
#include <vector>

namespace velmora {

namespace {

using Controller = SplashScreenPresenter::Controller;
using ControllerRef = std::shared_ptr<Controller>;

const QString kTopInset = QStringLiteral("topInset");
const QString kIcon = QStringLiteral("icon");
const QString kTextColor = QStringLiteral("textColor");
const QString kBackgroundColor = QStringLiteral("backgroundColor");
const QString kBackgroundImage = QStringLiteral("backgroundImage");
// Spelt without the r: hosts and the facade use this exact key.
const QString kBackgoundImageScaling = QStringLiteral("backgoundImageScaling");
const QString kHiddenButtonAfterVideo = QStringLiteral("hiddenButtonAfterVideo");
const QString kHiddenButtonBeforeVideo = QStringLiteral("hiddenButtonBeforeVideo");
const QString kTimerTextColor = QStringLiteral("timerTextColor");
const QString kTimerBackgroundColor = QStringLiteral("timerBackgroundColor");
const QString kTimerBorderColor = QStringLiteral("timerBorderColor");
const QString kTimerProgressColor = QStringLiteral("timerProgressColor");
const QString kTimerBorderWidth = QStringLiteral("timerBorderWidth");
const QString kTimerProgressWidth = QStringLiteral("timerProgressWidth");
const QString kHiddenIcon = QStringLiteral("hiddenIcon");
const QString kHiddenIconAfterVideo = QStringLiteral("hiddenIconAfterVideo");
const QString kHiddenIconBeforeVideo = QStringLiteral("hiddenIconBeforeVideo");
const QString kHiddenBackgroundImage = QStringLiteral("hiddenBackgroundImage");
const QString kHiddenBackgroundImageAfterVideo = QStringLiteral("hiddenBackgroundImageAfterVideo");
const QString kHiddenBackgroundImageBeforeVideo = QStringLiteral("hiddenBackgroundImageBeforeVideo");

const QString kAppNameKey = QStringLiteral("VLMAppName");
// What a missing file name leaves in a downloaded video's path.
const QString kNullPathMark = QStringLiteral("/(null)");

constexpr qint64 kVideoSeconds = 5;

QVariantMap defaultOptions()
{
    const QColor white = QColor::fromRgbF(1.0, 1.0, 1.0, 1.0);
    const QColor black = QColor::fromRgbF(0.0, 0.0, 0.0, 1.0);
    const QColor gray = QColor::fromRgbF(0.5, 0.5, 0.5, 1.0);
    const QColor darkGray = QColor::fromRgbF(1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0, 1.0);
    return {
        { kTopInset, qint64(0) },
        { kTextColor, black },
        { kBackgroundColor, white },
        { kBackgoundImageScaling, 0u },
        { kHiddenButtonAfterVideo, false },
        { kHiddenButtonBeforeVideo, false },
        { kTimerTextColor, black },
        { kTimerBackgroundColor, white },
        { kTimerBorderColor, gray },
        { kTimerProgressColor, darkGray },
        { kTimerBorderWidth, qint64(2) },
        { kTimerProgressWidth, qint64(4) },
        { kHiddenIcon, false },
        { kHiddenIconAfterVideo, false },
        { kHiddenIconBeforeVideo, false },
        { kHiddenBackgroundImage, false },
        { kHiddenBackgroundImageAfterVideo, false },
        { kHiddenBackgroundImageBeforeVideo, false },
    };
}

// An option read as an integer: a stored fraction is truncated toward zero (QVariant's own
// conversion would round it).
qint64 integerOption(const QVariant &value)
{
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float)
        return qint64(std::trunc(value.toDouble()));
    return value.toLongLong();
}

// An option read as a single-precision float, as the ring's widths are kept.
double floatOption(const QVariant &value)
{
    return double(float(value.toDouble()));
}

std::unique_ptr<Controller> makeSplashScreenController(QWidget *window, bool unity)
{
    return SplashScreenController::initSplashScreenWithWindow(window, unity);
}

void post(const char *name, const QVariant &object = QVariant())
{
    NotificationCenter::defaultCenter()->post(QString::fromLatin1(name), object);
}

void invalidate(const QPointer<Timer> &timer)
{
    if (timer && timer->isValid())
        timer->invalidate();
}

} // namespace

// The controllers' output: forwards what they report to the presenter.
class SplashScreenPresenter::Private final : public SplashScreenControllerProtocolOutput {
public:
    struct Registration {
        ControllerRef controller;
        QPointer<QWidget> window;
        // The window's address, for finding the registration of a window being destroyed
        // without touching it.
        const QObject *key = nullptr;
    };

    explicit Private(SplashScreenPresenter *presenter, ControllerFactory makeController)
        : q(presenter)
        , factory(std::move(makeController))
    {
    }

    void didClickOnVideo() override { q->didClickOnVideo(); }
    void didChangeMuted(bool value) override { q->didChangeMuted(value); }
    void didClickRemoveAds() override { q->didClickRemoveAds(); }
    void didClickClose() override { q->didClickClose(); }
    void didVideoEnded() override { q->didVideoEnded(); }

    // Every controller in registration order; a copy, so a call may change the list.
    std::vector<ControllerRef> controllers() const
    {
        std::vector<ControllerRef> all;
        all.reserve(registrations.size());
        for (const Registration &registration : registrations)
            all.push_back(registration.controller);
        return all;
    }

    template<typename Call> void forEachController(Call call) const
    {
        for (const ControllerRef &controller : controllers())
            call(*controller);
    }

    ControllerRef controllerWithWindow(const QObject *window) const
    {
        if (!window)
            return nullptr;
        for (const Registration &registration : registrations) {
            if (registration.key == window)
                return registration.controller;
        }
        return nullptr;
    }

    Timer *schedule(double seconds, bool repeats, void (SplashScreenPresenter::*action)())
    {
        SplashScreenPresenter *presenter = q;
        Timer *timer = Timer::scheduled(seconds, repeats, q, [presenter, action] { (presenter->*action)(); });
        setGodTimer(timer);
        return timer;
    }

    // Runs `step` on a later turn of the main loop, after the events being handled now.
    template<typename Step> void later(Step step) { QMetaObject::invokeMethod(q, step, Qt::QueuedConnection); }

    void startSequence(qint64 total, double secondsToVideo);
    // Running seconds from the start of the sequence to its video.
    qint64 videoStart() const { return withoutSplash ? 0 : loadTime; }
    void chooseVideo();
    bool canPlayVideo() const;
    // The file a sequence plays when the downloader holds `downloaded`.
    QUrl playable(const QUrl &downloaded) const
    {
        return downloaded.isEmpty() || downloaded.path().contains(kNullPathMark) ? defaultVideoUrl : downloaded;
    }
    void showEndScreens();
    void removeRegistration(const QObject *window);

    SplashScreenPresenter *const q;
    const ControllerFactory factory;
    AdsDownloader *downloader = nullptr;

    bool show = false;
    bool withoutSplash = false;
    bool focus = false;
    bool needsResumeSplashScreen = false;
    bool showVideo = false;
    bool showEnd = false;
    bool waitTimeLeft = false;
    bool muted = false;
    bool needShow = false;

    qint64 delayForFirstStart = 0;
    qint64 waitTime = 120;
    qint64 loadTime = 5;
    qint64 splashScreenStandartDuration = loadTime + kVideoSeconds;
    qint64 passedTime = 0;
    qint64 splashScreenStartCount = 0;
    qint64 stateSplashScreen = SplashScreenStateStart;
    qint64 videoDuration = 0;

    double startTimerDate = 0;
    double timeDuration = 0;
    // Whether this sequence's close button came: a video that ends first leaves it due.
    bool closeButtonShown = false;

    // One-shot timers delete themselves after firing, so a fired timer reads as none.
    QPointer<Timer> firstStartTimer;
    QPointer<Timer> prepareTimer;
    QPointer<Timer> tickTimer;
    QPointer<Timer> resumeTickTimer;
    QPointer<Timer> videoTimer;

    std::vector<Registration> registrations;
    // Both keep their controller alive after its window was removed, as the sequence may
    // still address it.
    ControllerRef activeSplashScreenController;
    ControllerRef splashScreenControllerWithVideo;

    QVariantMap splashScreenOptions = defaultOptions();

    QUrl defaultVideoUrl;
    QUrl defaultLinkFromVideoUrl;
    QString defaultVideoName;
    QUrl videoUrl;
    QUrl interstitialVideoUrl;
    QUrl linkFromVideoUrl;
    QVariantMap videoInfo;
};

// ---- Construction ---------------------------------------------------------------------

SplashScreenPresenter::SplashScreenPresenter()
    : SplashScreenPresenter(&makeSplashScreenController)
{
}

SplashScreenPresenter::SplashScreenPresenter(ControllerFactory factory)
    : d(std::make_unique<Private>(this, factory ? std::move(factory) : ControllerFactory(&makeSplashScreenController)))
{
    d->downloader = AdsDownloader::sharedInstance();
    // Made at start-up so a tracking queue saved by an earlier run is loaded.
    AdsEventLogger::sharedInstance();
}

SplashScreenPresenter::~SplashScreenPresenter()
{
    // Controllers may outlive this call briefly while members are torn down.
    for (const ControllerRef &controller : d->controllers())
        controller->setOutput(nullptr);
    for (const ControllerRef &controller : { d->activeSplashScreenController, d->splashScreenControllerWithVideo }) {
        if (controller)
            controller->setOutput(nullptr);
    }
}

// ---- Show control ---------------------------------------------------------------------

void SplashScreenPresenter::showSplashScreens()
{
    if (d->show || !d->waitTimeLeft)
        return;
    if (d->activeSplashScreenController)
        forceShowSplashScreens();
    else
        d->needShow = true;
}

void SplashScreenPresenter::needForceShowSplashScreens()
{
    // Cancelled before the guards are tested; the fields keep the dead timers.
    invalidate(d->firstStartTimer);
    invalidate(d->prepareTimer);
    if (d->withoutSplash)
        forceShowVideoWithoutSplash();
    else
        forceShowSplashScreens();
}

void SplashScreenPresenter::forceShowSplashScreens()
{
    d->startSequence(d->loadTime + kVideoSeconds, double(d->loadTime));
}

void SplashScreenPresenter::forceShowVideoWithoutSplash()
{
    // The video starts on the next turn of the main loop.
    d->startSequence(kVideoSeconds, 0.0);
}

void SplashScreenPresenter::Private::startSequence(qint64 total, double secondsToVideo)
{
    if (Switches::isADSRemoved() || show || !focus || registrations.empty())
        return;
    ++splashScreenStartCount;
    post(VLMsplashScreenWillShow);
    needShow = false;
    waitTimeLeft = false;
    show = true;
    // The active controller may belong to a window removed since it became key; its view is
    // out of every window, and showing it would open a window of its own.
    const bool activeRegistered
        = std::any_of(registrations.begin(), registrations.end(),
                      [this](const Registration &r) { return r.controller == activeSplashScreenController; });
    splashScreenControllerWithVideo
        = activeRegistered ? activeSplashScreenController : registrations.front().controller;
    closeButtonShown = false;
    startTimerDate = Clock::current().now();
    timeDuration = 0;
    passedTime = 0;
    q->startWaitVideoTimer(secondsToVideo);
    q->startTickTimer();
    q->updateTimerText();
    forEachController([total](Controller &controller) {
        controller.startTimerViewFromSec(0, int(total));
        controller.showStartScreen();
    });
    // The helper started ahead opens the video this sequence will most likely play: the one
    // the downloader holds now, unless a download finishes before the video phase.
    if (splashScreenControllerWithVideo)
        splashScreenControllerWithVideo->prepareVideo(playable(downloader->currentVideoURL()));
    stateSplashScreen = SplashScreenStateStart;
    post(VLMsplashScreenDidShow);
    if (splashScreenStartCount >= 2)
        post(VLMsplashScreenShowMoreOne);
}

void SplashScreenPresenter::hideSplashScreens()
{
    d->show = false;
    d->needShow = false;
    stopTickTimer();
    d->splashScreenControllerWithVideo.reset();
    d->forEachController([](Controller &controller) { controller.hide(); });
    startWaitTimer();
}

void SplashScreenPresenter::refreshWaitAgain()
{
    invalidate(d->prepareTimer);
    d->prepareTimer = nullptr;
    d->waitTimeLeft = false;
    startWaitTimer();
}

bool SplashScreenPresenter::isAdsReady() const
{
    return d->waitTimeLeft;
}

void SplashScreenPresenter::starDownLoad()
{
    d->downloader->downloadVideo();
}

void SplashScreenPresenter::pauseSplashScreens()
{
    d->needsResumeSplashScreen = true;
    d->timeDuration += Clock::current().now() - d->startTimerDate;
    if (d->show) {
        stopWaitVideoTimer();
        stopTickTimer();
        invalidate(d->resumeTickTimer);
        d->forEachController([](Controller &controller) { controller.pauseShow(); });
    }
    if (d->splashScreenControllerWithVideo)
        d->splashScreenControllerWithVideo->pauseShowVideo();
    d->activeSplashScreenController.reset();
}

void SplashScreenPresenter::resumeSplashScreen()
{
    d->needsResumeSplashScreen = false;
    if (Switches::isADSRemoved())
        return;
    if (d->show) {
        const qint64 state = d->stateSplashScreen;
        if (state < SplashScreenStateVideoCloseButton) {
            // The next tick falls on a whole running second; resumeTimer makes up the
            // tick the pause interrupted.
            d->startTimerDate = Clock::current().now();
            const double toNextTick = std::ceil(d->timeDuration) - d->timeDuration;
            invalidate(d->resumeTickTimer);
            d->resumeTickTimer = d->schedule(toNextTick, false, &SplashScreenPresenter::resumeTimer);
        }
        // Without the start screen the video is due at once, also after a pause.
        const double closeButtonDue = double(d->videoStart() + kVideoSeconds);
        if (state == SplashScreenStateStart)
            startWaitVideoTimer(double(d->videoStart()) - d->timeDuration);
        else if (state == SplashScreenStateVideo)
            startVideoTimerWithTime(closeButtonDue - d->timeDuration);
        else if (state == SplashScreenStateVideoCloseButton)
            d->forEachController([](Controller &controller) { controller.continueShowVideo(); });
        else if (state == SplashScreenStateEnd && !d->closeButtonShown) {
            // The video ended before its close button, and the pause cancelled the timer
            // that would show it: without this the window stays covered with no way out.
            d->startTimerDate = Clock::current().now();
            d->videoTimer
                = d->schedule(closeButtonDue - d->timeDuration, false, &SplashScreenPresenter::showCloseButton);
        }
    }
    if (d->needShow)
        forceShowSplashScreens();
}

// ---- Timers and countdown ----------------------------------------------------------------

void SplashScreenPresenter::startWaitTimer()
{
    d->prepareTimer = d->schedule(double(d->waitTime), false, &SplashScreenPresenter::endWaitTimer);
}

void SplashScreenPresenter::endWaitTimer()
{
    invalidate(d->prepareTimer);
    d->prepareTimer = nullptr;
    d->waitTimeLeft = true;
}

void SplashScreenPresenter::startTickTimer()
{
    d->tickTimer = d->schedule(1.0, true, &SplashScreenPresenter::tick);
}

void SplashScreenPresenter::stopTickTimer()
{
    invalidate(d->tickTimer);
    d->tickTimer = nullptr;
}

void SplashScreenPresenter::tick()
{
    ++d->passedTime;
    updateTimerText();
    updateVideoTimerText();
}

void SplashScreenPresenter::resumeTimer()
{
    tick();
    d->tickTimer = d->schedule(1.0, true, &SplashScreenPresenter::tick);
}

void SplashScreenPresenter::updateTimerText()
{
    const qint64 left = std::max<qint64>(0, d->loadTime + kVideoSeconds - d->passedTime);
    const QString text = QString::number(left);
    d->forEachController([&text](Controller &controller) { controller.setTimerText(text); });
}

void SplashScreenPresenter::updateVideoTimerText()
{
    const qint64 left = std::max<qint64>(0, d->videoStart() + kVideoSeconds - d->passedTime);
    const QString text = QString::number(left);
    d->forEachController([&text](Controller &controller) { controller.setVideoTimerText(text); });
}

void SplashScreenPresenter::startWaitVideoTimer(double seconds)
{
    d->videoTimer = d->schedule(seconds, false, &SplashScreenPresenter::startShowVideo);
    d->forEachController([](Controller &controller) { controller.continueShow(); });
}

void SplashScreenPresenter::startVideoTimerWithTime(double seconds)
{
    d->videoTimer = d->schedule(seconds, false, &SplashScreenPresenter::showCloseButton);
    d->forEachController([](Controller &controller) { controller.continueShowVideo(); });
}

void SplashScreenPresenter::stopWaitVideoTimer()
{
    invalidate(d->videoTimer);
    d->videoTimer = nullptr;
    d->forEachController([](Controller &controller) { controller.pauseShow(); });
}

void SplashScreenPresenter::stopVideoTimer()
{
    invalidate(d->videoTimer);
    d->videoTimer = nullptr;
    d->forEachController([](Controller &controller) { controller.pauseShowVideo(); });
}

// ---- Video phase ---------------------------------------------------------------------------

void SplashScreenPresenter::startShowVideo()
{
    stopWaitVideoTimer();
    d->showVideo = true;
    d->stateSplashScreen = SplashScreenStateVideo;
    d->chooseVideo();
    Controller *withVideo = d->splashScreenControllerWithVideo.get();
    if (!d->canPlayVideo()) {
        // The start view stays and its ring runs on to the close button.
        if (withVideo)
            withVideo->startTimerViewFromSec(int(d->loadTime), int(d->loadTime + kVideoSeconds));
        startVideoTimerWithTime(double(kVideoSeconds));
    } else {
        const bool ownVideo = !d->videoUrl.isEmpty() && d->videoUrl != d->defaultVideoUrl;
        d->videoDuration = MediaDuration::seconds(d->videoUrl.isEmpty() ? d->defaultVideoUrl : d->videoUrl);
        if (withVideo) {
            withVideo->setVideoUrl(ownVideo ? d->videoUrl : d->defaultVideoUrl);
            withVideo->showVideo();
            withVideo->startVideoTimerViewFromSec(int(d->loadTime), int(d->loadTime + kVideoSeconds));
        }
        startVideoTimerWithTime(double(kVideoSeconds));
        updateTimerText();
        updateVideoTimerText();
    }
    // Every window's end screen gets its picture ready while the video plays.
    d->forEachController([this](Controller &controller) { controller.setInterstitialUrl(d->interstitialVideoUrl); });
    post(VLMadsVideoDidStart);
}

void SplashScreenPresenter::Private::chooseVideo()
{
    const QUrl downloaded = downloader->videoURL();
    videoUrl = downloaded.path().contains(kNullPathMark) ? defaultVideoUrl : downloaded;
    linkFromVideoUrl = downloader->linkVideoURL();
    interstitialVideoUrl = downloader->interstitialVideoURL();
    videoInfo = downloader->videoInfo();
}

bool SplashScreenPresenter::Private::canPlayVideo() const
{
    if (!videoUrl.isEmpty())
        return true;
    return !defaultVideoUrl.isEmpty() && splashScreenControllerWithVideo;
}

void SplashScreenPresenter::showCloseButton()
{
    d->stateSplashScreen = SplashScreenStateVideoCloseButton;
    d->closeButtonShown = true;
    stopVideo();
}

void SplashScreenPresenter::stopVideo()
{
    stopVideoTimer();
    if (d->splashScreenControllerWithVideo)
        d->splashScreenControllerWithVideo->continueShowVideo();
    d->showEndScreens();
}

void SplashScreenPresenter::Private::showEndScreens()
{
    const QUrl interstitial = interstitialVideoUrl;
    forEachController([&interstitial](Controller &controller) {
        controller.setInterstitialUrl(interstitial);
        controller.showEndScreen();
    });
}

void SplashScreenPresenter::setDefaultVideoWithURL(const QUrl &video, const QUrl &link)
{
    d->defaultVideoUrl = video;
    d->defaultLinkFromVideoUrl = link;
    // The store lookup blocks; its answer comes back to the main thread.
    const QString path = link.path();
    QPointer<SplashScreenPresenter> self(this);
    PoolTask::start(QThreadPool::globalInstance(), [path, self]() mutable {
        const QString name = AdsDownloader::appNameFromMarketLink(path, false);
        postCall(qApp, [self = std::move(self), name] {
            if (self)
                self->d->defaultVideoName = name;
        });
    });
}

// ---- What the controllers report -------------------------------------------------------------

void SplashScreenPresenter::didClickOnVideo()
{
    if (d->linkFromVideoUrl.isEmpty() && d->defaultLinkFromVideoUrl.isEmpty())
        return;
    // Compared with the default video, not the default link: kept as the product does it.
    const bool ownLink = !d->linkFromVideoUrl.isEmpty() && d->linkFromVideoUrl != d->defaultVideoUrl;
    QDesktopServices::openUrl(ownLink ? d->linkFromVideoUrl : d->defaultLinkFromVideoUrl);
    QVariant name = d->defaultVideoName.isNull() ? QVariant() : QVariant(d->defaultVideoName);
    if (!d->videoInfo.isEmpty())
        name = d->videoInfo.value(kAppNameKey);
    post(VLMclickForVideo, name);
}

void SplashScreenPresenter::didChangeMuted(bool muted)
{
    setMuted(muted);
}

void SplashScreenPresenter::didClickRemoveAds()
{
    post(VLMtryRemoveAds);
}

void SplashScreenPresenter::didClickClose()
{
    d->withoutSplash = false;
    d->stateSplashScreen = SplashScreenStateClosed;
    hideSplashScreens();
    post(VLMsplashScreenDidClose);
}

void SplashScreenPresenter::didVideoEnded()
{
    if (!d->show)
        return;
    d->showEnd = true;
    d->showVideo = false;
    d->stateSplashScreen = SplashScreenStateEnd;
    // A video that ended before its close button waits for the timer to show the end.
    if (!d->videoTimer)
        d->showEndScreens();
    post(VLMadsVideoDidStop);
}

// ---- Windows and focus -----------------------------------------------------------------------

bool SplashScreenPresenter::addSplashScreenForWindow(QWidget *window, bool unity)
{
    if (!window || d->controllerWithWindow(window))
        return false;
    // A waiting period that runs when the list has emptied (the host removed or destroyed
    // its last window) goes on: a new first-start delay would cut it short.
    if (d->registrations.empty() && !(d->prepareTimer && d->prepareTimer->isValid()))
        d->firstStartTimer = d->schedule(double(d->delayForFirstStart), false, &SplashScreenPresenter::endWaitTimer);
    ControllerRef controller = d->factory(window, unity);
    if (!controller)
        return false;
    controller->setOutput(d.get());
    setAllSplashScreenParamsFor(controller.get());
    d->registrations.push_back({ controller, window, window });
    registrationNotificationForWindow(window);

    if (d->show) {
        switch (d->stateSplashScreen) {
        case SplashScreenStateStart:
        case SplashScreenStateVideo:
            // A window joining the video phase gets the start view, never the video.
            controller->showStartScreen();
            controller->startTimerViewFromSec(int(d->passedTime), int(d->splashScreenStandartDuration));
            break;
        case SplashScreenStateVideoCloseButton:
            controller->setInterstitialUrl(d->interstitialVideoUrl);
            controller->showEndScreen();
            break;
        default:
            break;
        }
    }
    updateTimerText();
    if (QApplication::activeWindow() == window)
        windowBecameActive(window);
    return true;
}

void SplashScreenPresenter::removeSplashScreenWithWindow(QWidget *window)
{
    // The sequence goes on, also without windows or without its video controller. A window
    // still observed after every splash screen was removed is let go too.
    const ControllerRef controller = d->controllerWithWindow(window);
    if (!controller) {
        deregistrationNotificationForWindow(window);
        return;
    }
    if (controller == d->splashScreenControllerWithVideo)
        d->splashScreenControllerWithVideo.reset();
    controller->hide();
    deregistrationNotificationForWindow(window);
    controller->removeFromWindow();
    d->removeRegistration(window);
}

void SplashScreenPresenter::Private::removeRegistration(const QObject *window)
{
    std::erase_if(registrations, [window](const Registration &r) { return r.key == window; });
}

void SplashScreenPresenter::removeAllSplashScreens()
{
    // The windows stay observed; the next registration starts the first-start delay again.
    // The running sequence's timers end with it, or a later showing would run beside them.
    d->forEachController([](Controller &controller) {
        controller.hide();
        controller.removeFromWindow();
    });
    d->show = false;
    stopTickTimer();
    stopVideoTimer();
    invalidate(d->resumeTickTimer);
    d->resumeTickTimer = nullptr;
    d->splashScreenControllerWithVideo.reset();
    d->registrations.clear();
}

SplashScreenPresenter::Controller *SplashScreenPresenter::splashScreenControllerWithWindow(QWidget *window) const
{
    return d->controllerWithWindow(window).get();
}

void SplashScreenPresenter::registrationNotificationForWindow(QWidget *window)
{
    if (!window)
        return;
    window->installEventFilter(this);
    connect(window, &QObject::destroyed, this, &SplashScreenPresenter::windowDestroyed, Qt::UniqueConnection);
}

void SplashScreenPresenter::deregistrationNotificationForWindow(QWidget *window)
{
    if (!window)
        return;
    window->removeEventFilter(this);
    disconnect(window, &QObject::destroyed, this, &SplashScreenPresenter::windowDestroyed);
}

// A window the host destroyed is removed like one the host took back, without touching it.
void SplashScreenPresenter::windowDestroyed(QObject *window)
{
    const ControllerRef controller = d->controllerWithWindow(window);
    if (!controller)
        return;
    if (controller == d->splashScreenControllerWithVideo)
        d->splashScreenControllerWithVideo.reset();
    controller->hide();
    controller->removeFromWindow();
    d->removeRegistration(window);
}

bool SplashScreenPresenter::eventFilter(QObject *watched, QEvent *event)
{
    if (watched->isWidgetType()) {
        auto *window = static_cast<QWidget *>(watched);
        switch (event->type()) {
        case QEvent::WindowActivate:
            windowBecameActive(window);
            break;
        case QEvent::WindowDeactivate:
            windowBecameDisactive(window);
            break;
        case QEvent::Close:
            windowWillClose(window);
            break;
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}

void SplashScreenPresenter::windowBecameActive(QWidget *window)
{
    if (window && QApplication::activeWindow() == window) {
        d->focus = true;
        d->activeSplashScreenController = d->controllerWithWindow(window);
    }
    d->later([this] {
        if (d->needsResumeSplashScreen)
            resumeSplashScreen();
        if (d->needShow)
            showSplashScreens();
    });
}

void SplashScreenPresenter::windowBecameDisactive(QWidget *window)
{
    // Qt activates the new window before it deactivates the old one, so the key status
    // may already sit on another registered window.
    const QWidget *key = QApplication::activeWindow();
    d->focus = key && key != window && d->controllerWithWindow(key);
    if (Switches::isADSRemoved() || !d->show)
        return;
    // Runs after the activation that may follow at once: moving between registered
    // windows does not pause.
    d->later([this] {
        if (!d->focus)
            pauseSplashScreens();
    });
}

void SplashScreenPresenter::windowWillClose(QWidget *window)
{
    if (!Switches::isARCActivate())
        return;
    // Qt reports the request to close; a host that refused it keeps its window shown.
    QPointer<QWidget> closing(window);
    d->later([this, closing] {
        if (closing && !closing->isVisible())
            removeSplashScreenWithWindow(closing);
    });
}

// ---- Options ---------------------------------------------------------------------------------

QVariantMap SplashScreenPresenter::splashScreenOptions() const
{
    return d->splashScreenOptions;
}

void SplashScreenPresenter::setSplashScreenOptions(const QVariantMap &options)
{
    d->splashScreenOptions = options;
}

void SplashScreenPresenter::setSplashScreenOption(const QString &key, const QVariant &value)
{
    d->splashScreenOptions.insert(key, value);
}

void SplashScreenPresenter::setAllSplashScreenParamsFor(Controller *controller) const
{
    if (!controller)
        return;
    const QVariantMap &o = d->splashScreenOptions;
    // A missing entry reads as none, 0 or false.
    controller->setTopInset(double(integerOption(o.value(kTopInset))));
    controller->setIcon(o.value(kIcon).value<QImage>());
    controller->setTextColor(o.value(kTextColor).value<QColor>());
    controller->setBackgroundColor(o.value(kBackgroundColor).value<QColor>());
    controller->setBackgroundImage(o.value(kBackgroundImage).value<QImage>());
    controller->setBackgroundImageScaling((unsigned int)integerOption(o.value(kBackgoundImageScaling)));
    controller->setHiddenButtonAfterVideo(o.value(kHiddenButtonAfterVideo).toBool());
    controller->setHiddenButtonBeforeVideo(o.value(kHiddenButtonBeforeVideo).toBool());
    controller->setTimerTextColor(o.value(kTimerTextColor).value<QColor>());
    controller->setTimerBackgroundColor(o.value(kTimerBackgroundColor).value<QColor>());
    controller->setTimerBorderColor(o.value(kTimerBorderColor).value<QColor>());
    controller->setTimerProgressColor(o.value(kTimerProgressColor).value<QColor>());
    controller->setTimerBorderWidth(floatOption(o.value(kTimerBorderWidth)));
    controller->setTimerProgressWidth(floatOption(o.value(kTimerProgressWidth)));
    controller->setHiddenIcon(o.value(kHiddenIcon).toBool());
    controller->setHiddenIconAfterVideo(o.value(kHiddenIconAfterVideo).toBool());
    controller->setHiddenIconBeforeVideo(o.value(kHiddenIconBeforeVideo).toBool());
    controller->setHiddenBackgroundImage(o.value(kHiddenBackgroundImage).toBool());
    controller->setHiddenBackgroundImageAfterVideo(o.value(kHiddenBackgroundImageAfterVideo).toBool());
    controller->setHiddenBackgroundImageBeforeVideo(o.value(kHiddenBackgroundImageBeforeVideo).toBool());
}

// ---- Fields ----------------------------------------------------------------------------------

bool SplashScreenPresenter::isShow() const
{
    return d->show;
}
bool SplashScreenPresenter::withoutSplash() const
{
    return d->withoutSplash;
}
void SplashScreenPresenter::setWithoutSplash(bool on)
{
    d->withoutSplash = on;
}
bool SplashScreenPresenter::isFocus() const
{
    return d->focus;
}
bool SplashScreenPresenter::needsResumeSplashScreen() const
{
    return d->needsResumeSplashScreen;
}
bool SplashScreenPresenter::isShowVideo() const
{
    return d->showVideo;
}
bool SplashScreenPresenter::isShowEnd() const
{
    return d->showEnd;
}
bool SplashScreenPresenter::isWaitTimeLeft() const
{
    return d->waitTimeLeft;
}
bool SplashScreenPresenter::isMuted() const
{
    return d->muted;
}
bool SplashScreenPresenter::isNeedShow() const
{
    return d->needShow;
}

void SplashScreenPresenter::setMuted(bool muted)
{
    d->muted = muted;
    d->forEachController([muted](Controller &controller) { controller.setMuted(muted); });
}

qint64 SplashScreenPresenter::delayForFirstStart() const
{
    return d->delayForFirstStart;
}
void SplashScreenPresenter::setDelayForFirstStart(qint64 seconds)
{
    d->delayForFirstStart = seconds;
}
qint64 SplashScreenPresenter::waitTime() const
{
    return d->waitTime;
}
void SplashScreenPresenter::setWaitTime(qint64 seconds)
{
    d->waitTime = seconds;
}
qint64 SplashScreenPresenter::loadTime() const
{
    return d->loadTime;
}
void SplashScreenPresenter::setLoadTime(qint64 seconds)
{
    d->loadTime = seconds;
}
qint64 SplashScreenPresenter::splashScreenStandartDuration() const
{
    return d->splashScreenStandartDuration;
}
qint64 SplashScreenPresenter::passedTime() const
{
    return d->passedTime;
}
qint64 SplashScreenPresenter::splashScreenStartCount() const
{
    return d->splashScreenStartCount;
}
qint64 SplashScreenPresenter::stateSplashScreen() const
{
    return d->stateSplashScreen;
}
qint64 SplashScreenPresenter::videoDuration() const
{
    return d->videoDuration;
}
double SplashScreenPresenter::startTimerDate() const
{
    return d->startTimerDate;
}
double SplashScreenPresenter::timeDuration() const
{
    return d->timeDuration;
}

Timer *SplashScreenPresenter::firstStartTimer() const
{
    return d->firstStartTimer;
}
Timer *SplashScreenPresenter::prepareTimer() const
{
    return d->prepareTimer;
}
Timer *SplashScreenPresenter::tickTimer() const
{
    return d->tickTimer;
}
Timer *SplashScreenPresenter::resumeTickTimer() const
{
    return d->resumeTickTimer;
}
Timer *SplashScreenPresenter::videoTimer() const
{
    return d->videoTimer;
}

QList<SplashScreenPresenter::Controller *> SplashScreenPresenter::SSControllers() const
{
    QList<Controller *> all;
    for (const Private::Registration &registration : d->registrations)
        all.append(registration.controller.get());
    return all;
}

SplashScreenPresenter::Controller *SplashScreenPresenter::activeSplashScreenController() const
{
    return d->activeSplashScreenController.get();
}

SplashScreenPresenter::Controller *SplashScreenPresenter::splashScreenControllerWithVideo() const
{
    return d->splashScreenControllerWithVideo.get();
}

QUrl SplashScreenPresenter::defaultVideoUrl() const
{
    return d->defaultVideoUrl;
}
QUrl SplashScreenPresenter::defaultLinkFromVideoUrl() const
{
    return d->defaultLinkFromVideoUrl;
}
QString SplashScreenPresenter::defaultVideoName() const
{
    return d->defaultVideoName;
}
QUrl SplashScreenPresenter::videoUrl() const
{
    return d->videoUrl;
}
QUrl SplashScreenPresenter::interstitialVideoUrl() const
{
    return d->interstitialVideoUrl;
}
QUrl SplashScreenPresenter::linkFromVideoUrl() const
{
    return d->linkFromVideoUrl;
}
QVariantMap SplashScreenPresenter::videoInfo() const
{
    return d->videoInfo;
}

} // namespace velmora
