#include "banners/BannerShadowEffect.h"

#include <QPainter>

namespace velmora {

BannerShadowEffect::BannerShadowEffect(double depth, QObject *parent)
    : QGraphicsDropShadowEffect(parent)
{
    // Half the depth as offset and the whole depth as blur keeps the shadow inside the
    // depth reserved below the banner.
    setOffset(0, depth / 2);
    setBlurRadius(depth * 2);
    setColor(QColor(0, 0, 0, 110));
}

qreal BannerShadowEffect::opacity() const
{
    return m_opacity;
}

void BannerShadowEffect::setOpacity(qreal opacity)
{
    m_opacity = qBound<qreal>(0, opacity, 1);
    update();
}

void BannerShadowEffect::draw(QPainter *painter)
{
    if (m_opacity <= 0)
        return;
    painter->save();
    painter->setOpacity(painter->opacity() * m_opacity);
    QGraphicsDropShadowEffect::draw(painter);
    painter->restore();
}

} // namespace velmora
