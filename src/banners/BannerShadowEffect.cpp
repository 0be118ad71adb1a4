#include "banners/BannerShadowEffect.h"

#include "controls/BannerImageView.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <vector>

namespace velmora {

namespace {

const QColor kShadowColor(0, 0, 0, 110);

// One pass of a running-sum box blur over a line of `count` values `stride` apart.
void boxBlurLine(uchar *line, int count, int stride, int radius, std::vector<int> &scratch)
{
    scratch.assign(size_t(count), 0);
    for (int i = 0; i < count; ++i)
        scratch[size_t(i)] = line[i * stride];
    const int window = 2 * radius + 1;
    int sum = 0;
    for (int i = -radius; i <= radius; ++i)
        sum += scratch[size_t(std::clamp(i, 0, count - 1))];
    for (int i = 0; i < count; ++i) {
        line[i * stride] = uchar(sum / window);
        sum += scratch[size_t(std::min(i + radius + 1, count - 1))];
        sum -= scratch[size_t(std::max(i - radius, 0))];
    }
}

// Three box passes in each direction come within a few per cent of a Gaussian.
void blurAlpha(QImage &alpha, double radius)
{
    const int box = std::max(1, int(std::lround(radius / 3.0)));
    std::vector<int> scratch;
    for (int pass = 0; pass < 3; ++pass) {
        for (int y = 0; y < alpha.height(); ++y)
            boxBlurLine(alpha.scanLine(y), alpha.width(), 1, box, scratch);
        for (int x = 0; x < alpha.width(); ++x)
            boxBlurLine(alpha.bits() + x, alpha.height(), int(alpha.bytesPerLine()), box, scratch);
    }
}

} // namespace

BannerShadowEffect::BannerShadowEffect(double depth, QObject *parent)
    : QGraphicsEffect(parent)
    , m_depth(depth)
{
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

// Half the depth as offset and the whole depth as blur keeps the shadow inside the depth
// reserved below the banner.
QPointF BannerShadowEffect::offset() const
{
    return { 0, m_depth / 2 };
}

double BannerShadowEffect::blurRadius() const
{
    return m_depth;
}

QRectF BannerShadowEffect::boundingRectFor(const QRectF &rect) const
{
    const double blur = blurRadius();
    return rect.united(rect.translated(offset()).adjusted(-blur, -blur, blur, blur));
}

QImage BannerShadowEffect::shadowImage(const QSize &size, double cornerRadius, double blurRadius, const QColor &color)
{
    const int pad = int(std::ceil(blurRadius));
    QImage alpha(size + QSize(2 * pad, 2 * pad), QImage::Format_Alpha8);
    alpha.fill(0);
    {
        QPainter painter(&alpha);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0, 0, 0, color.alpha()));
        painter.drawRoundedRect(QRectF(pad, pad, size.width(), size.height()), cornerRadius, cornerRadius);
    }
    blurAlpha(alpha, blurRadius);
    QImage shadow(alpha.size(), QImage::Format_ARGB32_Premultiplied);
    shadow.fill(Qt::transparent);
    QPainter painter(&shadow);
    painter.drawImage(0, 0, alpha);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(shadow.rect(), QColor(color.red(), color.green(), color.blue()));
    return shadow;
}

const QPixmap &BannerShadowEffect::shadowFor(const QSizeF &size, qreal devicePixelRatio)
{
    if (size != m_shadowSize || devicePixelRatio != m_shadowRatio) {
        m_shadowSize = size;
        m_shadowRatio = devicePixelRatio;
        const QSize pixels = (size * devicePixelRatio).toSize();
        QImage image = shadowImage(pixels, BannerImageView::cornerRadius(size.height()) * devicePixelRatio,
                                   blurRadius() * devicePixelRatio, kShadowColor);
        image.setDevicePixelRatio(devicePixelRatio);
        m_shadow = QPixmap::fromImage(std::move(image));
    }
    return m_shadow;
}

void BannerShadowEffect::draw(QPainter *painter)
{
    if (m_opacity <= 0)
        return;
    const QRectF source = sourceBoundingRect(Qt::LogicalCoordinates);
    if (source.isEmpty())
        return;
    const double pad = std::ceil(blurRadius());
    painter->save();
    painter->setOpacity(painter->opacity() * m_opacity);
    painter->drawPixmap(source.topLeft() + offset() - QPointF(pad, pad),
                        shadowFor(source.size(), painter->device()->devicePixelRatioF()));
    if (m_opacity < 1) {
        QPoint at;
        const QPixmap banner = sourcePixmap(Qt::LogicalCoordinates, &at, QGraphicsEffect::NoPad);
        painter->drawPixmap(at, banner);
    } else {
        drawSource(painter);
    }
    painter->restore();
}

} // namespace velmora
