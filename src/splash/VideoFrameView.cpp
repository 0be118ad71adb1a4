#include "splash/VideoFrameView.h"

#include "controls/SerialPaint.h"

#include <QPaintEvent>
#include <QPainter>
#include <QRegion>

namespace velmora {

VideoFrameView::VideoFrameView(QWidget *parent)
    : QWidget(parent)
    , FadeOpacity(this)
{
    // Clicks go to the link button above and through it to the splash screen.
    setAttribute(Qt::WA_TransparentForMouseEvents);
    // Fully opaque, it covers what lies beneath: a new frame repaints neither the root
    // view nor the pictures behind it.
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void VideoFrameView::setFrame(const QImage &frame)
{
    // Only the picture changes; the black around it stays as painted.
    const QRect before = fittedRect(m_frame.deviceIndependentSize().toSize(), rect());
    m_frame = frame;
    const QRect after = fittedRect(m_frame.deviceIndependentSize().toSize(), rect());
    update(before == after ? after : rect());
}

void VideoFrameView::clear()
{
    if (m_frame.isNull())
        return;
    m_frame = QImage();
    update();
}

void VideoFrameView::opacityChanged()
{
    setAttribute(Qt::WA_OpaquePaintEvent, isOpaque());
    update();
}

QRect VideoFrameView::fittedRect(const QSize &frame, const QRect &bounds)
{
    if (frame.isEmpty() || bounds.isEmpty())
        return {};
    QRect fitted(QPoint(), frame.scaled(bounds.size(), Qt::KeepAspectRatio));
    fitted.moveCenter(bounds.center());
    return fitted;
}

void VideoFrameView::paintEvent(QPaintEvent *event)
{
    if (isInvisible())
        return;
    QPainter painter(this);
    painter.setOpacity(opacity());
    const QRect target = fittedRect(m_frame.deviceIndependentSize().toSize(), rect());
    painter.setRenderHint(QPainter::SmoothPixmapTransform, target.size() != m_frame.size());
    // Only the bars are black: a frame fills the rest, and the helper sends it at this size.
    const QRegion bars = QRegion(rect()).subtracted(target);
    SerialPaint::eachRect(painter, event->region(), [&](const QRect &area) {
        for (const QRect &bar : bars.intersected(area))
            SerialPaint::fillRect(painter, bar, Qt::black);
        if (!m_frame.isNull() && target.intersects(area))
            painter.drawImage(target, m_frame);
    });
    if (!m_frame.isNull())
        emit framePainted();
}

} // namespace velmora
