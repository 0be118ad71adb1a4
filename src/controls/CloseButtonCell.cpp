#include "controls/CloseButtonCell.h"

#include <QOperatingSystemVersion>
#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace velmora {

namespace {

int systemMinorVersion()
{
    const QOperatingSystemVersion system = QOperatingSystemVersion::current();
    // An unknown system counts as version 0.0.0.
    if (system.type() == QOperatingSystemVersion::Unknown)
        return 0;
    return qMax(0, system.minorVersion());
}

} // namespace

CloseButtonCell::CloseButtonCell(QWidget *parent)
    : QPushButton(parent)
    , FadeOpacity(this)
{
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::NoFocus);
    setIconSize(QSize(24, 24));
}

QSize CloseButtonCell::sizeHint() const
{
    return iconSize().expandedTo(QSize(24, 24));
}

QRectF CloseButtonCell::imageFrame(const QRectF &frame, int minorVersion)
{
    // Older systems drew the image a point too high; the button is flipped, so lower is +y.
    return minorVersion < 11 ? frame.translated(0, 1.0) : frame;
}

void CloseButtonCell::paintEvent(QPaintEvent *)
{
    if (isInvisible())
        return;
    QPainter painter(this);
    painter.setOpacity(opacity());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    drawImage(painter, rect());
}

void CloseButtonCell::drawImage(QPainter &painter, const QRectF &bounds) const
{
    const QRectF frame = imageFrame(bounds, systemMinorVersion());
    QPainterPath circle;
    circle.addEllipse(frame.adjusted(0.5, 0.5, -0.5, -0.5));
    painter.save();
    painter.setClipPath(circle, Qt::IntersectClip);
    if (!icon().isNull()) {
        const QIcon::Mode mode = !isEnabled() ? QIcon::Disabled : (isDown() ? QIcon::Active : QIcon::Normal);
        // The picture at its own size, in the resolution for the device's pixel ratio, on
        // whole device pixels: QIcon::paint would stretch a 64 px picture over the 80 px of a
        // 40-point frame at ratio 2, and blur it.
        const qreal ratio = painter.device()->devicePixelRatioF();
        const QPixmap picture = icon().pixmap(icon().actualSize(frame.size().toSize(), mode), ratio, mode);
        const QSizeF size = picture.deviceIndependentSize();
        const QPointF corner = frame.center() - QPointF(size.width(), size.height()) / 2;
        const QPointF snapped(std::round(corner.x() * ratio) / ratio, std::round(corner.y() * ratio) / ratio);
        painter.drawPixmap(QRectF(snapped, size), picture, QRectF(picture.rect()));
    } else {
        // Without an image, a dark disc with a white cross still reads as "close".
        painter.fillPath(circle, QColor(0, 0, 0, isDown() ? 190 : 140));
        QPen pen(Qt::white, qMax<qreal>(1.5, frame.width() / 12));
        pen.setCapStyle(Qt::RoundCap);
        painter.setPen(pen);
        const QRectF cross = frame.adjusted(frame.width() * 0.32, frame.height() * 0.32, -frame.width() * 0.32,
                                            -frame.height() * 0.32);
        painter.drawLine(cross.topLeft(), cross.bottomRight());
        painter.drawLine(cross.topRight(), cross.bottomLeft());
    }
    painter.restore();
}

} // namespace velmora
