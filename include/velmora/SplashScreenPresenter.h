#pragma once

#include <velmora/velmora_export.h>

#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariant>
#include <QVariantMap>

#include <functional>
#include <memory>

class QWidget;

namespace velmora {

class SplashScreenControllerProtocolInput;
class Timer;

// Runs the splash-screen sequence over every registered host window: one phase, one
// countdown and one clock for all of them, the video played by one window's controller.
// The facade (Velmora::SSPresenter()) hands out the one instance. Main thread only.
//
// It is the output of every controller it creates: the controller's clicks and the end of
// the video arrive at didClickOnVideo() ... didVideoEnded().
class VELMORA_EXPORT SplashScreenPresenter : public QObject {
    Q_OBJECT

public:
    enum SplashScreenState : qint64 {
        SplashScreenStateClosed = -1,
        SplashScreenStateStart = 0,
        SplashScreenStateVideo = 1,
        SplashScreenStateVideoCloseButton = 2,
        SplashScreenStateEnd = 3,
    };

    using Controller = SplashScreenControllerProtocolInput;
    // Makes the splash screen of one window (`unity`: the window hosts a game engine's
    // view); null when it cannot.
    using ControllerFactory = std::function<std::unique_ptr<Controller>(QWidget *window, bool unity)>;

    // Controllers are the framework's SplashScreenController.
    SplashScreenPresenter();
    explicit SplashScreenPresenter(ControllerFactory factory);
    ~SplashScreenPresenter() override;

    // ---- Show control ----
    void showSplashScreens();
    void needForceShowSplashScreens();
    void forceShowSplashScreens();
    void forceShowVideoWithoutSplash();
    void hideSplashScreens();
    void refreshWaitAgain();
    bool isAdsReady() const;
    void starDownLoad();
    void pauseSplashScreens();
    void resumeSplashScreen();

    // ---- Timers and countdown ----
    void startWaitTimer();
    void endWaitTimer();
    void startTickTimer();
    void stopTickTimer();
    void tick();
    void resumeTimer();
    void updateTimerText();
    void updateVideoTimerText();
    void startWaitVideoTimer(double seconds);
    void startVideoTimerWithTime(double seconds);
    void stopWaitVideoTimer();
    void stopVideoTimer();

    // ---- Video phase ----
    void startShowVideo();
    void showCloseButton();
    void stopVideo();
    void setDefaultVideoWithURL(const QUrl &video, const QUrl &link);

    // ---- What the controllers report ----
    void didClickOnVideo();
    void didChangeMuted(bool muted);
    void didClickRemoveAds();
    void didClickClose();
    void didVideoEnded();

    // ---- Windows and focus ----
    // Windows are top-level widgets; a window destroyed by the host counts as removed.
    bool addSplashScreenForWindow(QWidget *window, bool unity);
    void removeSplashScreenWithWindow(QWidget *window);
    void removeAllSplashScreens();
    Controller *splashScreenControllerWithWindow(QWidget *window) const;
    void registrationNotificationForWindow(QWidget *window);
    void deregistrationNotificationForWindow(QWidget *window);
    void windowBecameActive(QWidget *window);
    void windowBecameDisactive(QWidget *window);
    void windowWillClose(QWidget *window);

    // ---- Options ----
    QVariantMap splashScreenOptions() const;
    void setSplashScreenOptions(const QVariantMap &options);
    void setSplashScreenOption(const QString &key, const QVariant &value);
    void setAllSplashScreenParamsFor(Controller *controller) const;

    // ---- Fields ----
    bool isShow() const;
    bool withoutSplash() const;
    void setWithoutSplash(bool on);
    bool isFocus() const;
    bool needsResumeSplashScreen() const;
    bool isShowVideo() const;
    bool isShowEnd() const;
    bool isWaitTimeLeft() const;
    bool isMuted() const;
    void setMuted(bool muted);
    bool isNeedShow() const;

    qint64 delayForFirstStart() const;
    void setDelayForFirstStart(qint64 seconds);
    qint64 waitTime() const;
    void setWaitTime(qint64 seconds);
    qint64 loadTime() const;
    void setLoadTime(qint64 seconds);
    qint64 splashScreenStandartDuration() const;
    qint64 passedTime() const;
    qint64 splashScreenStartCount() const;
    qint64 stateSplashScreen() const;
    qint64 videoDuration() const;

    // Clock seconds (Clock::current()) of the start of the running interval, and the
    // running seconds accumulated before the last pause.
    double startTimerDate() const;
    double timeDuration() const;

    Timer *firstStartTimer() const;
    Timer *prepareTimer() const;
    Timer *tickTimer() const;
    Timer *resumeTickTimer() const;
    Timer *videoTimer() const;

    QList<Controller *> SSControllers() const;
    Controller *activeSplashScreenController() const;
    Controller *splashScreenControllerWithVideo() const;

    QUrl defaultVideoUrl() const;
    QUrl defaultLinkFromVideoUrl() const;
    QString defaultVideoName() const;
    QUrl videoUrl() const;
    QUrl interstitialVideoUrl() const;
    QUrl linkFromVideoUrl() const;
    QVariantMap videoInfo() const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void windowDestroyed(QObject *window);

    class Private;
    std::unique_ptr<Private> const d;
};

} // namespace velmora
