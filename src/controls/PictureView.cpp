#include "controls/PictureView.h"

#include "controls/SerialPaint.h"

#include <QPaintEvent>
#include <QPainter>
#include <QStyle>

namespace velmora {

PictureView::PictureView(QWidget *parent)
    : QLabel(parent)
    , FadeOpacity(this)
{
}

void PictureView::paintEvent(QPaintEvent *event)
{
    if (isOpaque()) {
        QLabel::paintEvent(event);
        return;
    }
    const QPixmap picture = pixmap();
    if (isInvisible() || picture.isNull())
        return;
    QPainter painter(this);
    painter.setOpacity(opacity());
    SerialPaint::eachRect(painter, event->region(), [&](const QRect &) {
        style()->drawItemPixmap(&painter, contentsRect(), int(alignment()), picture);
    });
}

} // namespace velmora
