#include "HeadlessSession.h"

#include "NotificationLog.h"

#include <velmora/Velmora.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <QWidget>

using velmora::Velmora;

namespace {
// The whole script must end well within this, whatever happens.
constexpr int deadlineMs = 150000;
} // namespace

HeadlessSession::HeadlessSession(QWidget *mainWindow, QWidget *secondWindow, NotificationLog *log,
                                 const QString &outDir, QObject *parent)
    : QObject(parent)
    , m_main(mainWindow)
    , m_second(secondWindow)
    , m_log(log)
    , m_out(outDir)
{
    connect(velmora::NotificationCenter::defaultCenter(), &velmora::NotificationCenter::notificationPosted, this,
            [this](const QString &name, const QVariant &) { onNotification(name); });
}

void HeadlessSession::start()
{
    QDir().mkpath(m_out);
    QTimer::singleShot(deadlineMs, this, [this] {
        m_log->note(QStringLiteral("demo: the session did not finish in time"));
        finish(1);
    });
    after(500, &HeadlessSession::showSplash);
}

void HeadlessSession::after(int ms, void (HeadlessSession::*step)())
{
    QTimer::singleShot(ms, this, step);
}

void HeadlessSession::onNotification(const QString &name)
{
    if (name == QLatin1String(velmora::VLMsplashScreenDidShow))
        after(1500, &HeadlessSession::photographStart);
    else if (name == QLatin1String(velmora::VLMadsVideoDidStart)) {
        after(2500, &HeadlessSession::photographVideo);
        // A video that cannot play never stops; the end screen comes with the close button.
        after(15000, &HeadlessSession::photographEnd);
    } else if (name == QLatin1String(velmora::VLMadsVideoDidStop))
        after(800, &HeadlessSession::photographEnd);
    else if (name == QLatin1String(velmora::VLMsplashScreenDidClose))
        after(1500, &HeadlessSession::photographBanners);
    else if (name == QLatin1String(velmora::VLMtryRemoveAds)) {
        // The host's answer to the request; a person would confirm a purchase here.
        m_log->note(QStringLiteral("demo: remove-ads confirmed, calling removeAdsNow"));
        Velmora::removeAdsNow();
        after(1000, &HeadlessSession::photographWithoutAds);
    }
}

void HeadlessSession::showSplash()
{
    // Ads count as ready once the first-start delay has passed; force the show either way
    // after a while so a slow network cannot stall the script.
    if (!Velmora::isADSReady() && m_waitedMs < 8000) {
        m_waitedMs += 250;
        after(250, &HeadlessSession::showSplash);
        return;
    }
    m_main->activateWindow();
    QApplication::setActiveWindow(m_main);
    m_log->note(QStringLiteral("demo: forceShow (ads ready: %1)").arg(Velmora::isADSReady() ? "yes" : "no"));
    Velmora::forceShow();
}

void HeadlessSession::photographStart()
{
    shoot(m_main, QStringLiteral("01-start-screen.png"));
}

void HeadlessSession::photographVideo()
{
    shoot(m_main, QStringLiteral("02-video.png"));
}

void HeadlessSession::photographEnd()
{
    if (m_endShot)
        return;
    m_endShot = true;
    shoot(m_main, QStringLiteral("03-end-screen.png"));
    after(800, &HeadlessSession::closeSplash);
}

void HeadlessSession::closeSplash()
{
    if (!clickVisible(m_main, QStringLiteral("closeButton"))) {
        after(500, &HeadlessSession::closeSplash);
        return;
    }
}

void HeadlessSession::photographBanners()
{
    // A banner whose first pull met another download in flight fills at its next swap.
    const auto banners = Velmora::BControllers();
    const bool allShown = std::all_of(banners.begin(), banners.end(),
                                      [](velmora::BannerController *banner) { return banner->view()->width() > 0; });
    if (!allShown && m_bannerWaitMs < 50000) {
        m_bannerWaitMs += 1000;
        after(1000, &HeadlessSession::photographBanners);
        return;
    }
    for (velmora::BannerController *banner : Velmora::BControllers()) {
        const QRect frame = banner->view()->geometry();
        m_log->note(QStringLiteral("demo: banner in %1 at %2,%3 %4x%5%6")
                        .arg(banner->window() ? banner->window()->windowTitle() : QStringLiteral("?"))
                        .arg(frame.x())
                        .arg(frame.y())
                        .arg(frame.width())
                        .arg(frame.height())
                        .arg(banner->view()->isVisible() ? "" : " (hidden)"));
    }
    shoot(m_main, QStringLiteral("04-banner-main-window.png"));
    shoot(m_second, QStringLiteral("05-banner-panel.png"));
    after(500, &HeadlessSession::askToRemoveAds);
}

void HeadlessSession::askToRemoveAds()
{
    // The banner's close button asks the host to remove the ads.
    const auto banners = Velmora::BControllers();
    if (!banners.isEmpty() && banners.first()->closeButton()) {
        banners.first()->closeButton()->click();
        return;
    }
    m_log->note(QStringLiteral("demo: no banner to ask from"));
    finish(1);
}

void HeadlessSession::photographWithoutAds()
{
    shoot(m_main, QStringLiteral("06-after-remove-ads.png"));
    // The switch persists; the next scripted run starts with ads on again.
    Velmora::resetAds();
    finish(m_shots.size() == 6 ? 0 : 1);
}

void HeadlessSession::finish(int code)
{
    if (m_ended)
        return;
    m_ended = true;
    m_log->note(QStringLiteral("demo: %1 screenshots in %2").arg(m_shots.size()).arg(QDir(m_out).absolutePath()));
    for (const QString &shot : std::as_const(m_shots))
        m_log->note(QStringLiteral("demo:   %1").arg(shot));
    QCoreApplication::exit(code);
}

bool HeadlessSession::shoot(QWidget *window, const QString &name)
{
    // On a real (or virtual X) screen the screen's pixels include the video surface,
    // which a widget grab cannot see.
    QPixmap picture;
    QScreen *screen = window->screen();
    if (QGuiApplication::platformName() == QLatin1String("xcb") && screen)
        picture = screen->grabWindow(window->winId());
    if (picture.isNull())
        picture = window->grab();
    const QString path = QDir(m_out).filePath(name);
    const bool saved = picture.save(path);
    m_log->note(QStringLiteral("demo: screenshot %1 %2").arg(name, saved ? "saved" : "FAILED"));
    if (saved)
        m_shots << path;
    return saved;
}

bool HeadlessSession::clickVisible(QWidget *root, const QString &objectName)
{
    // Only the splash screen's own button: a banner has a close button of that name too.
    const auto views = root->findChildren<QWidget *>();
    for (QWidget *view : views) {
        if (qstrcmp(view->metaObject()->className(), "velmora::ColoredView") != 0 || !view->isVisible())
            continue;
        for (QAbstractButton *button : view->findChildren<QAbstractButton *>(objectName)) {
            if (button->isVisible()) {
                button->click();
                return true;
            }
        }
    }
    return false;
}
