#pragma once

#include <QColor>
#include <QLinearGradient>
#include <QPainterPath>
#include <QRectF>

class QPainter;

namespace velmora {

// Vector-path helpers of the drawn controls: copying a path element by element and a
// gradient fill in the shape of a path, painted later at an offset (the shine's "layer").
class BezierPath {
public:
    // A gradient-filled shape: `gradient` spans `frame` vertically, first colour at the top.
    struct GradientLayer {
        QPainterPath shape;
        QRectF frame;
        QLinearGradient gradient;

        // Paints the layer with its frame's origin moved to `position`.
        void paint(QPainter &painter, const QPointF &position) const;
    };

    // A new path with the same elements as `path`.
    static QPainterPath CGPathFromPath(const QPainterPath &path);

    // A layer shaped like `shape`, as large as `rect`, from `fromColor` (top) to `toColor`.
    static GradientLayer startAnimationPathGradientFill(const QPainterPath &shape, const QRectF &rect,
                                                        const QColor &fromColor, const QColor &toColor);
};

} // namespace velmora
