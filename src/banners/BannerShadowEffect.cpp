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

int boxRadius(double blurRadius)
{
    return std::max(1, int(std::lround(blurRadius / 3.0)));
}

// Three box passes in each direction come within a few per cent of a Gaussian.
void blurAlpha(QImage &alpha, double radius)
{
    const int box = boxRadius(radius);
    std::vector<int> scratch;
    for (int pass = 0; pass < 3; ++pass) {
        for (int y = 0; y < alpha.height(); ++y)
            boxBlurLine(alpha.scanLine(y), alpha.width(), 1, box, scratch);
        for (int x = 0; x < alpha.width(); ++x)
            boxBlurLine(alpha.bits() + x, alpha.height(), int(alpha.bytesPerLine()), box, scratch);
    }
}

// `small` widened and heightened by repeating its middle column and row.
QImage stretched(const QImage &small, const QSize &size, QPoint middle)
{
    QImage large(size, small.format());
    const int extraWidth = size.width() - small.width();
    const int extraHeight = size.height() - small.height();
    const auto sourceOf = [](int at, int mid, int extra) { return at <= mid ? at : std::max(mid, at - extra); };
    for (int y = 0; y < size.height(); ++y) {
        const auto *from = reinterpret_cast<const quint32 *>(small.constScanLine(sourceOf(y, middle.y(), extraHeight)));
        auto *to = reinterpret_cast<quint32 *>(large.scanLine(y));
        std::copy(from, from + middle.x(), to);
        std::fill(to + middle.x(), to + middle.x() + extraWidth + 1, from[middle.x()]);
        std::copy(from + middle.x() + 1, from + small.width(), to + middle.x() + extraWidth + 1);
    }
    return large;
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
    // Along a rounded rectangle's straight sides its shadow is the same at every point, so a
    // rectangle just long enough to have a straight middle beyond the blur's reach from the
    // corners is blurred, and its middle column and row repeated: the same picture for a
    // fraction of the work, which the first paint of a banner would otherwise wait for.
    const int reach = 3 * boxRadius(blurRadius) + int(std::ceil(cornerRadius)) + 1;
    const QSize small(std::min(size.width(), 2 * reach + 1), std::min(size.height(), 2 * reach + 1));
    const QImage shadow = blurredShadow(small, cornerRadius, blurRadius, color);
    if (small == size)
        return shadow;
    const int pad = int(std::ceil(blurRadius));
    // A side that needs no stretching repeats its last pixel once, over nothing.
    const QPoint middle(small.width() < size.width() ? pad + reach : shadow.width() - 1,
                        small.height() < size.height() ? pad + reach : shadow.height() - 1);
    return stretched(shadow, size + QSize(2 * pad, 2 * pad), middle);
}

QImage BannerShadowEffect::blurredShadow(const QSize &size, double cornerRadius, double blurRadius, const QColor &color)
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
