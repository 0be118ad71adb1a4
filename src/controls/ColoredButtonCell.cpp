#include "controls/ColoredButtonCell.h"

#include <QPainter>
#include <QPainterPath>

namespace velmora {

ColoredButtonCell::ColoredButtonCell(QWidget *parent)
    : QPushButton(parent)
{
    applyDefaults();
}

ColoredButtonCell::ColoredButtonCell(const QString &text, QWidget *parent)
    : QPushButton(text, parent)
{
    applyDefaults();
}

// A dark translucent pill with white text reads on light and dark backgrounds alike.
void ColoredButtonCell::applyDefaults()
{
    m_cornerRadius = 6.0;
    m_defaultColor = QColor(0, 0, 0, 115);
    m_highlightedColor = QColor(0, 0, 0, 160);
    m_disabledColor = QColor(0, 0, 0, 50);
    m_titleDefaultColor = Qt::white;
    m_titleHighlightedColor = QColor(255, 255, 255, 204);
    m_titleDisabledColor = QColor(255, 255, 255, 110);
    QFont titleFont = font();
    titleFont.setPixelSize(13);
    titleFont.setWeight(QFont::DemiBold);
    setFont(titleFont);
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
}

void ColoredButtonCell::setCornerRadius(double radius)
{
    m_cornerRadius = radius;
    update();
}

void ColoredButtonCell::setCircle(bool circle)
{
    m_circle = circle;
    update();
}

void ColoredButtonCell::setDefaultColor(const QColor &color)
{
    m_defaultColor = color;
    update();
}

void ColoredButtonCell::setHighlightedColor(const QColor &color)
{
    m_highlightedColor = color;
    update();
}

void ColoredButtonCell::setDisabledColor(const QColor &color)
{
    m_disabledColor = color;
    update();
}

void ColoredButtonCell::setTitleDefaultColor(const QColor &color)
{
    m_titleDefaultColor = color;
    update();
}

void ColoredButtonCell::setTitleHighlightedColor(const QColor &color)
{
    m_titleHighlightedColor = color;
    update();
}

void ColoredButtonCell::setTitleDisabledColor(const QColor &color)
{
    m_titleDisabledColor = color;
    update();
}

QColor ColoredButtonCell::stateColor(const QColor &normal, const QColor &highlighted, const QColor &disabled) const
{
    if (!isEnabled())
        return disabled;
    return isDown() ? highlighted : normal;
}

QColor ColoredButtonCell::bezelColor() const
{
    return stateColor(m_defaultColor, m_highlightedColor, m_disabledColor);
}

QColor ColoredButtonCell::titleColor() const
{
    return stateColor(m_titleDefaultColor, m_titleHighlightedColor, m_titleDisabledColor);
}

QSize ColoredButtonCell::sizeHint() const
{
    const QFontMetrics metrics(font());
    const QSize iconPart = icon().isNull() ? QSize() : iconSize();
    const int spacing = !icon().isNull() && !text().isEmpty() ? 6 : 0;
    const int width = metrics.horizontalAdvance(text()) + iconPart.width() + spacing + 24;
    const int height = qMax(metrics.height(), iconPart.height()) + 12;
    return { width, height };
}

void ColoredButtonCell::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF frame = rect();
    drawBezelWithFrame(painter, frame);
    drawTitle(painter, text(), frame);
}

void ColoredButtonCell::drawBezelWithFrame(QPainter &painter, const QRectF &frame) const
{
    const QColor color = bezelColor();
    if (!color.isValid())
        return;
    painter.save();
    if (m_circle) {
        QPainterPath ellipse;
        ellipse.addEllipse(frame);
        painter.setClipPath(ellipse, Qt::IntersectClip);
    }
    QPainterPath face;
    face.addRoundedRect(frame, m_cornerRadius, m_cornerRadius);
    painter.fillPath(face, color);
    painter.restore();
}

QRectF ColoredButtonCell::drawTitle(QPainter &painter, const QString &title, const QRectF &frame) const
{
    painter.save();
    const QIcon::Mode mode = !isEnabled() ? QIcon::Disabled : (isDown() ? QIcon::Active : QIcon::Normal);
    // At the pixel ratio of what is painted on (a HiDPI screen, a 2x grab), not the
    // application's.
    const QPixmap image = icon().isNull()
        ? QPixmap()
        : icon().pixmap(iconSize(), painter.device()->devicePixelRatioF(), mode, isChecked() ? QIcon::On : QIcon::Off);
    const QFontMetricsF metrics(font());
    const qreal spacing = !image.isNull() && !title.isEmpty() ? 6 : 0;
    const QSizeF imageSize = image.isNull() ? QSizeF() : QSizeF(image.size()) / image.devicePixelRatio();
    const qreal textWidth = qMin(metrics.horizontalAdvance(title), frame.width());
    const qreal total = imageSize.width() + spacing + textWidth;
    qreal x = frame.left() + (frame.width() - total) / 2;
    if (!image.isNull()) {
        painter.drawPixmap(QRectF(QPointF(x, frame.center().y() - imageSize.height() / 2), imageSize), image,
                           QRectF(image.rect()));
        x += imageSize.width() + spacing;
    }
    QRectF drawn;
    const QColor color = titleColor();
    if (!title.isEmpty() && color.isValid()) {
        painter.setPen(color);
        painter.setFont(font());
        const QRectF area(x, frame.top(), textWidth, frame.height());
        painter.drawText(area, Qt::AlignCenter | Qt::TextSingleLine, title, &drawn);
    }
    painter.restore();
    return drawn;
}

} // namespace velmora
