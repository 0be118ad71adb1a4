#pragma once

// Umbrella header: everything a host needs.
#include <velmora/BannerController.h>
#include <velmora/Bundle.h>
#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>
#include <velmora/SplashScreenPresenter.h>
#include <velmora/Support.h>
#include <velmora/Timer.h>
#include <velmora/VelmoraVersion.h>
#include <velmora/velmora_export.h>

#include <QColor>
#include <QImage>
#include <QList>
#include <QString>
#include <QUrl>

class QWidget;

namespace velmora {

// The host's one entry point. Every operation is static and belongs on the main thread,
// except removeAdsNow(), which any thread may call. Windows are top-level QWidgets; a
// "view controller" is any host QWidget.
class VELMORA_EXPORT Velmora
{
public:
    Velmora() = delete;

    // Lifecycle and show control.
    static void removeAdsNow();
    static void removeADSFromWindow(QWidget *window);
    static bool isShowSplashScreen();
    static SplashScreenPresenter *SSPresenter();
    // The banners added so far (destroyed ones drop out).
    static QList<BannerController *> BControllers();
    static void showWithouSplash();
    static void show();
    static void forceShow();
    static void refreshWaitAgain();
    static bool addSplashScreenToWindow(QWidget *window);
    static bool addSplashScreenToUnityWindow(QWidget *window);
    static void removeSplashScreenFromWindow(QWidget *window);
    static qint64 splashScreenStartCount();
    static bool isADSReady();

    // The video shown when no downloaded one is ready.
    static void setDefaultVideoWithURL(const QUrl &videoURL, const QUrl &linkURL);
    static void setDefaultVideoURL(const QUrl &videoURL, const QString &appID);
    static void setDefaultVideoName(const QString &fileName, const QString &appID);
    static QUrl urlFromAppID(const QString &appID);

    // Timing (seconds).
    static void setSplashScreenWaitingVideoTimeSeconds(qint64 seconds);
    static void setSplashScreenLoadTime(qint64 seconds);
    static void setSplashScreenDelay(double seconds);

    // The sense of these three is inverted on purpose: they report true while nothing
    // exists yet, and log when it does.
    static bool isInitializedSplashScreenWithLOG_WARNING();
    static bool isInitializedSplashScreenWithLOG_ERROR();
    static bool isInitializedBannerLOG_ERROR();
    static void LOG(const QString &level, const QString &message);

    // Splash-screen appearance: applies to registered windows and to those added later.
    static void setSplashScreenTopInset(double inset);
    static void setSplashScreenTopInset(double inset, QWidget *window);
    static void setSplashScreenBackgroundColor(const QColor &color);
    static void setSplashScreenBackgroundImage(const QImage &image);
    static void setSplashScreenIcon(const QImage &icon);
    static void setSplashScreenTextColor(const QColor &color);
    static void setSplashScreenTimerTextColor(const QColor &color);
    static void setSplashScreenTimerBackgroundColor(const QColor &color);
    static void setSplashScreenTimerBorderColor(const QColor &border, const QColor &progress);
    static void setSplashScreenTimerBorderWidth(double border, double progress);
    static void setSplashScreenHiddenButtonBeforeVideo(bool hidden);
    static void setSplashScreenHiddenButtonAfterVideo(bool hidden);
    static void setSplashScreenBackgroundImageScaling(unsigned int scaling);
    static void setSplashScreenHiddenIcon(bool hidden);
    static void setSplashScreenHiddenIconAfterVideo(bool hidden);
    static void setSplashScreenHiddenIconBeforeVideo(bool hidden);
    static void setSplashScreenHiddenBackgroundImage(bool hidden);
    static void setSplashScreenHiddenBackgroundImageAfterVideo(bool hidden);
    static void setSplashScreenHiddenBackgroundImageBeforeVideo(bool hidden);

    // Banners.
    static void addBannerForWindow(QWidget *window);
    static void addBannerForViewController(QWidget *viewController, QWidget *view);
    static BannerController *BControllFromWindow(QWidget *window);
    static BannerController *BControllFromViewController(const QObject *viewController);
    static void setBannersHeight(double height);
    static void setBannersLargeImage();
    static void setBannersSmallImage();
    static void setBannersBottomInset(double inset);
    static void setBannersCenterXInset(double inset);
    static void setBannerHeight(double height, QWidget *window);
    static void setBannerLargeImageToWindow(QWidget *window);
    static void setBannerSmallImageToWindow(QWidget *window);
    static void setBannerBottomInset(double inset, QWidget *window);
    static void setBannerCenterXInset(double inset, QWidget *window);
    static void setBannerHidden(bool hidden, QWidget *viewController);

    // Process-wide switches.
    static void activateDebugMode();
    static bool isDebugModeActivate();
    static void setARCToWindows(bool on);
    static bool isARCActivate();
    // Read from the settings store on every call.
    static bool isADSRemoved();
    static void resetAds();
};

} // namespace velmora
