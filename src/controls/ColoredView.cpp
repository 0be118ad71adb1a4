#include "controls/ColoredView.h"

#include <QPainter>
#include <QPainterPath>

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

void ColoredView::paintEvent(QPaintEvent *)
{
    if (!m_color.isValid() || isInvisible())
        return;
    // The rounded rectangle reaches one radius above the view, so only its bottom
    // corners show rounded.
    const QRectF shape = QRectF(rect()).adjusted(0, -kCornerRadius, 0, 0);
    QPainterPath path;
    path.addRoundedRect(shape, kCornerRadius, kCornerRadius);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(opacity());
    painter.fillPath(path, m_color);
}

} // namespace velmora
