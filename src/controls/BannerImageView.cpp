#include "controls/BannerImageView.h"

#include <QEvent>
#include <QMovie>
#include <QPainter>
#include <QPainterPath>

namespace velmora {

BannerImageView::BannerImageView(QWidget *parent)
    : QWidget(parent)
{
}

BannerImageView::~BannerImageView() = default;

double BannerImageView::cornerRadius(double height)
{
    constexpr double radius = 4.0;
    return radius > height / 10.0 ? 2.0 : radius;
}

void BannerImageView::setImage(std::unique_ptr<QMovie> image)
{
    m_image.reset();
    m_imageSize = QSize();
    // The first frame tells whether the file is a picture at all and how large it is.
    if (image && image->isValid() && image->jumpToFrame(0) && !image->currentImage().isNull()) {
        m_imageSize = image->currentImage().size();
        m_image = std::move(image);
        connect(m_image.get(), &QMovie::updated, this, [this] { update(); });
    }
    updateAnimation();
    update();
}

QMovie *BannerImageView::image() const
{
    return m_image.get();
}

QSize BannerImageView::imageSize() const
{
    return m_imageSize;
}

void BannerImageView::setAnimates(bool animates)
{
    m_animates = animates;
    updateAnimation();
}

bool BannerImageView::animates() const
{
    return m_animates;
}

bool BannerImageView::isAnimating() const
{
    return m_image && m_image->state() == QMovie::Running;
}

// A minimised window keeps its children "visible", so its state is watched as well: frames
// nobody can see must cost the host nothing.
void BannerImageView::updateAnimation()
{
    if (!m_image || m_image->frameCount() == 1)
        return;
    const bool run = m_animates && isVisible() && !window()->isMinimized();
    if (run && m_image->state() == QMovie::NotRunning)
        m_image->start();
    else
        m_image->setPaused(!run);
}

void BannerImageView::watchWindow()
{
    QWidget *top = window();
    if (top == m_watchedWindow)
        return;
    if (m_watchedWindow)
        m_watchedWindow->removeEventFilter(this);
    m_watchedWindow = top != this ? top : nullptr;
    if (m_watchedWindow)
        m_watchedWindow->installEventFilter(this);
}

bool BannerImageView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_watchedWindow && event->type() == QEvent::WindowStateChange)
        updateAnimation();
    return QWidget::eventFilter(watched, event);
}

bool BannerImageView::event(QEvent *event)
{
    if (event->type() == QEvent::ParentChange || event->type() == QEvent::WindowStateChange) {
        watchWindow();
        updateAnimation();
    }
    return QWidget::event(event);
}

void BannerImageView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    watchWindow();
    updateAnimation();
}

void BannerImageView::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    updateAnimation();
}

void BannerImageView::paintEvent(QPaintEvent *)
{
    if (!m_image)
        return;
    const QImage frame = m_image->currentImage();
    if (frame.isNull())
        return;
    const QRectF bounds = rect();
    const double radius = cornerRadius(bounds.height());
    QPainterPath clip;
    clip.addRoundedRect(bounds, radius, radius);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setClipPath(clip);
    // Scaled proportionally into the bounds and centred, as the platform's image view does.
    QSizeF size = QSizeF(frame.size()).scaled(bounds.size(), Qt::KeepAspectRatio);
    QRectF target(QPointF(), size);
    target.moveCenter(bounds.center());
    painter.drawImage(target, frame);
}

} // namespace velmora
