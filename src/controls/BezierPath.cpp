#include "controls/BezierPath.h"

#include <QPainter>

namespace velmora {

void BezierPath::GradientLayer::paint(QPainter &painter, const QPointF &position) const
{
    painter.save();
    painter.translate(position - frame.topLeft());
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawPath(shape);
    painter.restore();
}

QPainterPath BezierPath::CGPathFromPath(const QPainterPath &path)
{
    QPainterPath copy;
    const int count = path.elementCount();
    for (int i = 0; i < count; ++i) {
        const QPainterPath::Element element = path.elementAt(i);
        switch (element.type) {
        case QPainterPath::MoveToElement:
            copy.moveTo(element);
            break;
        case QPainterPath::LineToElement:
            copy.lineTo(element);
            break;
        case QPainterPath::CurveToElement:
            // A cubic curve is stored as its first control point and two data elements.
            if (i + 2 < count) {
                copy.cubicTo(element, path.elementAt(i + 1), path.elementAt(i + 2));
                i += 2;
            }
            break;
        default:
            qWarning("Invalid NSBezierPathElement");
            Q_ASSERT_X(false, "BezierPath::CGPathFromPath", "Invalid NSBezierPathElement");
            break;
        }
    }
    // Set afterwards: on an empty path it would add an element.
    if (!copy.isEmpty())
        copy.setFillRule(path.fillRule());
    return copy;
}

BezierPath::GradientLayer BezierPath::startAnimationPathGradientFill(const QPainterPath &shape, const QRectF &rect,
                                                                     const QColor &fromColor, const QColor &toColor)
{
    GradientLayer layer;
    layer.shape = CGPathFromPath(shape);
    layer.frame = QRectF(QPointF(0, 0), rect.size());
    layer.gradient = QLinearGradient(QPointF(0, 0), QPointF(0, rect.height()));
    layer.gradient.setColorAt(0, fromColor);
    layer.gradient.setColorAt(1, toColor);
    return layer;
}

} // namespace velmora
