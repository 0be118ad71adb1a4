#pragma once

#include <QColor>
#include <QRect>
#include <QRegion>

#include <functional>

class QPainter;

namespace velmora {

// Qt's raster engine hands some paints to its GUI thread pool and waits for them: blending an
// image, or filling translucently, under a clip of more than one rectangle, and a translucent
// fill of 96 rows or more. While the machine's cores are busy (a video starting, the host at
// work) that wait is longer than the paint itself. These keep a view's paint on its thread.
class SerialPaint {
public:
    // Calls `paint` once for each rectangle of `region`, with the painter clipped to it.
    static void eachRect(QPainter &painter, const QRegion &region, const std::function<void(const QRect &)> &paint);
    // Fills `rect` with `color` a few rows at a time.
    static void fillRect(QPainter &painter, const QRect &rect, const QColor &color);

private:
    static constexpr int kBandRows = 32;
};

} // namespace velmora
