#include <velmora/Velmora.h>

#include "BuildConfig.h"
#include "facade/FacadeState.h"
#include "splash/SplashScreenControllerProtocolInput.h"
#include "support/MainThread.h"
#include "support/PostCall.h"
#include "support/Switches.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>
#include <QWidget>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>

namespace velmora {

namespace {

std::atomic<SplashScreenPresenter *> presenter { nullptr };
// Guards the presenter's creation; FacadeState::reset may drop it again.
std::mutex presenterMutex;

// Banner controllers live in host widgets; a destroyed one simply drops out.
QList<QPointer<BannerController>> banners;
bool bannerListCreated = false;
double bannerHeight = 100.0;
double bannerBottomInset = 0;
double bannerCenterXInset = 0;

const QString warningLevel = QStringLiteral("WARNING");
const QString errorLevel = QStringLiteral("ERROR");

QString describe(const QUrl &url)
{
    return url.isEmpty() ? QStringLiteral("(null)") : url.toString();
}

// Restyles every registered splash screen and records the value for those added later.
template<typename Value>
void applyAppearance(void (SplashScreenControllerProtocolInput::*setter)(Value), Value value, const QString &key,
                     const QVariant &stored)
{
    Velmora::isInitializedSplashScreenWithLOG_WARNING();
    SplashScreenPresenter *splash = Velmora::SSPresenter();
    for (SplashScreenControllerProtocolInput *controller : splash->SSControllers())
        (controller->*setter)(value);
    splash->setSplashScreenOption(key, stored);
}

// Sets a banner default, then, once any banner was added, every banner.
void applyBannerDefault(double *slot, double value, void (BannerController::*setter)(double))
{
    *slot = value;
    if (Velmora::isInitializedBannerLOG_ERROR())
        return;
    for (BannerController *banner : Velmora::BControllers())
        (banner->*setter)(value);
}

void applyToWindowBanner(QWidget *window, double value, void (BannerController::*setter)(double))
{
    if (Velmora::isInitializedBannerLOG_ERROR())
        return;
    if (BannerController *banner = Velmora::BControllFromWindow(window))
        (banner->*setter)(value);
}

BannerController *lastBannerWhere(const std::function<bool(BannerController *)> &matches)
{
    BannerController *found = nullptr;
    for (BannerController *banner : Velmora::BControllers()) {
        if (matches(banner))
            found = banner;
    }
    if (!found)
        Velmora::LOG(errorLevel, QStringLiteral("Window is Empty!"));
    return found;
}

void configureAndAppend(BannerController *banner)
{
    if (!banner)
        return;
    banner->setHeight(bannerHeight);
    banner->setBottomInset(bannerBottomInset);
    banner->setCenterXInset(bannerCenterXInset);
    banners.append(banner);
}

// Takes every ad off the screen; main thread.
void removeAdsFromScreen()
{
    if (SplashScreenPresenter *splash = presenter.load())
        splash->removeAllSplashScreens();
    for (BannerController *banner : Velmora::BControllers())
        banner->removeADS();
    banners.clear();
}

} // namespace

// ---- Lifecycle and show control ----------------------------------------------------

void Velmora::removeAdsNow()
{
    // The purchase is stored before anything else, from any thread and also before the host
    // made its application object or after it is gone: it must survive to the next launch.
    Switches::setADSRemoved(true);
    if (!MainThread::isCurrent()) {
        if (QCoreApplication *app = QCoreApplication::instance())
            postCall(app, [] { removeAdsFromScreen(); });
        return;
    }
    removeAdsFromScreen();
}

void Velmora::removeADSFromWindow(QWidget *) { }

bool Velmora::isShowSplashScreen()
{
    return SSPresenter()->isShow();
}

SplashScreenPresenter *Velmora::SSPresenter()
{
    if (SplashScreenPresenter *made = presenter.load())
        return made;
    const std::lock_guard lock(presenterMutex);
    if (!presenter.load()) {
        auto *splash = new SplashScreenPresenter;
        // A host whose first call comes from a worker must not leave the presenter there.
        MainThread::adopt(splash);
        splash->setDelayForFirstStart(30);
        splash->starDownLoad();
        presenter.store(splash);
    }
    return presenter.load();
}

QList<BannerController *> Velmora::BControllers()
{
    bannerListCreated = true;
    banners.removeAll(nullptr);
    QList<BannerController *> list;
    list.reserve(banners.size());
    for (const QPointer<BannerController> &banner : std::as_const(banners))
        list.append(banner.data());
    return list;
}

void Velmora::showWithouSplash()
{
    if (isADSRemoved())
        return;
    // A refused request changes nothing: a flag left on would make a later forced show skip
    // its start screen.
    SplashScreenPresenter *splash = SSPresenter();
    const bool before = splash->withoutSplash();
    const qint64 started = splash->splashScreenStartCount();
    splash->setWithoutSplash(true);
    splash->needForceShowSplashScreens();
    if (splash->splashScreenStartCount() == started)
        splash->setWithoutSplash(before);
}

void Velmora::show()
{
    if (!isADSRemoved())
        SSPresenter()->showSplashScreens();
}

void Velmora::forceShow()
{
    if (!isADSRemoved())
        SSPresenter()->needForceShowSplashScreens();
}

void Velmora::refreshWaitAgain()
{
    if (!isADSRemoved())
        SSPresenter()->refreshWaitAgain();
}

bool Velmora::addSplashScreenToWindow(QWidget *window)
{
    return !isADSRemoved() && SSPresenter()->addSplashScreenForWindow(window, false);
}

bool Velmora::addSplashScreenToUnityWindow(QWidget *window)
{
    return !isADSRemoved() && SSPresenter()->addSplashScreenForWindow(window, true);
}

void Velmora::removeSplashScreenFromWindow(QWidget *window)
{
    SSPresenter()->removeSplashScreenWithWindow(window);
}

qint64 Velmora::splashScreenStartCount()
{
    return SSPresenter()->splashScreenStartCount();
}

bool Velmora::isADSReady()
{
    return SSPresenter()->isAdsReady();
}

// ---- Default video -------------------------------------------------------------------

void Velmora::setDefaultVideoWithURL(const QUrl &videoURL, const QUrl &linkURL)
{
    SSPresenter()->setDefaultVideoWithURL(videoURL, linkURL);
    velmora::LOG(QStringLiteral("LOAD VIDEO WITH URL : %1").arg(describe(videoURL)));
}

void Velmora::setDefaultVideoURL(const QUrl &videoURL, const QString &appID)
{
    setDefaultVideoWithURL(videoURL, urlFromAppID(appID));
}

void Velmora::setDefaultVideoName(const QString &fileName, const QString &appID)
{
    // The name and its last extension are looked up separately.
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    const qsizetype slash = fileName.lastIndexOf(QLatin1Char('/'));
    const bool hasExtension = dot > 0 && dot > slash + 1;
    const QString name = hasExtension ? fileName.left(dot) : fileName;
    const QString extension = hasExtension ? fileName.mid(dot + 1) : QString();
    setDefaultVideoWithURL(VLMMainAppBundle().URLForResource(name, extension), urlFromAppID(appID));
}

QUrl Velmora::urlFromAppID(const QString &appID)
{
    const QString number = appID.toLower().remove(QStringLiteral("id"));
    return QUrl(QStringLiteral("macappstores://%1/app/id%2").arg(QStringLiteral(VELMORA_STORE_HOST_DEFAULT), number));
}

// ---- Timing ----------------------------------------------------------------------------

void Velmora::setSplashScreenWaitingVideoTimeSeconds(qint64 seconds)
{
    isInitializedSplashScreenWithLOG_WARNING();
    SSPresenter()->setWaitTime(seconds);
}

void Velmora::setSplashScreenLoadTime(qint64 seconds)
{
    if (seconds < 0 || seconds > 15) {
        LOG(warningLevel, QStringLiteral("invalid loadTime value"));
        seconds = 5;
    }
    if (seconds == 0) {
        setSplashScreenHiddenIconBeforeVideo(true);
        setSplashScreenHiddenBackgroundImageBeforeVideo(true);
        setSplashScreenHiddenButtonBeforeVideo(true);
    }
    SSPresenter()->setLoadTime(seconds);
}

void Velmora::setSplashScreenDelay(double seconds)
{
    // NaN and infinity mean nothing a host could want: the default, as for a negative value.
    // A finite value is held below what a 64-bit count of seconds can take.
    constexpr double longest = 1e15;
    const bool usable = std::isfinite(seconds) && seconds >= 0;
    SSPresenter()->setDelayForFirstStart(usable ? qint64(std::trunc(std::min(seconds, longest))) : 30);
}

// ---- Initialisation checks and log ---------------------------------------------------------

bool Velmora::isInitializedSplashScreenWithLOG_WARNING()
{
    if (!presenter.load())
        return true;
    LOG(warningLevel, QStringLiteral("SplashScreen controller not initialized!"));
    return false;
}

bool Velmora::isInitializedSplashScreenWithLOG_ERROR()
{
    if (!presenter.load())
        return true;
    LOG(errorLevel, QStringLiteral("SplashScreen controller not initialized!"));
    return false;
}

bool Velmora::isInitializedBannerLOG_ERROR()
{
    if (!bannerListCreated)
        return true;
    LOG(errorLevel, QStringLiteral("Banner controller not initialized!"));
    return false;
}

void Velmora::LOG(const QString &level, const QString &message)
{
    velmora::LOG(QStringLiteral("VELMORA :: %1 :: %2").arg(level, message));
}

// ---- Splash-screen appearance ------------------------------------------------------------

using Input = SplashScreenControllerProtocolInput;

void Velmora::setSplashScreenTopInset(double inset)
{
    applyAppearance(&Input::setTopInset, inset, QStringLiteral("topInset"), inset);
}

void Velmora::setSplashScreenTopInset(double inset, QWidget *window)
{
    if (Input *controller = SSPresenter()->splashScreenControllerWithWindow(window))
        controller->setTopInset(inset);
}

void Velmora::setSplashScreenBackgroundColor(const QColor &color)
{
    applyAppearance<const QColor &>(&Input::setBackgroundColor, color, QStringLiteral("backgroundColor"), color);
}

void Velmora::setSplashScreenBackgroundImage(const QImage &image)
{
    applyAppearance<const QImage &>(&Input::setBackgroundImage, image, QStringLiteral("backgroundImage"), image);
}

void Velmora::setSplashScreenIcon(const QImage &icon)
{
    applyAppearance<const QImage &>(&Input::setIcon, icon, QStringLiteral("icon"), icon);
}

void Velmora::setSplashScreenTextColor(const QColor &color)
{
    applyAppearance<const QColor &>(&Input::setTextColor, color, QStringLiteral("textColor"), color);
}

void Velmora::setSplashScreenTimerTextColor(const QColor &color)
{
    applyAppearance<const QColor &>(&Input::setTimerTextColor, color, QStringLiteral("timerTextColor"), color);
}

void Velmora::setSplashScreenTimerBackgroundColor(const QColor &color)
{
    applyAppearance<const QColor &>(&Input::setTimerBackgroundColor, color, QStringLiteral("timerBackgroundColor"),
                                    color);
}

void Velmora::setSplashScreenTimerBorderColor(const QColor &border, const QColor &progress)
{
    isInitializedSplashScreenWithLOG_WARNING();
    SplashScreenPresenter *splash = SSPresenter();
    for (Input *controller : splash->SSControllers()) {
        controller->setTimerBorderColor(border);
        controller->setTimerProgressColor(progress);
    }
    splash->setSplashScreenOption(QStringLiteral("timerBorderColor"), border);
    splash->setSplashScreenOption(QStringLiteral("timerProgressColor"), progress);
}

void Velmora::setSplashScreenTimerBorderWidth(double border, double progress)
{
    isInitializedSplashScreenWithLOG_WARNING();
    SplashScreenPresenter *splash = SSPresenter();
    for (Input *controller : splash->SSControllers()) {
        controller->setTimerBorderWidth(border);
        controller->setTimerProgressWidth(progress);
    }
    splash->setSplashScreenOption(QStringLiteral("timerBorderWidth"), border);
    splash->setSplashScreenOption(QStringLiteral("timerProgressWidth"), progress);
}

void Velmora::setSplashScreenHiddenButtonBeforeVideo(bool hidden)
{
    applyAppearance(&Input::setHiddenButtonBeforeVideo, hidden, QStringLiteral("hiddenButtonBeforeVideo"), hidden);
}

void Velmora::setSplashScreenHiddenButtonAfterVideo(bool hidden)
{
    applyAppearance(&Input::setHiddenButtonAfterVideo, hidden, QStringLiteral("hiddenButtonAfterVideo"), hidden);
}

void Velmora::setSplashScreenBackgroundImageScaling(unsigned int scaling)
{
    // "backgoundImageScaling" is the key hosts and the presenter share, spelt so.
    applyAppearance(&Input::setBackgroundImageScaling, scaling, QStringLiteral("backgoundImageScaling"), scaling);
}

void Velmora::setSplashScreenHiddenIcon(bool hidden)
{
    applyAppearance(&Input::setHiddenIcon, hidden, QStringLiteral("hiddenIcon"), hidden);
}

void Velmora::setSplashScreenHiddenIconAfterVideo(bool hidden)
{
    applyAppearance(&Input::setHiddenIconAfterVideo, hidden, QStringLiteral("hiddenIconAfterVideo"), hidden);
}

void Velmora::setSplashScreenHiddenIconBeforeVideo(bool hidden)
{
    applyAppearance(&Input::setHiddenIconBeforeVideo, hidden, QStringLiteral("hiddenIconBeforeVideo"), hidden);
}

void Velmora::setSplashScreenHiddenBackgroundImage(bool hidden)
{
    applyAppearance(&Input::setHiddenBackgroundImage, hidden, QStringLiteral("hiddenBackgroundImage"), hidden);
}

void Velmora::setSplashScreenHiddenBackgroundImageAfterVideo(bool hidden)
{
    applyAppearance(&Input::setHiddenBackgroundImageAfterVideo, hidden,
                    QStringLiteral("hiddenBackgroundImageAfterVideo"), hidden);
}

void Velmora::setSplashScreenHiddenBackgroundImageBeforeVideo(bool hidden)
{
    applyAppearance(&Input::setHiddenBackgroundImageBeforeVideo, hidden,
                    QStringLiteral("hiddenBackgroundImageBeforeVideo"), hidden);
}

// ---- Banners ----------------------------------------------------------------------------------

void Velmora::addBannerForWindow(QWidget *window)
{
    if (isADSRemoved() || BControllFromWindow(window))
        return;
    configureAndAppend(BannerController::addBannerToWindow(window));
}

void Velmora::addBannerForViewController(QWidget *viewController, QWidget *view)
{
    // The lookup compares list elements with the host's widget, so it never matches and
    // every call adds a banner.
    if (isADSRemoved() || BControllFromViewController(viewController))
        return;
    configureAndAppend(BannerController::addBannerToViewController(viewController, view));
}

BannerController *Velmora::BControllFromWindow(QWidget *window)
{
    return lastBannerWhere([window](BannerController *banner) { return banner->window() == window; });
}

BannerController *Velmora::BControllFromViewController(const QObject *viewController)
{
    return lastBannerWhere([viewController](BannerController *banner) { return banner == viewController; });
}

void Velmora::setBannersHeight(double height)
{
    applyBannerDefault(&bannerHeight, height, &BannerController::setHeight);
}

void Velmora::setBannersLargeImage()
{
    setBannersHeight(100);
}

void Velmora::setBannersSmallImage()
{
    setBannersHeight(60);
}

void Velmora::setBannersBottomInset(double inset)
{
    applyBannerDefault(&bannerBottomInset, inset, &BannerController::setBottomInset);
}

void Velmora::setBannersCenterXInset(double inset)
{
    applyBannerDefault(&bannerCenterXInset, inset, &BannerController::setCenterXInset);
}

void Velmora::setBannerHeight(double height, QWidget *window)
{
    applyToWindowBanner(window, height, &BannerController::setHeight);
}

void Velmora::setBannerLargeImageToWindow(QWidget *window)
{
    setBannerHeight(100, window);
}

void Velmora::setBannerSmallImageToWindow(QWidget *window)
{
    setBannerHeight(60, window);
}

void Velmora::setBannerBottomInset(double inset, QWidget *window)
{
    applyToWindowBanner(window, inset, &BannerController::setBottomInset);
}

void Velmora::setBannerCenterXInset(double inset, QWidget *window)
{
    applyToWindowBanner(window, inset, &BannerController::setCenterXInset);
}

void Velmora::setBannerHidden(bool hidden, QWidget *viewController)
{
    BannerController *banner = BControllFromViewController(viewController);
    if (!banner && viewController)
        banner = BControllFromWindow(viewController->window());
    if (banner)
        banner->setBannerHidden(hidden);
}

// ---- Switches ---------------------------------------------------------------------------------

void Velmora::activateDebugMode()
{
    Switches::activateDebugMode();
}

bool Velmora::isDebugModeActivate()
{
    return Switches::isDebugModeActivate();
}

void Velmora::setARCToWindows(bool on)
{
    Switches::setARCToWindows(on);
}

bool Velmora::isARCActivate()
{
    return Switches::isARCActivate();
}

bool Velmora::isADSRemoved()
{
    return Switches::isADSRemoved();
}

void Velmora::resetAds()
{
    Switches::setADSRemoved(false);
}

void FacadeState::reset()
{
    const std::lock_guard lock(presenterMutex);
    delete presenter.exchange(nullptr);
    for (const QPointer<BannerController> &banner : std::as_const(banners))
        delete banner.data();
    banners.clear();
    bannerListCreated = false;
    bannerHeight = 100.0;
    bannerBottomInset = 0;
    bannerCenterXInset = 0;
}

} // namespace velmora
