#include "controls/ColoredView.h"

#include "controls/SerialPaint.h"

#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>

namespace velmora {

ColoredView::ColoredView(QWidget *parent)
    : QWidget(parent)
    , FadeOpacity(this)
    , m_color(Qt::white)
{
}

QColor ColoredView::color() const
{
    return m_color;
}

void ColoredView::setColor(const QColor &color)
{
    m_color = color;
    update();
}

void ColoredView::paintEvent(QPaintEvent *event)
{
    if (!m_color.isValid() || isInvisible())
        return;
    QPainter painter(this);
    painter.setOpacity(opacity());
    // Only the bottom corners are rounded; above them the view is a plain rectangle.
    const int cornerRows = qMin(height(), qCeil(kCornerRadius));
    const QRect body(0, 0, width(), height() - cornerRows);
    const QRect corners(0, height() - cornerRows, width(), cornerRows);
    SerialPaint::eachRect(painter, event->region(), [&](const QRect &area) {
        SerialPaint::fillRect(painter, body.intersected(area), m_color);
        const QRect bottom = corners.intersected(area);
        if (bottom.isEmpty())
            return;
        // Most updates (a ring, a label) lie above the corners and never need the shape.
        QPainterPath rounded;
        rounded.addRoundedRect(QRectF(0, height() - 2 * kCornerRadius, width(), 2 * kCornerRadius), kCornerRadius,
                               kCornerRadius);
        painter.setClipRect(bottom);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(rounded, m_color);
        painter.setRenderHint(QPainter::Antialiasing, false);
    });
}

} // namespace velmora
