#include "splash/SplashScreenController.h"

#include "splash/VideoFrameView.h"
#include "splash/VideoPlayback.h"
#include "support/HostContent.h"
#include "support/IdleQueue.h"
#include "support/MainThread.h"
#include "support/PictureFormat.h"
#include "support/PicturePool.h"
#include "support/PostCall.h"
#include "support/ResourceIcon.h"

#include "controls/CloseButtonCell.h"
#include "controls/ColoredView.h"
#include "controls/RemoveAdsButton.h"
#include "splash/SplashScreenControllerProtocolOutput.h"
#include "splash/SplashScreenLabelsView.h"
#include "splash/TimeProgressView.h"
#include "ui_SplashScreenController.h"

#include <velmora/Bundle.h>
#include <velmora/Support.h>

#include <QApplication>
#include <QEvent>
#include <QFontMetricsF>
#include <QGraphicsOpacityEffect>
#include <QImageReader>
#include <QLabel>
#include <QMainWindow>
#include <QOperatingSystemVersion>
#include <QPointer>
#include <QPropertyAnimation>
#include <QSet>
#include <QThread>
#include <QTimer>

namespace velmora {

namespace {

const char *const kCollectionBehaviorProperty = "velmoraCollectionBehavior";
// The hidden flag an element is fading towards.
const char *const kHiddenTargetProperty = "velmoraHiddenTarget";
const char *const kFadeName = "velmoraFade";
const char *const kOpacityProperty = "opacity";

// Geometry of the tree, in points.
constexpr int kMargin = 14;
constexpr int kRingSize = 44;
constexpr int kCloseSize = 40;
constexpr int kSoundSize = 40;
constexpr int kRemoveAdsCircle = 80;
constexpr int kRemoveAdsHeight = 44;
constexpr int kRemoveAdsMinWidth = 200;
constexpr int kIconGap = 22;
// Below this an icon says nothing and only takes the texts' room.
constexpr int kSmallestIcon = 32;
// The video keeps clear of the bars that hold its controls: a window's native video
// surface would cover anything laid over it.
constexpr int kVideoTopBar = kRingSize + 2 * kMargin;

// Initial constants of the two timer constraints: the video countdown text's offset from
// its ring's centre, and the ring's distance from the top-right corner.
constexpr double kVideoTimerTextOffset = 1.0;
constexpr double kVideoTimerMargin = kMargin;

int systemMinorVersion()
{
    const QOperatingSystemVersion system = QOperatingSystemVersion::current();
    // An unknown system counts as version 0.0.0.
    if (system.type() == QOperatingSystemVersion::Unknown)
        return 0;
    return qMax(0, system.minorVersion());
}

// A bundled picture with every resolution shipped (name.png, name@2x.png), so that
// painting picks the one for the screen's pixel ratio.
// The image at a local (or Qt resource) URL, read at once; null when unreadable.
QImage loadImage(const QUrl &url)
{
    const QString path = url.isLocalFile()     ? url.toLocalFile()
        : url.scheme() == QLatin1String("qrc") ? QLatin1Char(':') + url.path()
                                               : QString();
    if (path.isEmpty())
        return QImage();
    QImageReader reader;
    PictureFormat::prepare(reader, path);
    return reader.read();
}

// `image` fitted into `size` by a platform image-scaling value, at the screen's pixel ratio.
// Safe on any thread.
QImage scaledImage(const QImage &image, QSize size, unsigned int scaling, qreal ratio)
{
    if (image.isNull() || size.isEmpty())
        return QImage();
    const QSize device = size * ratio;
    QSize target = image.size() / ratio;
    switch (scaling) {
    case SplashScreenController::ImageScaleAxesIndependently:
        target = device;
        break;
    case SplashScreenController::ImageScaleNone:
        target = image.size();
        break;
    case SplashScreenController::ImageScaleProportionallyUpOrDown:
        target = image.size().scaled(device, Qt::KeepAspectRatio);
        break;
    default:
        target = image.size().width() > device.width() || image.size().height() > device.height()
            ? image.size().scaled(device, Qt::KeepAspectRatio)
            : image.size();
        break;
    }
    QImage scaled = image.scaled(target.expandedTo(QSize(1, 1)), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    scaled.setDevicePixelRatio(ratio);
    return scaled;
}

QPixmap scaledPixmap(const QImage &image, QSize size, unsigned int scaling, qreal ratio)
{
    return QPixmap::fromImage(scaledImage(image, size, scaling, ratio));
}

// Paints a view into a throwaway image. A view's first paint loads its font at the size it
// uses, rasterizes its glyphs and scales its pictures; done ahead, in an idle turn, that no
// longer lands in the frame that first shows it.
void paintOffscreen(QWidget *view)
{
    if (view->size().isEmpty())
        return;
    const qreal ratio = view->devicePixelRatioF();
    QImage image((QSizeF(view->size()) * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    view->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
}

void setTextColorOf(QLabel *label, const QColor &color)
{
    if (!label || !color.isValid())
        return;
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
}

// Stops an element's running fade; it may be the sender of the call that got here.
void stopFade(QWidget *element)
{
    if (auto *fade = element->findChild<QPropertyAnimation *>(kFadeName, Qt::FindDirectChildrenOnly)) {
        fade->setObjectName(QString());
        fade->stop();
        fade->deleteLater();
    }
}

} // namespace

std::unique_ptr<SplashScreenController> SplashScreenController::initSplashScreenWithWindow(QWidget *window,
                                                                                           bool isUnityWindow)
{
    if (!window)
        return nullptr;
    auto controller = std::make_unique<SplashScreenController>();
    controller->setIsUnityWindow(isUnityWindow);
    controller->setWindow(window);
    return controller;
}

QImage SplashScreenController::appIcon()
{
    const QIcon icon = QApplication::windowIcon();
    if (icon.isNull())
        return QImage();
    const QList<QSize> sizes = icon.availableSizes();
    QSize largest(256, 256);
    if (!sizes.isEmpty())
        largest = *std::max_element(sizes.begin(), sizes.end(),
                                    [](QSize a, QSize b) { return a.width() * a.height() < b.width() * b.height(); });
    return icon.pixmap(largest).toImage();
}

unsigned int SplashScreenController::collectionBehavior(const QWidget *window)
{
    if (!window)
        return 0;
    const QVariant kept = window->property(kCollectionBehaviorProperty);
    if (kept.isValid())
        return kept.toUInt();
    return window->windowFlags().testFlag(Qt::WindowFullscreenButtonHint) ? kFullScreenPrimaryBehavior : 0;
}

bool SplashScreenController::isResizable(const QWidget *window)
{
    return window && window->minimumSize() != window->maximumSize();
}

SplashScreenController::SplashScreenController(QObject *parent)
    : QObject(parent)
    , ui(std::make_unique<Ui::SplashScreenController>())
    , m_videoTimerTextOffset { kVideoTimerTextOffset }
    , m_videoTimerMargin { kVideoTimerMargin }
{
    m_playback = new VideoPlayback(this);
    connect(m_playback, &VideoPlayback::ended, this, &SplashScreenController::didVideoEnded);
    setSplashTimerConstraint(&m_videoTimerTextOffset);
    setSpashTimerConstraint1(&m_videoTimerMargin);
    loadView();
}

// Makes the root view now and its elements on the next turn of the loop, or as soon as
// anything needs one: a host registering its windows at start-up does not wait for them.
// When the host deletes its window (and with it the tree), a fresh detached tree takes its
// place, so that every later call finds its elements.
void SplashScreenController::loadView()
{
    m_didInitState = false;
    m_view = new ColoredView;
    m_view->setColor(m_backgroundColor.isValid() ? m_backgroundColor : QColor(Qt::white));
    m_view->installEventFilter(this);
    // Input aimed at the ad stays with it: a click, double click or wheel turn that no
    // element takes must not reach the host's widgets behind the splash screen.
    m_view->setAttribute(Qt::WA_NoMousePropagation);
    connect(m_view, &QObject::destroyed, this, &SplashScreenController::loadView);
    QMetaObject::invokeMethod(this, &SplashScreenController::loadElementsIfNeeded, Qt::QueuedConnection);
}

void SplashScreenController::loadElementsIfNeeded()
{
    if (m_didInitState || !m_view)
        return;
    m_didInitState = true;
    ui->setupUi(m_view);
    applyFrame(); // over the window's content, not the form's default size
    connectActions();
    initViewState();
    applyAppearance();
    layoutViews(); // the pictures too, once their places are known
    if (!m_interstitialUrl.isEmpty())
        prepareStill();
}

Ui::SplashScreenController *SplashScreenController::views() const
{
    // Like the root view, the elements are there whenever someone asks for them.
    const_cast<SplashScreenController *>(this)->loadElementsIfNeeded();
    return ui.get();
}

void SplashScreenController::applyAppearance()
{
    setTextColor(m_textColor);
    setTimerTextColor(m_timerTextColor);
    setTimerText(m_timerText);
    setVideoTimerText(m_videoTimerText);
    for (const auto &[color, setter] :
         { std::pair { m_timerBackgroundColor, &SplashScreenController::setTimerBackgroundColor },
           std::pair { m_timerBorderColor, &SplashScreenController::setTimerBorderColor },
           std::pair { m_timerProgressColor, &SplashScreenController::setTimerProgressColor } }) {
        if (color)
            (this->*setter)(*color);
    }
    for (const auto &[width, setter] :
         { std::pair { m_timerBorderWidth, &SplashScreenController::setTimerBorderWidth },
           std::pair { m_timerProgressWidth, &SplashScreenController::setTimerProgressWidth } }) {
        if (width)
            (this->*setter)(*width);
    }
}

SplashScreenController::~SplashScreenController()
{
    m_playback->stop();
    followContainer(nullptr);
    if (m_view)
        disconnect(m_view, &QObject::destroyed, this, nullptr);
    delete m_view.data();
}

ColoredView *SplashScreenController::view() const
{
    views();
    return m_view;
}

QWidget *SplashScreenController::window() const
{
    return m_window;
}

void SplashScreenController::setOutput(SplashScreenControllerProtocolOutput *output)
{
    m_output = output;
}

template<typename Call> bool SplashScreenController::postToMainThread(Call call)
{
    if (MainThread::isCurrent())
        return false;
    postCall(this, std::move(call));
    return true;
}

// ---- Configuring the tree -------------------------------------------------------------

void SplashScreenController::connectActions()
{
    connect(ui->urlButton, &QAbstractButton::clicked, this, [this] { goToURLForBanner(ui->urlButton); });
    connect(ui->closeButton, &QAbstractButton::clicked, this, [this] { closeSplashScreen(ui->closeButton); });
    connect(ui->removeAdsButton, &QAbstractButton::clicked, this, [this] { removeAdsAction(ui->removeAdsButton); });
    connect(ui->removeAdsImageButton, &QAbstractButton::clicked, this,
            [this] { removeAdsAction(ui->removeAdsImageButton); });
    connect(ui->soundButton, &QAbstractButton::clicked, this, [this] { soundOnOff(ui->soundButton); });
    connect(ui->soundButton, &QAbstractButton::toggled, this, &SplashScreenController::applySoundImage);
}

void SplashScreenController::initViewState()
{
    ui->closeButton->setIcon(ResourceIcon::load(QStringLiteral("ads_close_button")));
    m_soundImage = ResourceIcon::load(QStringLiteral("ads_sound_on"));
    m_soundAlternateImage = ResourceIcon::load(QStringLiteral("ads_sound_off"));
    applySoundImage();

    ui->lablesView->textCommentFieldFirst()->setText(
        VLMStringFromKey(QStringLiteral("ApplicationWillBeLaunchedTextFirst")));
    ui->lablesView->textCommentFieldSecond()->setText(
        VLMStringFromKey(QStringLiteral("ApplicationWillBeLaunchedTextSecond")));

    const QString removeAds = VLMStringFromKey(QStringLiteral("RemoveAdsText"));
    ui->removeAdsButton->setText(removeAds);
    ui->removeAdsImageButton->setText(removeAds.split(QLatin1Char(' ')).join(QLatin1Char('\n')).toUpper());

    applyStackingOrder();
    // Pictures, texts and countdowns take no clicks: a click on them is a click on the ad
    // (urlButton beneath) or on a button, also while they fade out over one.
    for (QWidget *decoration :
         { static_cast<QWidget *>(ui->lablesView), static_cast<QWidget *>(ui->iconImageView),
           static_cast<QWidget *>(ui->bgImage), static_cast<QWidget *>(ui->timeVideoLabel),
           static_cast<QWidget *>(ui->videoProgressView), static_cast<QWidget *>(ui->interstitialImage),
           static_cast<QWidget *>(ui->splashScreenPlayerView) })
        decoration->setAttribute(Qt::WA_TransparentForMouseEvents);

    for (QWidget *element :
         { static_cast<QWidget *>(ui->closeButton), static_cast<QWidget *>(ui->splashScreenPlayerView),
           static_cast<QWidget *>(ui->timeVideoLabel), static_cast<QWidget *>(ui->videoProgressView),
           static_cast<QWidget *>(ui->soundButton) })
        setHidden(element, true);

    // Always on a later turn of the loop, so that an icon the host sets first wins.
    QMetaObject::invokeMethod(this, &SplashScreenController::applyIconIfUnset, Qt::QueuedConnection);
}

// Z positions, set while the elements are made: 0 for the backdrop and the ad, 1 for the
// close button (and the start countdown text over its ring), 2 for the video countdown and
// the buttons over the video.
void SplashScreenController::applyStackingOrder()
{
    ui->lablesView->timeLabel()->raise();
    ui->closeButton->raise();
    ui->removeAdsImageButton->raise();
    ui->videoProgressView->raise();
    ui->timeVideoLabel->raise();
    ui->removeAdsButton->raise();
    ui->soundButton->raise();
}

void SplashScreenController::applyIconIfUnset()
{
    if (!m_icon.isNull())
        return;
    const QImage application = appIcon();
    if (application.isNull())
        return;
    m_shownIcon = application;
    layoutViews();
}

void SplashScreenController::applySoundImage()
{
    views()->soundButton->setIcon(views()->soundButton->isChecked() ? m_soundAlternateImage : m_soundImage);
}

// ---- View states ----------------------------------------------------------------------

void SplashScreenController::swapViewForState(int state)
{
    switch (state) {
    case SplashScreenViewStateStart:
        showStartState();
        break;
    case SplashScreenViewStateVideo:
        showVideoState();
        break;
    case SplashScreenViewStateEnd:
        showEndState();
        break;
    default:
        return;
    }
    layoutViews();
}

void SplashScreenController::showStartState()
{
    for (QWidget *element :
         { static_cast<QWidget *>(views()->splashScreenPlayerView), static_cast<QWidget *>(views()->timeVideoLabel),
           static_cast<QWidget *>(views()->videoProgressView), static_cast<QWidget *>(views()->soundButton),
           static_cast<QWidget *>(views()->closeButton), static_cast<QWidget *>(views()->interstitialImage),
           static_cast<QWidget *>(views()->removeAdsImageButton) })
        setHidden(element, true);
    fadeHidden(m_view, false);
    m_rehearsalPending = true;
    fadeHidden(views()->removeAdsButton, m_withouSplash || m_hiddenButtonBeforeVideo);
    fadeHidden(views()->iconImageView, m_withouSplash || m_hiddenIcon || m_hiddenIconBeforeVideo);
    fadeHidden(views()->lablesView, m_withouSplash);
    fadeHidden(views()->bgImage, m_withouSplash || m_hiddenBackgroundImage || m_hiddenBackgroundImageBeforeVideo);
}

void SplashScreenController::showVideoState()
{
    fadeHidden(views()->removeAdsButton, true);
    fadeHidden(views()->iconImageView, true);
    fadeHidden(views()->lablesView, true);
    fadeHidden(views()->removeAdsButton, true);
    fadeHidden(views()->closeButton, true);
    fadeHidden(views()->interstitialImage, true);
    fadeHidden(views()->bgImage, true);
    fadeHidden(views()->removeAdsImageButton, false);
    fadeHidden(m_view, false);
    fadeHidden(views()->splashScreenPlayerView, false);
    fadeHidden(views()->timeVideoLabel, false);
    fadeHidden(views()->videoProgressView, false);
    fadeHidden(views()->soundButton, false);
}

void SplashScreenController::showEndState()
{
    const bool interstitial = !m_interstitialUrl.isEmpty();
    for (QWidget *element :
         { static_cast<QWidget *>(views()->splashScreenPlayerView), static_cast<QWidget *>(views()->timeVideoLabel),
           static_cast<QWidget *>(views()->videoProgressView), static_cast<QWidget *>(views()->soundButton),
           static_cast<QWidget *>(views()->lablesView), static_cast<QWidget *>(views()->removeAdsImageButton) })
        fadeHidden(element, true);
    fadeHidden(m_view, false);
    fadeHidden(views()->iconImageView, interstitial || m_hiddenIcon || m_hiddenIconAfterVideo);
    fadeHidden(views()->removeAdsButton, interstitial || m_hiddenButtonAfterVideo);
    fadeHidden(views()->closeButton, false);
    fadeHidden(views()->interstitialImage, !interstitial);
    fadeHidden(views()->bgImage, interstitial || m_hiddenBackgroundImage || m_hiddenBackgroundImageAfterVideo);
}

void SplashScreenController::setHidden(QWidget *element, bool hidden)
{
    if (!element)
        return;
    stopFade(element);
    element->setProperty(kHiddenTargetProperty, QVariant());
    if (paintsOwnOpacity(element))
        element->setProperty(kOpacityProperty, 1.0);
    else
        element->setGraphicsEffect(nullptr);
    if (element == m_view)
        applyRootOpacity(1.0);
    element->setHidden(hidden);
}

// The root fades without an offscreen copy of the whole window: it paints its colour with
// the fade's opacity and each element on screen takes the same opacity, pictures painting
// it themselves and the small rest through an effect of their own size. The link button
// paints nothing and needs none.
void SplashScreenController::applyRootOpacity(qreal opacity)
{
    const bool done = opacity >= 1.0;
    for (QWidget *element : m_view->findChildren<QWidget *>(Qt::FindDirectChildrenOnly)) {
        if (element == views()->urlButton
            || element->findChild<QPropertyAnimation *>(kFadeName, Qt::FindDirectChildrenOnly))
            continue;
        if (paintsOwnOpacity(element)) {
            element->setProperty(kOpacityProperty, opacity);
        } else if (done || element->isHidden()) {
            element->setGraphicsEffect(nullptr);
        } else {
            auto *effect = qobject_cast<QGraphicsOpacityEffect *>(element->graphicsEffect());
            if (!effect) {
                effect = new QGraphicsOpacityEffect(element);
                element->setGraphicsEffect(effect);
            }
            effect->setOpacity(opacity);
        }
    }
}

bool SplashScreenController::isRootFading() const
{
    return m_view && m_view->findChild<QPropertyAnimation *>(kFadeName, Qt::FindDirectChildrenOnly);
}

// Pictures as large as the window paint their own opacity; anything else fades through an
// opacity effect, which renders it offscreen (cheap for a button, megabytes for a window).
bool SplashScreenController::paintsOwnOpacity(const QWidget *element)
{
    return element->metaObject()->indexOfProperty(kOpacityProperty) >= 0;
}

// Shows or hides an element with a fade of its opacity. A fade-out keeps the element
// visible until it ends; an element whose parent is not on screen switches at once, so
// nothing animates while hidden.
void SplashScreenController::fadeHidden(QWidget *element, bool hidden)
{
    if (!element)
        return;
    const QWidget *parent = element->parentWidget();
    const QVariant target = element->property(kHiddenTargetProperty);
    if (target.isValid() && target.toBool() == hidden)
        return;
    // While the root fades, its elements switch at once and take the root's opacity.
    const bool rootFading = element != m_view && isRootFading();
    if (!parent || !parent->isVisible() || element->isHidden() == hidden || rootFading) {
        setHidden(element, hidden);
        return;
    }
    if (element == m_view)
        finishElementFades();
    stopFade(element);
    // A fade that turns back starts from where the other one stopped.
    const bool turning = target.isValid();
    QObject *painter = element;
    if (paintsOwnOpacity(element)) {
        if (!turning)
            element->setProperty(kOpacityProperty, hidden ? 1.0 : 0.0);
    } else {
        auto *effect = qobject_cast<QGraphicsOpacityEffect *>(element->graphicsEffect());
        if (!effect) {
            effect = new QGraphicsOpacityEffect(element);
            effect->setOpacity(hidden ? 1.0 : 0.0);
            element->setGraphicsEffect(effect);
        }
        painter = effect;
    }
    element->setProperty(kHiddenTargetProperty, hidden);
    element->show();

    auto *fade = new QPropertyAnimation(painter, kOpacityProperty, element);
    fade->setObjectName(kFadeName);
    fade->setDuration(kFadeDurationMs);
    fade->setEndValue(hidden ? 0.0 : 1.0);
    connect(fade, &QPropertyAnimation::finished, element, [this, element, hidden] { setHidden(element, hidden); });
    if (element == m_view) {
        connect(fade, &QVariantAnimation::valueChanged, this,
                [this](const QVariant &opacity) { applyRootOpacity(opacity.toReal()); });
        applyRootOpacity(m_view->opacity());
    }
    fade->start();
}

void SplashScreenController::finishElementFades()
{
    for (QPropertyAnimation *fade : m_view->findChildren<QPropertyAnimation *>(kFadeName)) {
        auto *element = qobject_cast<QWidget *>(fade->parent());
        if (element && element != m_view)
            setHidden(element, element->property(kHiddenTargetProperty).toBool());
    }
}

bool SplashScreenController::isElementHidden(const QWidget *element)
{
    if (!element)
        return true;
    const QVariant target = element->property(kHiddenTargetProperty);
    return target.isValid() ? target.toBool() : element->isHidden();
}

bool SplashScreenController::isFading() const
{
    return m_view && m_view->findChild<QPropertyAnimation *>(kFadeName);
}

// ---- Transitions ----------------------------------------------------------------------

void SplashScreenController::showStartScreen()
{
    if (postToMainThread([this] { showStartScreen(); }))
        return;
    m_canShowEnd = true;
    saveWindowBehavior();
    lockWindowSize();
    setCollectionBehavior(m_oldWindowCollection & kFullScreenAuxiliaryBehavior);
    // Host views added since attaching must not cover the splash screen.
    if (m_view)
        m_view->raise();
    setInteractive(true);
    swapViewForState(SplashScreenViewStateStart);
}

void SplashScreenController::showStartVideoWithoutStartScreen()
{
    if (postToMainThread([this] { showStartVideoWithoutStartScreen(); }))
        return;
    m_canShowEnd = true;
    m_withouSplash = true;
    saveWindowBehavior();
    lockWindowSize();
    setCollectionBehavior(m_oldWindowCollection & kFullScreenAuxiliaryBehavior);
    if (m_view)
        m_view->raise();
    setInteractive(true);
    swapViewForState(SplashScreenViewStateStart);
}

void SplashScreenController::showVideo()
{
    if (postToMainThread([this] { showVideo(); }))
        return;
    m_canShowEnd = false;
    initVideoLayer();
    swapViewForState(SplashScreenViewStateVideo);
    views()->soundButton->setChecked(m_muted);
    fadeHidden(views()->splashScreenPlayerView, false);
}

void SplashScreenController::showEndScreen()
{
    if (postToMainThread([this] { showEndScreen(); }))
        return;
    if (!m_canShowEnd) {
        // The video plays on; only its close button appears.
        fadeHidden(views()->closeButton, false);
        fadeHidden(views()->timeVideoLabel, true);
        fadeHidden(views()->videoProgressView, true);
        return;
    }
    m_withouSplash = false;
    swapViewForState(SplashScreenViewStateEnd);
}

void SplashScreenController::didVideoEnded()
{
    m_canShowEnd = true;
    if (m_output)
        m_output->didVideoEnded();
}

// ---- Video ----------------------------------------------------------------------------

// The video helper is started ahead, during the start screen, and opens the likely video
// paused, so that the video phase only has to say "play". Starting a process costs the main thread a few milliseconds,
// so it waits for the start screen's first painted frame and then for the next turn of the loop.
void SplashScreenController::prepareVideo(const QUrl &likely)
{
    if (postToMainThread([this, likely] { prepareVideo(likely); }))
        return;
    m_likelyVideoUrl = likely;
    m_preparation = VideoPreparation::AwaitingPaint;
}

// The fade-in repaints the whole window every frame; the helper's start and its first
// decoding would take cores from exactly those frames. It starts once the fade is over.
void SplashScreenController::startHelperAfterFadeIn()
{
    auto *fade = m_view->findChild<QPropertyAnimation *>(kFadeName, Qt::FindDirectChildrenOnly);
    if (!fade) {
        startHelperAhead();
        return;
    }
    m_preparation = VideoPreparation::AwaitingFadeIn;
    connect(fade, &QPropertyAnimation::finished, this, [this] {
        if (m_preparation == VideoPreparation::AwaitingFadeIn)
            startHelperAhead();
    });
}

void SplashScreenController::startHelperAhead()
{
    m_preparation = VideoPreparation::Posted;
    QMetaObject::invokeMethod(
        this,
        [this] {
            // A hide or the video itself may have come first.
            if (m_preparation != VideoPreparation::Posted)
                return;
            m_preparation = VideoPreparation::None;
            m_playback->prepare(m_likelyVideoUrl.isEmpty() ? m_videoUrl : m_likelyVideoUrl,
                                views()->splashScreenPlayerView);
        },
        Qt::QueuedConnection);
}

// One element per idle turn of the start screen, laid out by then: the video phase's first
// frame would otherwise pay for all of their first paints at once.
void SplashScreenController::rehearseVideoElements()
{
    for (QWidget *element :
         { static_cast<QWidget *>(views()->removeAdsImageButton), static_cast<QWidget *>(views()->soundButton),
           static_cast<QWidget *>(views()->videoProgressView), static_cast<QWidget *>(views()->timeVideoLabel),
           static_cast<QWidget *>(views()->closeButton) }) {
        IdleQueue::post(element, [this, element] {
            if (isElementHidden(element))
                paintOffscreen(element);
        });
    }
}

void SplashScreenController::initVideoLayer()
{
    m_preparation = VideoPreparation::None;
    m_playerlayer = views()->splashScreenPlayerView;
    m_playback->load(m_videoUrl, m_muted, m_playerlayer);
}

VideoFrameView *SplashScreenController::playerlayer() const
{
    return m_playerlayer;
}

void SplashScreenController::setMuted(bool muted)
{
    m_muted = muted;
    m_playback->setMuted(muted);
}

bool SplashScreenController::isMuted() const
{
    return m_muted;
}

// ---- Pause and resume -----------------------------------------------------------------

// Only a video that is on screen and paused plays on: a hidden, finished or failed one
// stays as it is.
void SplashScreenController::pauseShowVideo()
{
    m_playback->pause();
    pauseProgressViews();
}

void SplashScreenController::continueShowVideo()
{
    m_playback->play();
    compliteProgressViews();
}

void SplashScreenController::pauseShow()
{
    pauseProgressViews();
}

void SplashScreenController::continueShow()
{
    compliteProgressViews();
}

void SplashScreenController::pauseProgressViews()
{
    if (!m_didInitState)
        return;
    views()->lablesView->timeProgressView()->stop();
    views()->videoProgressView->stop();
}

void SplashScreenController::compliteProgressViews()
{
    if (!m_didInitState)
        return;
    views()->lablesView->timeProgressView()->complite();
    views()->videoProgressView->complite();
}

// ---- Teardown -------------------------------------------------------------------------

// After a hide nothing of this splash screen plays or takes input, also during its fade.
// The video widget stays in its view for the next showing.
void SplashScreenController::hide()
{
    m_preparation = VideoPreparation::None;
    m_playback->stop();
    m_playerlayer = nullptr;
    // The window gets back the size policy it had before the showing, resizable or not.
    restoreWindowSize();
    setCollectionBehavior(kFullScreenPrimaryBehavior);
    setInteractive(false);
    fadeHidden(m_view, true);
    // The end screen's decoded picture (megabytes) is not kept between showings: once the
    // fade is over it goes, and the next end screen loads it again.
    QTimer::singleShot(1000, this, [this] {
        if (m_view && m_didInitState && isElementHidden(m_view)) {
            m_preparedStill = {};
            m_shownStill = {};
            views()->interstitialImage->clear();
        }
    });
}

// Buttons that take no input let it through to the root view, which keeps it.
void SplashScreenController::setInteractive(bool on)
{
    if (!m_didInitState)
        return; // made hidden; a showing makes them interactive
    for (QWidget *button :
         { static_cast<QWidget *>(views()->urlButton), static_cast<QWidget *>(views()->closeButton),
           static_cast<QWidget *>(views()->removeAdsButton), static_cast<QWidget *>(views()->removeAdsImageButton),
           static_cast<QWidget *>(views()->soundButton) })
        button->setAttribute(Qt::WA_TransparentForMouseEvents, !on);
}

void SplashScreenController::removeFromWindow()
{
    followContainer(nullptr);
    if (m_view)
        m_view->setParent(nullptr);
}

// ---- Button actions -------------------------------------------------------------------

void SplashScreenController::closeSplashScreen(QAbstractButton *)
{
    m_withouSplash = false;
    if (m_output)
        m_output->didClickClose();
}

void SplashScreenController::removeAdsAction(QAbstractButton *)
{
    if (m_output)
        m_output->didClickRemoveAds();
}

void SplashScreenController::goToURLForBanner(QAbstractButton *)
{
    const bool onAd = !isElementHidden(views()->splashScreenPlayerView) || !isElementHidden(views()->interstitialImage)
        || !isElementHidden(views()->closeButton);
    if (onAd && m_output)
        m_output->didClickOnVideo();
}

void SplashScreenController::soundOnOff(QAbstractButton *sender)
{
    if (m_output && sender)
        m_output->didChangeMuted(sender->isChecked());
}

// ---- Window ---------------------------------------------------------------------------

void SplashScreenController::setWindow(QWidget *window)
{
    m_window = window;
    if (postToMainThread([this, guarded = QPointer<QWidget>(window)] { setWindow(guarded); }))
        return;
    QWidget *container = window ? HostContent::contentView(window) : nullptr;
    if (!container || !m_view)
        return;
    followContainer(container);
    // Added last, so it lies above the host's own views, and hidden until the first state.
    m_view->setParent(HostContent::overlayParent(container));
    m_view->hide();
    m_view->raise();
    applyFrame();
}

// Watches the content view the splash screen covers (its size) and the widget it is a child
// of (views added over it); null lets go of both.
void SplashScreenController::followContainer(QWidget *container)
{
    for (QWidget *watched : { m_container.data(), HostContent::overlayParent(m_container) }) {
        if (watched)
            watched->removeEventFilter(this);
    }
    m_container = container;
    for (QWidget *watched : { container, HostContent::overlayParent(container) }) {
        if (watched)
            watched->installEventFilter(this);
    }
}

void SplashScreenController::setTopInset(double inset)
{
    m_topInset = inset;
    applyFrame();
}

// Covers the container but a strip of topInset points at its top.
void SplashScreenController::applyFrame()
{
    if (!m_container || !m_view)
        return;
    const QRect frame = HostContent::contentRect(m_container);
    const int inset = qRound(m_topInset);
    m_view->setGeometry(frame.x(), frame.y() + inset, frame.width(), frame.height() - inset);
}

void SplashScreenController::saveWindowBehavior()
{
    m_oldWindowCollection = collectionBehavior(m_window);
    // Read at every showing (the host may have changed it since); while our own lock holds,
    // the window is as resizable as it was before it.
    if (!m_sizeLocked)
        m_oldResize = isResizable(m_window);
}

void SplashScreenController::lockWindowSize()
{
    if (!m_window)
        return;
    if (!m_sizeLocked) {
        m_savedMinimumSize = m_window->minimumSize();
        m_savedMaximumSize = m_window->maximumSize();
    }
    m_sizeLocked = true;
    m_window->setFixedSize(m_window->size());
}

void SplashScreenController::restoreWindowSize()
{
    if (!m_window || !m_sizeLocked)
        return;
    m_sizeLocked = false;
    m_window->setMinimumSize(m_savedMinimumSize);
    m_window->setMaximumSize(m_savedMaximumSize);
}

// The value is kept on the window; its full-screen-primary bit maps to the full-screen
// button hint. Changing window flags re-creates a shown native window (a flicker and a
// focus change that would pause the splash screen), so the hint is only changed where
// the platform has such a button or before the window exists natively.
void SplashScreenController::setCollectionBehavior(unsigned int behavior)
{
    if (!m_window)
        return;
    m_window->setProperty(kCollectionBehaviorProperty, behavior);
    const bool primary = behavior & kFullScreenPrimaryBehavior;
    const bool canChange
        = QGuiApplication::platformName() == QLatin1String("cocoa") || !m_window->testAttribute(Qt::WA_WState_Created);
    if (canChange && m_window->windowFlags().testFlag(Qt::WindowFullscreenButtonHint) != primary) {
        const bool wasVisible = m_window->isVisible();
        m_window->setWindowFlag(Qt::WindowFullscreenButtonHint, primary);
        if (wasVisible)
            m_window->show();
    }
}

bool SplashScreenController::eventFilter(QObject *watched, QEvent *event)
{
    // The type first: a view being destroyed still sends events, and comparing it with the
    // guarded pointer would look at it as the view it no longer is.
    if (event->type() == QEvent::Paint && watched == m_view) {
        if (m_preparation == VideoPreparation::AwaitingPaint)
            startHelperAfterFadeIn();
        if (std::exchange(m_rehearsalPending, false))
            rehearseVideoElements();
    }
    // A view the host (or a banner) adds over a showing splash screen goes beneath it, once
    // its own set-up, which may raise it, is done.
    if (event->type() == QEvent::ChildAdded && m_view && watched == m_view->parentWidget()
        && !isElementHidden(m_view)) {
        QMetaObject::invokeMethod(
            m_view, [view = m_view] { view->raise(); }, Qt::QueuedConnection);
    }
    if (event->type() == QEvent::Resize || event->type() == QEvent::Move) {
        if (watched == m_container)
            applyFrame();
        else if (watched == m_view && event->type() == QEvent::Resize)
            layoutViews();
    }
    return QObject::eventFilter(watched, event);
}

// ---- Timer constraints ----------------------------------------------------------------

// Both setters adjust the first constraint: on systems before x.11 it ends 2 points lower
// once both are loaded, the second one unchanged.
void SplashScreenController::setSplashTimerConstraint(LayoutConstraint *constraint)
{
    m_splashTimerConstraint = constraint;
    if (m_splashTimerConstraint && systemMinorVersion() < 11)
        m_splashTimerConstraint->constant -= 1.0;
}

void SplashScreenController::setSpashTimerConstraint1(LayoutConstraint *constraint)
{
    m_spashTimerConstraint1 = constraint;
    if (m_splashTimerConstraint && systemMinorVersion() < 11)
        m_splashTimerConstraint->constant -= 1.0;
}

// ---- Layout ---------------------------------------------------------------------------

QRect SplashScreenController::videoRect() const
{
    if (!m_view)
        return {};
    // The whole view: the picture is drawn under the controls, aspect-fit.
    return m_view->rect();
}

// A splash screen not on screen is laid out in a later turn of the host's loop: its texts load
// fonts and are shaped, which a host registering its windows at start-up should not wait for.
// Showing it lays it out at once.
void SplashScreenController::layoutViews()
{
    if (!m_view || !m_didInitState)
        return;
    if (!m_view->isVisible()) {
        m_layoutPending = true;
        if (!std::exchange(m_layoutQueued, true)) {
            // The first texts measured load their fonts and glyphs, a millisecond or more
            // each: the button's title and the labels' texts are measured a few letters a
            // turn, then the button and the labels whole, each in a turn of its own, then the
            // layout.
            loadGlyphsInTurns(views()->removeAdsButton->baseTitleFont(), views()->removeAdsButton->text());
            for (const QLabel *label :
                 { views()->lablesView->textCommentFieldFirst(), views()->lablesView->textCommentFieldSecond() }) {
                if (label)
                    loadGlyphsInTurns(label->font(), label->text());
            }
            IdleQueue::post(this, [this] { (void)views()->removeAdsButton->sizeHint(); });
            IdleQueue::post(this, [this] {
                if (m_view)
                    (void)views()->lablesView->heightForWidth(m_view->width());
            });
            IdleQueue::post(this, [this] {
                m_layoutQueued = false;
                if (m_layoutPending)
                    layoutNow();
            });
        }
        return;
    }
    layoutNow();
}

// A font loads each glyph the first time it measures or draws it (tens of microseconds each,
// with hinting); a few letters a turn keep every turn short.
void SplashScreenController::loadGlyphsInTurns(const QFont &font, const QString &text)
{
    // Every window's splash screen shows the same texts: their glyphs load once per process.
    static QSet<QString> loaded;
    const QString key = font.key() + QLatin1Char('\n') + text;
    if (text.isEmpty() || loaded.contains(key))
        return;
    loaded.insert(key);
    constexpr qsizetype kLettersPerTurn = 4;
    for (qsizetype at = 0; at < text.size(); at += kLettersPerTurn) {
        IdleQueue::post(this, [font, letters = text.mid(at, kLettersPerTurn)] {
            (void)QFontMetricsF(font).horizontalAdvance(letters);
        });
    }
}

void SplashScreenController::layoutNow()
{
    if (!m_view)
        return;
    m_layoutPending = false;
    const QRect bounds = m_view->rect();
    const int width = bounds.width();
    const int height = bounds.height();

    views()->bgImage->setGeometry(bounds);
    views()->urlButton->setGeometry(bounds);
    views()->splashScreenPlayerView->setGeometry(videoRect());

    // Start and end screens: icon and texts centred above the remove-ads button. A window
    // too low for all of it first shrinks the icon, then leaves it out; the texts with their
    // countdown and the button stay. Without any icon (none set, none of the application's)
    // there is no empty square above the texts either.
    const int buttonWidth
        = qMin(width - 2 * kMargin, qMax(kRemoveAdsMinWidth, views()->removeAdsButton->sizeHint().width()));
    const int buttonTop = height - 2 * kMargin - kRemoveAdsHeight;
    views()->removeAdsButton->setGeometry((width - buttonWidth) / 2, buttonTop, buttonWidth, kRemoveAdsHeight);
    const int labelsHeight = views()->lablesView->heightForWidth(width) > 0 ? views()->lablesView->heightForWidth(width)
                                                                            : views()->lablesView->sizeHint().height();
    // The end screen has no texts: its icon alone is centred.
    const bool withTexts = !isElementHidden(views()->lablesView);
    const int textsHeight = withTexts ? labelsHeight : 0;
    const int room = buttonTop - 2 * kMargin;
    int iconSize = m_shownIcon.isNull() ? 0 : qBound(72, qMin(width, height) / 5, 144);
    iconSize = qMin(iconSize, room - textsHeight - (withTexts ? kIconGap : 0));
    if (iconSize < kSmallestIcon)
        iconSize = 0;
    const int gap = iconSize > 0 && withTexts ? kIconGap : 0;
    const int blockHeight = iconSize + gap + textsHeight;
    const int blockTop = qMax(kMargin, (buttonTop - kMargin - blockHeight) / 2);
    views()->iconImageView->setGeometry((width - iconSize) / 2, blockTop, iconSize, iconSize);
    views()->lablesView->setGeometry(0, blockTop + iconSize + gap, width, labelsHeight);

    // Over the video: countdown top right (where the close button appears), sound and
    // remove-ads at the bottom corners.
    const int ringMargin = m_spashTimerConstraint1 ? qRound(m_spashTimerConstraint1->constant) : kMargin;
    const QRect ring(width - ringMargin - kRingSize, ringMargin, kRingSize, kRingSize);
    views()->videoProgressView->setGeometry(ring);
    const int textOffset = m_splashTimerConstraint ? qRound(m_splashTimerConstraint->constant) : 0;
    views()->timeVideoLabel->setGeometry(ring.translated(0, textOffset));
    QRect close(0, 0, kCloseSize, kCloseSize);
    close.moveCenter(ring.center());
    views()->closeButton->setGeometry(close);
    views()->soundButton->setGeometry(kMargin, height - kMargin - kSoundSize - (kRemoveAdsCircle - kSoundSize) / 2,
                                      kSoundSize, kSoundSize);
    views()->removeAdsImageButton->setGeometry(width - kMargin - kRemoveAdsCircle, height - kMargin - kRemoveAdsCircle,
                                               kRemoveAdsCircle, kRemoveAdsCircle);

    // End screen: the interstitial picture below the close button's bar.
    views()->interstitialImage->setGeometry(
        bounds.adjusted(kMargin, kVideoTopBar, -kMargin, -kMargin).intersected(bounds));
    layoutImages();
}

void SplashScreenController::layoutImages()
{
    if (!m_view || !m_didInitState)
        return;
    const qreal ratio = m_view->devicePixelRatioF();
    views()->bgImage->setPixmap(
        scaledPixmap(m_backgroundImage, views()->bgImage->size(), m_backgroundImageScaling, ratio));
    views()->iconImageView->setPixmap(
        scaledPixmap(m_shownIcon, views()->iconImageView->size(), ImageScaleProportionallyUpOrDown, ratio));
    layoutStill();
}

// The end screen's picture, decoded and scaled on a pool thread when the presenter names it
// at the video's start, so that the end screen on every window only hands over a finished
// picture. Decoded here only when that did not finish in time or the view's size changed.
void SplashScreenController::layoutStill()
{
    const StillKey wanted { m_interstitialUrl, views()->interstitialImage->size(), m_view->devicePixelRatioF() };
    if (m_interstitialUrl.isEmpty() || wanted == m_shownStill)
        return;
    if (m_preparedStill.key == wanted && !m_preparedStill.image.isNull()) {
        views()->interstitialImage->setPixmap(QPixmap::fromImage(std::move(m_preparedStill.image)));
    } else {
        if (isElementHidden(views()->interstitialImage))
            return; // not needed yet
        views()->interstitialImage->setPixmap(
            scaledPixmap(loadImage(m_interstitialUrl), wanted.size, ImageScaleProportionallyUpOrDown, wanted.ratio));
    }
    m_preparedStill = {};
    m_shownStill = wanted;
}

void SplashScreenController::prepareStill()
{
    const StillKey key { m_interstitialUrl, views()->interstitialImage->size(), m_view->devicePixelRatioF() };
    if (key.url.isEmpty() || key == m_shownStill || key == m_preparedStill.key)
        return;
    m_preparedStill = { key, QImage() };
    QPointer<SplashScreenController> self(this);
    PicturePool::start([key, self]() mutable {
        QImage still = scaledImage(loadImage(key.url), key.size, ImageScaleProportionallyUpOrDown, key.ratio);
        postCall(qApp, [self = std::move(self), key, still = std::move(still)]() mutable {
            if (self && self->m_preparedStill.key == key)
                self->m_preparedStill.image = std::move(still);
        });
    });
}

// ---- Appearance -----------------------------------------------------------------------

void SplashScreenController::setVideoUrl(const QUrl &url)
{
    m_videoUrl = url;
}

QUrl SplashScreenController::videoUrl() const
{
    return m_videoUrl;
}

void SplashScreenController::setInterstitialUrl(const QUrl &url)
{
    m_interstitialUrl = url;
    if (m_view && m_didInitState && MainThread::isCurrent())
        prepareStill();
}

QUrl SplashScreenController::interstitialUrl() const
{
    return m_interstitialUrl;
}

void SplashScreenController::setFocus(bool focus)
{
    m_focus = focus;
}

bool SplashScreenController::isFocus() const
{
    return m_focus;
}

void SplashScreenController::setTimerText(const QString &text)
{
    m_timerText = text;
    if (m_didInitState)
        ui->lablesView->timeLabel()->setText(text);
}

void SplashScreenController::setVideoTimerText(const QString &text)
{
    m_videoTimerText = text;
    if (m_didInitState)
        ui->timeVideoLabel->setText(text);
}

void SplashScreenController::startTimerViewFromSec(int fromSec, int endSec)
{
    views()->lablesView->timeProgressView()->startTimerFromSec(float(fromSec), float(endSec));
}

void SplashScreenController::startVideoTimerViewFromSec(int fromSec, int endSec)
{
    views()->videoProgressView->startTimerFromSec(float(fromSec), float(endSec));
}

void SplashScreenController::setBackgroundColor(const QColor &color)
{
    m_backgroundColor = color;
    m_view->setColor(color);
}

void SplashScreenController::setBackgroundImage(const QImage &image)
{
    m_backgroundImage = image;
    layoutImages();
}

void SplashScreenController::setBackgroundImageScaling(unsigned int scaling)
{
    m_backgroundImageScaling = scaling;
    layoutImages();
}

void SplashScreenController::setIcon(const QImage &icon)
{
    m_icon = icon;
    m_shownIcon = icon;
    layoutViews(); // with or without an icon, the texts move
}

void SplashScreenController::setTextColor(const QColor &color)
{
    m_textColor = color;
    if (!m_didInitState)
        return;
    setTextColorOf(views()->lablesView->textCommentFieldFirst(), color);
    setTextColorOf(views()->lablesView->textCommentFieldSecond(), color);
}

void SplashScreenController::setTimerTextColor(const QColor &color)
{
    m_timerTextColor = color;
    if (!m_didInitState)
        return;
    setTextColorOf(views()->lablesView->timeLabel(), color);
    setTextColorOf(views()->timeVideoLabel, color);
}

// The rings pick up their new colours and widths at their next redraw.
void SplashScreenController::setTimerBackgroundColor(const QColor &color)
{
    m_timerBackgroundColor = color;
    if (!m_didInitState)
        return;
    views()->videoProgressView->setBackgroundColor(color);
    views()->lablesView->timeProgressView()->setBackgroundColor(color);
}

void SplashScreenController::setTimerBorderColor(const QColor &color)
{
    m_timerBorderColor = color;
    if (!m_didInitState)
        return;
    views()->videoProgressView->setBackgroundProgressColor(color);
    views()->lablesView->timeProgressView()->setBackgroundProgressColor(color);
}

void SplashScreenController::setTimerProgressColor(const QColor &color)
{
    m_timerProgressColor = color;
    if (!m_didInitState)
        return;
    views()->videoProgressView->setProgressColor(color);
    views()->lablesView->timeProgressView()->setProgressColor(color);
}

void SplashScreenController::setTimerBorderWidth(double width)
{
    m_timerBorderWidth = width;
    if (!m_didInitState)
        return;
    views()->videoProgressView->setWidthBorder(width);
    views()->lablesView->timeProgressView()->setWidthBorder(width);
}

void SplashScreenController::setTimerProgressWidth(double width)
{
    m_timerProgressWidth = width;
    if (!m_didInitState)
        return;
    views()->videoProgressView->setWidthProgress(width);
    views()->lablesView->timeProgressView()->setWidthProgress(width);
}

void SplashScreenController::setHiddenIcon(bool hidden)
{
    m_hiddenIcon = hidden;
}

void SplashScreenController::setHiddenIconBeforeVideo(bool hidden)
{
    m_hiddenIconBeforeVideo = hidden;
}

void SplashScreenController::setHiddenIconAfterVideo(bool hidden)
{
    m_hiddenIconAfterVideo = hidden;
}

void SplashScreenController::setHiddenBackgroundImage(bool hidden)
{
    m_hiddenBackgroundImage = hidden;
}

void SplashScreenController::setHiddenBackgroundImageBeforeVideo(bool hidden)
{
    m_hiddenBackgroundImageBeforeVideo = hidden;
}

void SplashScreenController::setHiddenBackgroundImageAfterVideo(bool hidden)
{
    m_hiddenBackgroundImageAfterVideo = hidden;
}

void SplashScreenController::setHiddenButtonBeforeVideo(bool hidden)
{
    m_hiddenButtonBeforeVideo = hidden;
}

void SplashScreenController::setHiddenButtonAfterVideo(bool hidden)
{
    m_hiddenButtonAfterVideo = hidden;
}

// ---- Outlets --------------------------------------------------------------------------

QWidget *SplashScreenController::splashScreenPlayerView() const
{
    return views()->splashScreenPlayerView;
}

SplashScreenLabelsView *SplashScreenController::lablesView() const
{
    return views()->lablesView;
}

QLabel *SplashScreenController::iconImageView() const
{
    return views()->iconImageView;
}

QLabel *SplashScreenController::bgImage() const
{
    return views()->bgImage;
}

QLabel *SplashScreenController::timeVideoLabel() const
{
    return views()->timeVideoLabel;
}

TimeProgressView *SplashScreenController::videoProgressView() const
{
    return views()->videoProgressView;
}

QAbstractButton *SplashScreenController::urlButton() const
{
    return views()->urlButton;
}

QAbstractButton *SplashScreenController::closeButton() const
{
    return views()->closeButton;
}

QAbstractButton *SplashScreenController::removeAdsButton() const
{
    return views()->removeAdsButton;
}

QAbstractButton *SplashScreenController::removeAdsImageButton() const
{
    return views()->removeAdsImageButton;
}

QAbstractButton *SplashScreenController::soundButton() const
{
    return views()->soundButton;
}

QLabel *SplashScreenController::interstitialImage() const
{
    return views()->interstitialImage;
}

} // namespace velmora
