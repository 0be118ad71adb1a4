#include "HeadlessSession.h"

#include "NotificationLog.h"

#include <velmora/Velmora.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QMouseEvent>
#include <QPixmap>
#include <QScreen>
#include <QTimer>
#include <QWidget>

#include <algorithm>
#include <functional>

using velmora::Velmora;

namespace {
// The whole script must end well within this, whatever happens.
constexpr int deadlineMs = 180000;
const char *const linkSchemes[] = { "macappstores", "https", "http" };

bool inBanner(const QWidget *widget)
{
    const auto banners = Velmora::BControllers();
    return std::any_of(banners.begin(), banners.end(), [widget](velmora::BannerController *banner) {
        return banner->view() && banner->view()->isAncestorOf(widget);
    });
}

void clickAt(QWidget *target, const QPoint &pos)
{
    const QPointF local(pos);
    const QPointF global(target->mapToGlobal(pos));
    QMouseEvent press(QEvent::MouseButtonPress, local, global, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, local, global, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(target, &press);
    QApplication::sendEvent(target, &release);
}
} // namespace

HeadlessSession::HeadlessSession(QWidget *mainWindow, QWidget *secondWindow, NotificationLog *log,
                                 const QString &outDir, bool confirmRemoveAds, QObject *parent)
    : QObject(parent)
    , m_main(mainWindow)
    , m_second(secondWindow)
    , m_log(log)
    , m_out(outDir)
    , m_confirmRemoveAds(confirmRemoveAds)
{
    m_expectedShots
        = { QStringLiteral("01-start-screen.png"), QStringLiteral("02-video.png"), QStringLiteral("03-end-screen.png"),
            QStringLiteral("04-banner-main-window.png"), QStringLiteral("05-banner-panel.png") };
    if (m_confirmRemoveAds)
        m_expectedShots << QStringLiteral("06-after-remove-ads.png");
    for (const char *scheme : linkSchemes)
        QDesktopServices::setUrlHandler(QLatin1String(scheme), this, "openUrl");
    connect(velmora::NotificationCenter::defaultCenter(), &velmora::NotificationCenter::notificationPosted, this,
            [this](const QString &name, const QVariant &) { onNotification(name); });
}

HeadlessSession::~HeadlessSession()
{
    for (const char *scheme : linkSchemes)
        QDesktopServices::unsetUrlHandler(QLatin1String(scheme));
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

void HeadlessSession::openUrl(const QUrl &url)
{
    m_log->note(QStringLiteral("demo: would open %1").arg(url.toString()));
}

void HeadlessSession::after(int ms, void (HeadlessSession::*step)())
{
    QTimer::singleShot(ms, this, step);
}

void HeadlessSession::onNotification(const QString &name)
{
    if (name == QLatin1String(velmora::VLMsplashScreenDidShow)) {
        ++m_run;
        if (m_run == 1)
            after(1500, &HeadlessSession::photographStart);
        else
            after(1000, &HeadlessSession::closeSplash); // the second run only needs closing
    } else if (name == QLatin1String(velmora::VLMadsVideoDidStart) && m_run == 1) {
        after(2500, &HeadlessSession::photographVideo);
        // A video that cannot play never stops; the end screen comes with the close button.
        after(15000, &HeadlessSession::photographEnd);
    } else if (name == QLatin1String(velmora::VLMadsVideoDidStop) && m_run == 1) {
        after(800, &HeadlessSession::photographEnd);
    } else if (name == QLatin1String(velmora::VLMsplashScreenDidClose)) {
        if (m_run == 1)
            after(1500, &HeadlessSession::photographBanners);
        else
            after(1000, &HeadlessSession::askToRemoveAds);
    } else if (name == QLatin1String(velmora::VLMtryRemoveAds)) {
        // The host's answer; a person would be offered the purchase here.
        if (m_confirmRemoveAds) {
            m_log->note(QStringLiteral("demo: remove-ads confirmed, calling removeAdsNow"));
            Velmora::removeAdsNow();
            after(1000, &HeadlessSession::photographWithoutAds);
        } else {
            m_log->note(QStringLiteral("demo: remove-ads declined, the ads stay"));
            after(1000, &HeadlessSession::finishChecked);
        }
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
    // The presenter shows only while the host has focus.
    m_main->activateWindow();
    QApplication::setActiveWindow(m_main);
    m_log->note(QStringLiteral("demo: forceShow (ads ready: %1)").arg(Velmora::isADSReady() ? "yes" : "no"));
    Velmora::forceShow();
}

void HeadlessSession::photographStart()
{
    shoot(m_main, QStringLiteral("01-start-screen.png"));
    // Every registered window shows the sequence, here a plain widget window.
    shoot(m_second, QStringLiteral("01b-start-screen-second-window.png"));
}

void HeadlessSession::photographVideo()
{
    // The picture is an ordinary widget of the splash screen, so a grab holds it. Its first
    // frame may come a moment after the planned shot; the end screen comes five seconds in.
    const QPixmap shot = picture(m_main);
    const QRect video = pictureArea(shot);
    if (video.isEmpty() && m_videoWaitMs < 2000) {
        m_videoWaitMs += 250;
        after(250, &HeadlessSession::photographVideo);
        return;
    }
    if (video.isEmpty())
        m_log->note(QStringLiteral("demo: video BLACK: no frame after waiting %1 ms").arg(m_videoWaitMs));
    else
        m_log->note(QStringLiteral("demo: video shown: %1x%2 of a %3x%4 window%5")
                        .arg(video.width())
                        .arg(video.height())
                        .arg(shot.width())
                        .arg(shot.height())
                        .arg(m_videoWaitMs > 0 ? QStringLiteral(", %1 ms after the planned shot").arg(m_videoWaitMs)
                                               : QString()));
    save(shot, QStringLiteral("02-video.png"));
    // The video is one big button that opens the advertised app's store page.
    if (QAbstractButton *video = splashButton(QStringLiteral("urlButton")))
        video->click();
    else
        m_log->note(QStringLiteral("demo: no video to click"));
}

// The extent of the video picture in a shot: the longest stretch of the middle row and of
// the middle column that is not black (the letterbox bars frame the picture).
QRect HeadlessSession::pictureArea(const QPixmap &shot)
{
    const QImage image = shot.toImage();
    const auto longestRun = [&image](int length, const std::function<QPoint(int)> &at) {
        std::pair<int, int> best { 0, -1 }, current { 0, -1 };
        for (int i = 0; i < length; ++i) {
            if (qGray(image.pixel(at(i))) <= 16) {
                current = { i + 1, i };
                continue;
            }
            current.second = i;
            if (current.second - current.first > best.second - best.first)
                best = current;
        }
        return best;
    };
    const int midY = image.height() / 2, midX = image.width() / 2;
    const auto [left, right] = longestRun(image.width(), [midY](int x) { return QPoint(x, midY); });
    const auto [top, bottom] = longestRun(image.height(), [midX](int y) { return QPoint(midX, y); });
    return right < left || bottom < top ? QRect() : QRect(QPoint(left, top), QPoint(right, bottom));
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
    // The close button appears some seconds into the video.
    if (QAbstractButton *close = splashButton(QStringLiteral("closeButton"))) {
        close->click();
        return;
    }
    m_closeWaitMs += 500;
    if (m_closeWaitMs > 60000) {
        m_log->note(QStringLiteral("demo: the splash screen never offered its close button"));
        finish(1);
        return;
    }
    after(500, &HeadlessSession::closeSplash);
}

void HeadlessSession::photographBanners()
{
    // A banner whose first pull met another download in flight fills at its next swap.
    const auto banners = Velmora::BControllers();
    const bool allShown = std::all_of(banners.begin(), banners.end(), [](velmora::BannerController *banner) {
        return banner->view() && banner->view()->isVisible() && banner->view()->width() > 0;
    });
    if (!allShown && m_bannerWaitMs < 50000) {
        m_bannerWaitMs += 1000;
        after(1000, &HeadlessSession::photographBanners);
        return;
    }
    for (velmora::BannerController *banner : banners) {
        const QRect frame = banner->view() ? banner->view()->geometry() : QRect();
        m_log->note(
            QStringLiteral("demo: banner \"%1\" in %2 at %3,%4 %5x%6")
                .arg(banner->selectBanner(), banner->window() ? banner->window()->windowTitle() : QStringLiteral("?"))
                .arg(frame.x())
                .arg(frame.y())
                .arg(frame.width())
                .arg(frame.height()));
    }
    shoot(m_main, QStringLiteral("04-banner-main-window.png"));
    shoot(m_second, QStringLiteral("05-banner-panel.png"));
    after(500, &HeadlessSession::clickBanner);
}

void HeadlessSession::clickBanner()
{
    // A click on the picture (left of the close button) opens the banner's link.
    const auto banners = Velmora::BControllers();
    if (!banners.isEmpty() && banners.first()->view()) {
        QWidget *view = banners.first()->view();
        const QPoint spot(view->width() / 3, view->height() / 2);
        QWidget *target = view->childAt(spot);
        clickAt(target ? target : view, target ? target->mapFrom(view, spot) : spot);
    } else {
        m_log->note(QStringLiteral("demo: no banner to click"));
    }
    after(1000, &HeadlessSession::showAgain);
}

void HeadlessSession::showAgain()
{
    m_main->activateWindow();
    QApplication::setActiveWindow(m_main);
    m_closeWaitMs = 0;
    m_log->note(QStringLiteral("demo: forceShow again"));
    Velmora::forceShow();
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
    finishChecked();
}

void HeadlessSession::finishChecked()
{
    bool ok = true;
    for (const QString &shot : std::as_const(m_expectedShots)) {
        if (!m_shots.contains(QDir(m_out).filePath(shot))) {
            m_log->note(QStringLiteral("demo: missing screenshot %1").arg(shot));
            ok = false;
        }
    }
    const QStringList seen = m_log->seen();
    m_log->note(QStringLiteral("demo: %1 of the %2 host notifications seen")
                    .arg(seen.size())
                    .arg(NotificationLog::hostNotifications().size()));
    for (const QString &name : NotificationLog::hostNotifications()) {
        if (seen.contains(name))
            continue;
        // The end of the video depends on the machine's media back end; the rest must come.
        const bool mediaDependent = name == QLatin1String(velmora::VLMadsVideoDidStop);
        m_log->note(QStringLiteral("demo: %1 %2").arg(mediaDependent ? "no video end:" : "MISSING", name));
        ok = ok && mediaDependent;
    }
    finish(ok ? 0 : 1);
}

void HeadlessSession::finish(int code)
{
    if (m_ended)
        return;
    m_ended = true;
    m_log->note(QStringLiteral("demo: %1 screenshots in %2").arg(m_shots.size()).arg(QDir(m_out).absolutePath()));
    for (const QString &shot : std::as_const(m_shots))
        m_log->note(QStringLiteral("demo:   %1").arg(shot));
    m_log->note(QStringLiteral("demo: notification log %1").arg(m_log->path()));
    m_log->note(code == 0 ? QStringLiteral("demo: done") : QStringLiteral("demo: FAILED"));
    QCoreApplication::exit(code);
}

QPixmap HeadlessSession::picture(QWidget *window)
{
    return window->grab();
}

bool HeadlessSession::shoot(QWidget *window, const QString &name)
{
    return save(picture(window), name);
}

bool HeadlessSession::save(const QPixmap &shot, const QString &name)
{
    const QString path = QDir(m_out).filePath(name);
    const bool saved = shot.save(path);
    m_log->note(QStringLiteral("demo: screenshot %1 %2").arg(name, saved ? "saved" : "FAILED"));
    if (saved)
        m_shots << path;
    return saved;
}

QAbstractButton *HeadlessSession::splashButton(const QString &objectName) const
{
    // Banners have a close button of the same name; only the splash screen's counts.
    const auto buttons = m_main->findChildren<QAbstractButton *>(objectName);
    for (QAbstractButton *button : buttons) {
        if (button->isVisible() && !inBanner(button))
            return button;
    }
    return nullptr;
}
