#include "controls/PictureView.h"

#include <QPainter>
#include <QStyle>

namespace velmora {

PictureView::PictureView(QWidget *parent)
    : QLabel(parent)
{
}

void PictureView::setOpacity(qreal opacity)
{
    opacity = qBound(0.0, opacity, 1.0);
    if (qFuzzyCompare(opacity, m_opacity))
        return;
    m_opacity = opacity;
    update();
}

void PictureView::paintEvent(QPaintEvent *event)
{
    if (m_opacity >= 1.0) {
        QLabel::paintEvent(event);
        return;
    }
    const QPixmap picture = pixmap();
    if (m_opacity <= 0.0 || picture.isNull())
        return;
    QPainter painter(this);
    painter.setOpacity(m_opacity);
    style()->drawItemPixmap(&painter, contentsRect(), int(alignment()), picture);
}

} // namespace velmora
