#include "controls/SerialPaint.h"

#include <QPainter>

namespace velmora {

void SerialPaint::eachRect(QPainter &painter, const QRegion &region, const std::function<void(const QRect &)> &paint)
{
    for (const QRect &rect : region) {
        painter.setClipRect(rect);
        paint(rect);
    }
}

void SerialPaint::fillRect(QPainter &painter, const QRect &rect, const QColor &color)
{
    for (int top = rect.top(); top <= rect.bottom(); top += kBandRows)
        painter.fillRect(QRect(rect.left(), top, rect.width(), qMin(kBandRows, rect.bottom() + 1 - top)), color);
}

} // namespace velmora
