#pragma once

#include <QGraphicsDropShadowEffect>

namespace velmora {

// The banner's drop shadow, which a child widget can only draw through an effect (it lies
// outside the widget), with an overall opacity for fading the banner out: a widget takes
// one effect only.
class BannerShadowEffect : public QGraphicsDropShadowEffect {
    Q_OBJECT
    Q_PROPERTY(qreal opacity READ opacity WRITE setOpacity)

public:
    explicit BannerShadowEffect(double depth, QObject *parent = nullptr);

    qreal opacity() const;
    void setOpacity(qreal opacity);

protected:
    void draw(QPainter *painter) override;

private:
    qreal m_opacity = 1.0;
};

} // namespace velmora
