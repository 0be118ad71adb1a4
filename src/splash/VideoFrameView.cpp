#include "splash/VideoFrameView.h"

#include <QPainter>

namespace velmora {

VideoFrameView::VideoFrameView(QWidget *parent)
    : QWidget(parent)
{
    // Clicks go to the link button above and through it to the splash screen.
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void VideoFrameView::setFrame(const QImage &frame)
{
    m_frame = frame;
    update();
}

void VideoFrameView::clear()
{
    if (m_frame.isNull())
        return;
    m_frame = QImage();
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

void VideoFrameView::paintEvent(QPaintEvent *)
{
    if (m_frame.isNull())
        return;
    const QRect target = fittedRect(m_frame.deviceIndependentSize().toSize(), rect());
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, target.size() != m_frame.size());
    painter.drawImage(target, m_frame);
    emit framePainted();
}

} // namespace velmora
