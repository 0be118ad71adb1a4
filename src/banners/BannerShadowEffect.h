#pragma once

#include <QGraphicsEffect>
#include <QPixmap>

namespace velmora {

// The banner's drop shadow, which a child widget can only draw through an effect (it lies
// outside the widget), with an overall opacity for fading the banner out: a widget takes
// one effect only.
//
// A GIF banner repaints many times a second. A stock drop-shadow effect renders the whole
// banner into a pixmap and blurs it on every frame; this one blurs a rounded rectangle of
// the banner's size once per size and lets the banner paint straight onto the screen
// beneath. Only a fade in progress goes through a pixmap, since child widgets open painters
// of their own and would not see the opacity.
class BannerShadowEffect : public QGraphicsEffect {
    Q_OBJECT
    Q_PROPERTY(qreal opacity READ opacity WRITE setOpacity)

public:
    explicit BannerShadowEffect(double depth, QObject *parent = nullptr);

    qreal opacity() const;
    void setOpacity(qreal opacity);

    // Offset below the banner and blur radius, both from the shadow's depth.
    QPointF offset() const;
    double blurRadius() const;

    QRectF boundingRectFor(const QRectF &rect) const override;

    // The blurred shadow of a rounded rectangle of this size, as a picture padded by the
    // blur radius on every side.
    static QImage shadowImage(const QSize &size, double cornerRadius, double blurRadius, const QColor &color);
    // The same picture blurred whole, at its full size (the reference for tests).
    static QImage blurredShadow(const QSize &size, double cornerRadius, double blurRadius, const QColor &color);

protected:
    void draw(QPainter *painter) override;

private:
    const QPixmap &shadowFor(const QSizeF &size, qreal devicePixelRatio);

    double m_depth;
    qreal m_opacity = 1.0;
    QPixmap m_shadow;
    QSizeF m_shadowSize;
    qreal m_shadowRatio = 0;
};

} // namespace velmora
