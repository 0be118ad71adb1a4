#include "controls/PictureView.h"

#include <QPainter>
#include <QStyle>

namespace velmora {

PictureView::PictureView(QWidget *parent)
    : QLabel(parent)
{
}

void PictureView::paintEvent(QPaintEvent *event)
{
    if (m_opacity.isOpaque()) {
        QLabel::paintEvent(event);
        return;
    }
    const QPixmap picture = pixmap();
    if (m_opacity.isInvisible() || picture.isNull())
        return;
    QPainter painter(this);
    painter.setOpacity(m_opacity.value());
    style()->drawItemPixmap(&painter, contentsRect(), int(alignment()), picture);
}

} // namespace velmora
