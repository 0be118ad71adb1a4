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

// Faded or not, one rectangle of the update region at a time: the picture is as large as the
// window, and blended under a clip of several rectangles (the ring and the button above it
// repainting together) it would go to Qt's GUI thread pool.
void PictureView::paintEvent(QPaintEvent *event)
{
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
