#include <velmora/BannerController.h>

#include "banners/BannerDownloadDelegate.h"
#include "banners/BannerShadowEffect.h"
#include "content/AdsDownloader.h"
#include "content/AdsEventLogger.h"
#include "controls/BannerImageView.h"
#include "support/HostContent.h"
#include "support/MainThread.h"
#include "support/PostCall.h"
#include "support/ResourceIcon.h"
#include "support/StandardNames.h"
#include "support/Switches.h"
#include "ui_BannerController.h"

#include <velmora/Bundle.h>
#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>
#include <velmora/Support.h>
#include <velmora/Timer.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDesktopServices>
#include <QEvent>
#include <QLoggingCategory>
#include <QMainWindow>
#include <QMouseEvent>
#include <QPointer>
#include <QPropertyAnimation>
#include <QRandomGenerator>

#include <optional>

namespace velmora {

namespace {

Q_LOGGING_CATEGORY(lcBanners, "velmora", QtInfoMsg)

const QString kNameKey = QStringLiteral("name");
const QString kWebBannerName = QStringLiteral("Web Banner");
const QString kHostIdentifierKey = QStringLiteral("MetrivoAppId");
// The close button's side and its distance from the banner's top and trailing edges.
constexpr double kCloseButtonSide = 18.0;
constexpr double kCloseButtonMargin = 4.0;

// A path built from a missing file name carries this mark.
bool isUsableFile(const QUrl &url)
{
    return !url.isEmpty() && !url.path().contains(QLatin1String("/(null)"));
}

} // namespace

struct BannerController::Private {
    std::unique_ptr<Ui::BannerController> ui = std::make_unique<Ui::BannerController>();
    QPointer<QWidget> view;
    BannerShadowEffect *shadow = nullptr;
    QPointer<QWidget> window;
    QPointer<QWidget> viewController;
    QPointer<QWidget> superview;
    // The host view the banner sits at the bottom of (its parent, unless that adopts children).
    QPointer<QWidget> content;

    AdsDownloader *downloader = nullptr;
    BannerDownloadDelegate *delegate = nullptr;
    QRandomGenerator *random = nullptr;
    QPointer<Timer> bannerSwapTimer;
    QVariantMap bannerInfo;
    QString selectBanner;
    QUrl currentURL;
    QUrl currentLink;
    // What the picture being read stands for, applied when it shows.
    struct Pending {
        QString selection;
        QUrl url;
        bool downloaded = false;
    } pending;

    // Constraint constants; centre and bottom exist once the view is placed, the aspect
    // ratio once a picture is shown.
    double height = 100.0;
    double shadowBotOfset = 4.0;
    std::optional<double> centerX;
    std::optional<double> bottom;
    std::optional<double> aspect;
    bool removing = false;
};

BannerController *BannerController::addBannerToWindow(QWidget *window)
{
    auto *controller = new BannerController(window);
    controller->setWindow(window);
    return controller;
}

BannerController *BannerController::addBannerToViewController(QWidget *viewController, QWidget *view)
{
    auto *controller = new BannerController(viewController ? viewController : view);
    controller->setViewController(viewController, view);
    return controller;
}

BannerController::BannerController(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
    // Made at start-up so a tracking queue saved by an earlier run is loaded.
    AdsEventLogger::sharedInstance();
    d->view = new QWidget;
    d->ui->setupUi(d->view);
    d->height = d->view->property("bannerHeight").toDouble();
    d->shadowBotOfset = d->view->property("shadowBotOfset").toDouble();
    d->shadow = new BannerShadowEffect(d->shadowBotOfset, d->view);
    d->view->setGraphicsEffect(d->shadow);
    d->view->installEventFilter(this);
    // A click on the banner is the banner's: neither it nor a double click or a wheel turn
    // reaches the host's widget underneath.
    d->view->setAttribute(Qt::WA_NoMousePropagation);
    d->ui->bannerImage->installEventFilter(this);
    connect(d->ui->bannerImage, &BannerImageView::imageChanged, this, &BannerController::pictureChanged);
    connect(d->ui->closeButton, &QAbstractButton::clicked, this, &BannerController::removeBannerAction);
    viewDidLoad();
}

BannerController::~BannerController()
{
    if (d->bannerSwapTimer)
        d->bannerSwapTimer->invalidate();
    detachFromView();
    delete d->view.data();
}

void BannerController::viewDidLoad()
{
    initBanners();
    if (Switches::isADSRemoved()) {
        if (d->bannerSwapTimer)
            d->bannerSwapTimer->invalidate();
        d->view->hide();
    }
}

void BannerController::initBanners()
{
    d->downloader = AdsDownloader::sharedInstance();
    d->delegate = new BannerDownloadDelegate([this] { endDownloadСonfiguration(); }, this);
    d->downloader->addDelegate(d->delegate);
    d->downloader->startUpdateAllAds();

    d->ui->bannerImage->setAnimates(true);
    d->ui->closeButton->setIcon(ResourceIcon::load(QStringLiteral("ads_close_button")));
}

template<typename Call> bool BannerController::postToMainThread(Call call)
{
    if (MainThread::isCurrent())
        return false;
    postCall(this, std::move(call));
    return true;
}

// ---- Rotation and display -----------------------------------------------------------------------

void BannerController::endDownloadСonfiguration()
{
    // Always later on the main thread: the downloader may call from a completion handler.
    QMetaObject::invokeMethod(
        this,
        [this] {
            qCInfo(lcBanners).noquote() << QStringLiteral("endDownloadСonfiguration");
            swapBanners();
        },
        Qt::QueuedConnection);
}

bool BannerController::isWindowVisible() const
{
    QWidget *host = window();
    return host && host->isVisible() && !host->isMinimized();
}

void BannerController::swapBanners()
{
    if (postToMainThread([this] { swapBanners(); }))
        return;
    if (d->bannerSwapTimer)
        d->bannerSwapTimer->invalidate();
    d->bannerSwapTimer = nullptr;
    // A hidden window ends the chain; the next download cycle starts it again.
    if (!isWindowVisible() || !d->view || d->removing || Switches::isADSRemoved())
        return;
    d->bannerInfo = d->downloader->bannerInfo();
    d->downloader->downloadBannerWithComplitionBlock([self = QPointer<BannerController>(this)] {
        if (self)
            self->displayBanner();
    });
    d->bannerSwapTimer = Timer::scheduled(kSwapInterval, false, this, [this] { swapBanners(); });
    setGodTimer(d->bannerSwapTimer);
}

void BannerController::displayBanner()
{
    if (postToMainThread([this] { displayBanner(); }))
        return;
    if (!d->view || d->removing || Switches::isADSRemoved())
        return;
    const QUrl file = d->downloader->bannerURL();
    if (isUsableFile(file) && file.isLocalFile()) {
        const QString name = d->downloader->bannerInfo().value(kNameKey).toString();
        showPicture(file.toLocalFile(), name.isEmpty() ? kWebBannerName : name, d->downloader->linkBannerURL(), true);
        return;
    }
    showHouseBanner();
}

void BannerController::showHouseBanner()
{
    const QMap<QString, QString> banners = standardBanners();
    if (banners.isEmpty())
        return;
    const QStringList keys = banners.keys();
    QRandomGenerator *random = d->random ? d->random : QRandomGenerator::system();
    const QString key = keys.at(int(random->generate() % quint32(keys.size())));
    showPicture(StandardNames::bannerPath(key), key, QUrl(banners.value(key)), false);
}

void BannerController::setBannerGifImageWithURL(const QUrl &url)
{
    const QString name = d->downloader->bannerInfo().value(kNameKey).toString();
    showPicture(url.isLocalFile() ? url.toLocalFile() : QString(), name.isEmpty() ? kWebBannerName : name,
                d->currentURL, false);
}

void BannerController::setBannerGifImageWithName(const QString &name)
{
    showPicture(StandardNames::bannerPath(name), name, d->currentURL, false);
}

// The picture is read and scaled on the picture thread; the banner keeps showing the one before
// until the first frame is ready, so a click always goes where the picture on screen says.
void BannerController::showPicture(const QString &path, const QString &selection, const QUrl &url, bool downloaded)
{
    if (!d->view)
        return;
    d->pending = { selection, url, downloaded };
    d->ui->bannerImage->setSource(path);
}

void BannerController::pictureChanged()
{
    if (!d->view || d->removing)
        return;
    const Private::Pending pending = std::exchange(d->pending, {});
    BannerImageView *image = d->ui->bannerImage;
    // A stored error page instead of a picture falls back to a house banner.
    if (!image->hasImage() && pending.downloaded) {
        showHouseBanner();
        return;
    }
    d->selectBanner = pending.selection;
    d->currentURL = pending.url;
    setBannerHidden(!image->hasImage());
    updateBannerConstraint();
    Q_EMIT bannerChanged();
}

void BannerController::goToBannerURL()
{
    QDesktopServices::openUrl(d->currentURL);
    NotificationCenter::defaultCenter()->post(QLatin1String(VLMclickForBanner), d->selectBanner);
}

void BannerController::removeBannerAction()
{
    NotificationCenter::defaultCenter()->post(QLatin1String(VLMtryRemoveAds));
}

void BannerController::removeADS()
{
    if (d->bannerSwapTimer)
        d->bannerSwapTimer->invalidate();
    d->bannerSwapTimer = nullptr;
    if (!d->view || d->removing)
        return;
    d->removing = true;
    // Nothing animates in a window that is not on screen.
    if (!d->view->isVisible()) {
        detachFromView();
        d->view->deleteLater();
        return;
    }
    auto *fade = new QPropertyAnimation(d->shadow, "opacity", d->view);
    fade->setDuration(kFadeDurationMs);
    fade->setStartValue(d->shadow->opacity());
    fade->setEndValue(0.0);
    connect(fade, &QPropertyAnimation::finished, this, [this] {
        detachFromView();
        if (d->view)
            d->view->deleteLater();
    });
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}

void BannerController::setBannerHidden(bool hidden)
{
    // A view that was never placed would show as a window of its own.
    if (d->view && (hidden || d->view->parentWidget()))
        d->view->setHidden(hidden);
}

void BannerController::setRandomGenerator(QRandomGenerator *generator)
{
    d->random = generator;
}

bool BannerController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == d->superview && (event->type() == QEvent::Resize || event->type() == QEvent::Move))
        layoutBanner();
    else if (watched == d->view && event->type() == QEvent::Resize)
        layoutContents();
    else if (watched == d->ui->bannerImage && event->type() == QEvent::MouseButtonRelease) {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() == Qt::LeftButton && d->ui->bannerImage->rect().contains(mouse->position().toPoint()))
            goToBannerURL();
    }
    return QObject::eventFilter(watched, event);
}

// ---- Placement --------------------------------------------------------------------------------

void BannerController::setWindow(QWidget *window)
{
    d->window = window;
    if (postToMainThread([this, guard = QPointer<QWidget>(window)] { setWindow(guard); }))
        return;
    if (Switches::isADSRemoved()) {
        if (d->bannerSwapTimer)
            d->bannerSwapTimer->invalidate();
        d->view->hide();
        return;
    }
    if (QWidget *container = HostContent::contentView(window)) {
        d->content = container;
        d->view->setParent(HostContent::overlayParent(container));
        d->view->show();
        setBannerConstraints();
    }
}

void BannerController::setViewController(QWidget *viewController, QWidget *view)
{
    d->viewController = viewController;
    if (postToMainThread(
            [this, vc = QPointer<QWidget>(viewController), v = QPointer<QWidget>(view)] { setViewController(vc, v); }))
        return;
    if (Switches::isADSRemoved()) {
        if (d->bannerSwapTimer)
            d->bannerSwapTimer->invalidate();
        d->view->hide();
        return;
    }
    if (QWidget *container = view ? view : viewController) {
        d->content = container;
        d->view->setParent(HostContent::overlayParent(container));
        d->view->show();
        setBannerConstraints();
    }
}

QWidget *BannerController::window() const
{
    if (d->window)
        return d->window;
    // A view controller's window is looked up when asked: a Qt host may put the widget
    // into its window after adding the banner.
    return d->viewController ? d->viewController->window() : nullptr;
}

QWidget *BannerController::view() const
{
    return d->view;
}

void BannerController::setBannerConstraints()
{
    QWidget *superview = d->content ? d->content.data() : (d->view ? d->view->parentWidget() : nullptr);
    if (!superview)
        return;
    detachFromView();
    d->superview = superview;
    superview->installEventFilter(this);
    d->centerX = 0.0;
    d->bottom = d->shadowBotOfset;
    layoutBanner();
}

void BannerController::detachFromView()
{
    if (d->superview)
        d->superview->removeEventFilter(this);
    d->superview = nullptr;
}

void BannerController::updateBannerConstraint()
{
    if (!d->view)
        return;
    const QSize image = d->ui->bannerImage->imageSize();
    if (d->ui->bannerImage->hasImage() && !image.isEmpty())
        d->aspect = double(image.width()) / image.height();
    layoutBanner();
}

QRectF BannerController::bannerFrame() const
{
    if (!d->superview || !d->view || !d->bottom || !d->centerX)
        return {};
    const double width = d->height * d->aspect.value_or(0.0);
    const double containerWidth = d->superview->width();
    double x = (containerWidth - width) / 2 + *d->centerX;
    // The trailing edge wins over the centre: the banner never sticks out on the right.
    x = std::min(x, containerWidth - width);
    const double y = d->superview->height() - *d->bottom - d->height;
    return QRectF(x, y, width, d->height);
}

void BannerController::layoutBanner()
{
    if (!d->view || !d->superview || !d->bottom)
        return;
    // The frame is in the host view's coordinates; the banner's parent may be its parent.
    const QPoint origin = d->view->parentWidget() ? d->superview->mapTo(d->view->parentWidget(), QPoint()) : QPoint();
    const QRectF frame = bannerFrame().translated(origin);
    d->view->setGeometry(QRect(qRound(frame.x()), qRound(frame.y()), qRound(frame.width()), qRound(frame.height())));
    layoutContents();
}

void BannerController::layoutContents()
{
    if (!d->view)
        return;
    const QRect bounds = d->view->rect();
    d->ui->bannerImage->setGeometry(bounds);
    const int side = qRound(kCloseButtonSide);
    const int margin = qRound(kCloseButtonMargin);
    d->ui->closeButton->setGeometry(bounds.right() + 1 - margin - side, bounds.top() + margin, side, side);
    d->ui->closeButton->raise();
}

void BannerController::setHeight(double height)
{
    d->height = height;
    layoutBanner();
}

double BannerController::height() const
{
    return d->height;
}

void BannerController::setBottomInset(double inset)
{
    if (!d->bottom)
        return;
    d->bottom = inset + d->shadowBotOfset;
    layoutBanner();
}

double BannerController::bottomInset() const
{
    return d->bottom.value_or(0.0) - d->shadowBotOfset;
}

void BannerController::setCenterXInset(double inset)
{
    if (!d->centerX)
        return;
    d->centerX = inset;
    layoutBanner();
}

double BannerController::centerXInset() const
{
    return d->centerX.value_or(0.0);
}

double BannerController::shadowBotOfset() const
{
    return d->shadowBotOfset;
}

// ---- What is on screen ------------------------------------------------------------------------

QString BannerController::selectBanner() const
{
    return d->selectBanner;
}

QUrl BannerController::currentURL() const
{
    return d->currentURL;
}

QUrl BannerController::currentLink() const
{
    return d->currentLink;
}

void BannerController::setCurrentLink(const QUrl &link)
{
    d->currentLink = link;
}

Timer *BannerController::bannerSwapTimer() const
{
    return d->bannerSwapTimer;
}

QVariantMap BannerController::bannerInfo() const
{
    return d->bannerInfo;
}

// Asked when a house banner is due, not as the banner is added: the host's Info.plist is
// then read (on the picture thread, warmed as the framework starts), not in the host's
// start-up step.
QMap<QString, QString> BannerController::standardBanners() const
{
    QMap<QString, QString> banners = StandardNames::standardBanners();
    // No host advertises itself.
    banners.remove(VLMMainAppBundle().objectForInfoDictionaryKey(kHostIdentifierKey).toString());
    return banners;
}

BannerImageView *BannerController::bannerImage() const
{
    return d->view ? d->ui->bannerImage : nullptr;
}

QAbstractButton *BannerController::closeButton() const
{
    return d->view ? d->ui->closeButton : nullptr;
}

} // namespace velmora
