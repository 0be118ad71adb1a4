#include "controls/RemoveAdsButton.h"

#include <QEasingCurve>
#include <QFontInfo>
#include <QPainter>
#include <QResizeEvent>

#include <cmath>
#include <limits>

namespace velmora {

namespace {

QColor withAlpha(QColor color, qreal alpha)
{
    color.setAlphaF(alpha);
    return color;
}

QEasingCurve easeOut()
{
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(QPointF(0, 0), QPointF(0.58, 1), QPointF(1, 1));
    return curve;
}

} // namespace

QColor RemoveAdsButton::green(qreal alpha)
{
    return QColor::fromRgbF(79 / 255.0f, 177 / 255.0f, 7 / 255.0f, static_cast<float>(alpha));
}

RemoveAdsButton::RemoveAdsButton(QWidget *parent)
    : QPushButton(parent)
    , FadeOpacity(this)
{
    init();
}

RemoveAdsButton::RemoveAdsButton(const QString &title, QWidget *parent)
    : QPushButton(title, parent)
    , FadeOpacity(this)
{
    init();
}

RemoveAdsButton::~RemoveAdsButton() = default;

void RemoveAdsButton::init()
{
    m_topColor = QColor(0, 200, 0);
    m_bottomColor = QColor(0, 150, 0);
    m_stringFont = font();
    m_stringFont.setPixelSize(24);
    QFont titleFont = font();
    titleFont.setPixelSize(15);
    titleFont.setWeight(QFont::DemiBold);
    setFont(titleFont);
    setCursor(Qt::PointingHandCursor);

    // One animation cycle is one firing of the five-second shine timer: a two-second
    // sweep, then the bands wait past the right edge. The wait is a pause animation, for
    // which Qt's animation timer stops ticking until it ends.
    m_animation = new QSequentialAnimationGroup(this);
    m_sweep = new QVariantAnimation(m_animation);
    m_sweep->setStartValue(0);
    m_sweep->setEndValue(kSweepMs);
    m_sweep->setDuration(kSweepMs);
    m_animation->addAnimation(m_sweep);
    m_animation->addPause(kShinePeriodMs - kSweepMs);
    m_animation->setLoopCount(-1);
    connect(m_sweep, &QVariantAnimation::valueChanged, this, [this] { update(); });
    connect(m_animation, &QVariantAnimation::currentLoopChanged, this, &RemoveAdsButton::onCycleEnded);
}

void RemoveAdsButton::changed()
{
    ++m_generation;
    update();
}

void RemoveAdsButton::changeEvent(QEvent *event)
{
    QPushButton::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange
        || event->type() == QEvent::StyleChange)
        ++m_generation;
}

void RemoveAdsButton::setIsGradient(bool on)
{
    m_isGradient = on;
    changed();
}

void RemoveAdsButton::setIsImage(bool on)
{
    m_isImage = on;
    changed();
}

void RemoveAdsButton::setBorder(double border)
{
    m_border = border;
    changed();
}

void RemoveAdsButton::setCornerRadius(double radius)
{
    m_cornerRadius = radius;
    changed();
}

void RemoveAdsButton::setTitleLeading(double leading)
{
    m_titleLeading = leading;
    updateGeometry();
    changed();
}

void RemoveAdsButton::setIsCircle(bool on)
{
    m_isCircle = on;
    changed();
}

void RemoveAdsButton::setIsAnimation(bool on)
{
    m_isAnimation = on;
    if (on && m_isAllDraw && isVisible() && m_animation->state() == QAbstractAnimation::Stopped)
        m_animation->start();
    changed();
}

void RemoveAdsButton::setIsAutoWidth(bool on)
{
    m_isAutoWidth = on;
    updateGeometry();
    if (on)
        setFrameSize(size());
}

void RemoveAdsButton::setBorderColor(const QColor &color)
{
    m_borderColor = color;
    changed();
}

void RemoveAdsButton::setTopColor(const QColor &color)
{
    m_topColor = color;
    changed();
}

void RemoveAdsButton::setBottomColor(const QColor &color)
{
    m_bottomColor = color;
    changed();
}

void RemoveAdsButton::setStringFont(const QFont &font)
{
    m_stringFont = font;
}

void RemoveAdsButton::setStringColor(const QColor &color)
{
    m_stringColor = color;
    changed();
}

QRectF RemoveAdsButton::faceRect() const
{
    const QRectF bounds = rect();
    return m_border > 0 ? bounds.adjusted(m_border, m_border, -m_border, -m_border) : bounds;
}

QPainterPath RemoveAdsButton::facePath() const
{
    QPainterPath path;
    const QRectF face = faceRect();
    if (m_isCircle) {
        path.addEllipse(face);
    } else {
        const double radius = qMax(0.0, m_border > 0 ? m_cornerRadius - 2.0 : m_cornerRadius);
        path.addRoundedRect(face, radius, radius);
    }
    return path;
}

QPainterPath RemoveAdsButton::getPath(double x, double w, double s) const
{
    // Bottom-up coordinates turned top-down: the band's y = 0 edge is the bottom row.
    const double h = height();
    QPainterPath path(QPointF(x, h));
    path.lineTo(x + w - s, h);
    path.lineTo(x + w, 0);
    path.lineTo(x, 0);
    path.lineTo(x - s, h);
    return path;
}

double RemoveAdsButton::shineOffset(double width, int elapsedMs)
{
    static const QEasingCurve curve = easeOut();
    const double progress = curve.valueForProgress(qBound(0.0, double(elapsedMs) / kSweepMs, 1.0));
    // The band layers are as wide as the button and positioned by their centre.
    const double from = -width / 3;
    const double to = width + 1.5 * width / 3;
    return from + (to - from) * progress - width / 2;
}

QFont RemoveAdsButton::baseTitleFont() const
{
    QFont titleFont = font();
    if (m_isCircle)
        titleFont.setPixelSize(13); // a point of the original platform is one logical pixel
    return titleFont;
}

// The title's font, made smaller as a designer would until every line of the title fits
// inside the face: in a circle, each line within the chord at its height. "ENTFERNEN" or
// "PUBBLICITÀ" are wider than an 80-point circle at the base size.
QFont RemoveAdsButton::titleFont() const
{
    const QFont base = baseTitleFont();
    const QString title = text();
    if (title.isEmpty() || width() <= 0)
        return base;
    if (m_fitted.title == title && m_fitted.size == size() && m_fitted.base == base)
        return m_fitted.font;
    const QRectF face = faceRect();
    const QStringList lines = title.split(QLatin1Char('\n'));
    QFont font = base;
    // Whether the title fits at `pixels`; `scale` gets how much wider it could be (< 1: too wide).
    const auto fitsAt = [&](int pixels, qreal *scale = nullptr) {
        font.setPixelSize(pixels);
        const QFontMetricsF metrics(font);
        const qreal lineHeight = metrics.lineSpacing();
        const qreal top = -lineHeight * lines.size() / 2;
        qreal worst = std::numeric_limits<qreal>::max();
        for (qsizetype i = 0; i < lines.size(); ++i) {
            // Within the title's area (drawText cuts what passes it) and, in a circle, within
            // the chord at the line's edge farther from the centre, less two points each side.
            qreal room = titleRect(font).width() - 1;
            if (m_isCircle) {
                const qreal radius = face.width() / 2;
                const qreal edge = qMax(qAbs(top + i * lineHeight), qAbs(top + (i + 1) * lineHeight));
                room = qMin(room, edge < radius ? 2 * std::sqrt(radius * radius - edge * edge) - 4 : 0);
            }
            const qreal advance = metrics.horizontalAdvance(lines.at(i));
            worst = qMin(worst, advance > 0 ? room / advance : worst);
        }
        if (scale)
            *scale = worst;
        return worst >= 1.0;
    };
    // Every size tried loads a font of its own (a fontconfig match, on the host's main
    // thread), so the search starts where widths that grow with the size say it fits.
    constexpr int kSmallest = 7;
    const int largest = base.pixelSize() > 0 ? base.pixelSize() : QFontInfo(base).pixelSize();
    qreal scale = 1.0;
    if (!fitsAt(largest, &scale)) {
        int pixels = qBound(kSmallest, int(largest * scale), largest - 1);
        if (fitsAt(pixels)) {
            while (pixels + 1 < largest && fitsAt(pixels + 1))
                ++pixels;
        } else {
            while (pixels > kSmallest && !fitsAt(--pixels)) { }
        }
        font.setPixelSize(pixels);
    }
    m_fitted = { title, size(), base, font };
    return font;
}

QColor RemoveAdsButton::titleColor() const
{
    if (!isEnabled())
        return withAlpha(m_stringColor, 0.8);
    if (isDown())
        return withAlpha(palette().color(QPalette::Button), 0.8);
    return m_stringColor;
}

QRectF RemoveAdsButton::titleRect(const QFont &font) const
{
    const double w = width();
    const double h = height();
    const double textWidth = m_isImage ? w - m_titleLeading : w - 2 * m_titleLeading;
    const QFontMetricsF metrics(font);
    const double textHeight
        = metrics.boundingRect(QRectF(0, 0, qMax(1.0, textWidth), 1e6), Qt::AlignHCenter | Qt::TextWordWrap, text())
              .height();
    const double x = (m_isImage && !m_isCircle) ? h : m_titleLeading;
    // The title sits 1.75 points above centre unless the face is a circle.
    const double y = (h - textHeight) / 2 - (m_isCircle ? 0.0 : 1.75);
    return { x, y, textWidth, textHeight };
}

QSize RemoveAdsButton::autoSize(int h) const
{
    const QFontMetricsF metrics(baseTitleFont());
    return { qCeil(metrics.horizontalAdvance(text()) + 2 * m_titleLeading), h };
}

void RemoveAdsButton::setFrameSize(const QSize &size)
{
    resize(m_isAutoWidth ? autoSize(height()) : size);
}

QSize RemoveAdsButton::sizeHint() const
{
    const QSize fitted = autoSize(38);
    return m_isAutoWidth ? fitted : fitted.expandedTo(QSize(140, 38));
}

void RemoveAdsButton::resizeEvent(QResizeEvent *event)
{
    QPushButton::resizeEvent(event);
    if (m_isAutoWidth) {
        const QSize fitted = autoSize(event->size().height());
        if (fitted != event->size())
            resize(fitted);
    }
}

void RemoveAdsButton::showEvent(QShowEvent *event)
{
    QPushButton::showEvent(event);
    if (m_animation->state() == QAbstractAnimation::Paused)
        m_animation->resume();
    else if (m_isAllDraw && m_isAnimation && m_animation->state() == QAbstractAnimation::Stopped)
        m_animation->start();
}

void RemoveAdsButton::hideEvent(QHideEvent *event)
{
    QPushButton::hideEvent(event);
    if (m_animation->state() == QAbstractAnimation::Running)
        m_animation->pause();
}

void RemoveAdsButton::paintEvent(QPaintEvent *)
{
    if (isInvisible() || size().isEmpty())
        return;
    const Layers &drawn = layers();
    QPainter painter(this);
    painter.setOpacity(opacity());
    painter.drawImage(QPointF(0, 0), drawn.face);
    const double offset = shineOffset(width(), m_sweep->currentTime());
    // Parked past either edge, the bands draw nothing.
    if (m_isAnimation && m_isAllDraw && offset > -width() && offset < width()) {
        QImage &scratch = m_layers.scratch;
        scratch.fill(Qt::transparent);
        QPainter shine(&scratch);
        shine.drawImage(QPointF(offset, 0), drawn.bands);
        shine.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        shine.drawImage(QPointF(0, 0), drawn.mask);
        shine.end();
        painter.drawImage(QPointF(0, 0), scratch);
    }
    if (!m_isAllDraw) {
        drawPath();
        m_isAllDraw = true;
    }
}

RemoveAdsButton::Look RemoveAdsButton::currentLook() const
{
    return { size(), devicePixelRatioF(), isDown(), isEnabled(), text(), icon().cacheKey(), m_generation };
}

QImage RemoveAdsButton::blankLayer() const
{
    const qreal ratio = devicePixelRatioF();
    QImage layer((QSizeF(size()) * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    layer.setDevicePixelRatio(ratio);
    layer.fill(Qt::transparent);
    return layer;
}

const RemoveAdsButton::Layers &RemoveAdsButton::layers() const
{
    const Look look = currentLook();
    if (m_layers.look == look && !m_layers.face.isNull())
        return m_layers;
    const bool resized = m_layers.look.size != look.size || m_layers.look.ratio != look.ratio;
    m_layers.look = look;
    // The mask of the whole button, shine included.
    QPainterPath mask;
    if (m_isCircle)
        mask.addEllipse(faceRect());
    else
        mask.addRoundedRect(rect(), m_cornerRadius, m_cornerRadius);

    m_layers.face = blankLayer();
    QPainter face(&m_layers.face);
    face.setRenderHint(QPainter::Antialiasing);
    if (m_isAnimation)
        face.setClipPath(mask);
    drawFace(face);
    drawTitle(face);
    face.end();

    if (resized || m_layers.bands.isNull()) {
        m_layers.mask = blankLayer();
        QPainter masking(&m_layers.mask);
        masking.setRenderHint(QPainter::Antialiasing);
        masking.fillPath(mask, Qt::black);
        masking.end();

        m_layers.bands = blankLayer();
        QPainter bands(&m_layers.bands);
        bands.setRenderHint(QPainter::Antialiasing);
        drawShine(bands);
        bands.end();
        m_layers.scratch = blankLayer();
    }
    return m_layers;
}

void RemoveAdsButton::drawFace(QPainter &painter) const
{
    const bool highlighted = isDown();
    painter.save();
    if (m_border > 0) {
        QPainterPath outer;
        outer.addRoundedRect(rect(), m_cornerRadius, m_cornerRadius);
        painter.setClipPath(outer, Qt::IntersectClip);
        if (m_borderColor.isValid())
            painter.fillRect(rect(), m_borderColor);
    }
    const QPainterPath face = facePath();
    const QRectF faceBounds = face.boundingRect();
    painter.setClipPath(face, Qt::IntersectClip);
    painter.fillRect(faceBounds, green(highlighted ? 0.8 : 1.0));
    if (m_isImage) {
        painter.fillRect(faceBounds, green(highlighted ? 0.7 : 1.0));
        const double side = height() - 2.0;
        drawImage(painter, QRectF(4 * m_border, 0, side, side));
    } else if (m_isGradient) {
        const qreal alpha = !isEnabled() ? 0.3 : (highlighted ? 0.7 : 1.0);
        QLinearGradient gradient(faceBounds.topLeft(), faceBounds.bottomLeft());
        gradient.setColorAt(0, isEnabled() && !highlighted ? m_topColor : withAlpha(m_topColor, alpha));
        gradient.setColorAt(1, isEnabled() && !highlighted ? m_bottomColor : withAlpha(m_bottomColor, alpha));
        painter.fillPath(face, gradient);
    } else if (m_isCircle && m_topColor.isValid()) {
        painter.fillRect(faceBounds, highlighted ? withAlpha(m_topColor, 0.7) : m_topColor);
    }
    painter.restore();
}

void RemoveAdsButton::drawImage(QPainter &painter, const QRectF &rect) const
{
    if (icon().isNull())
        return;
    const qreal ratio = devicePixelRatioF();
    const QPixmap image = icon().pixmap((rect.size() * ratio).toSize());
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setOpacity(1.0);
    painter.drawPixmap(rect, image, QRectF(image.rect()));
    painter.restore();
}

void RemoveAdsButton::drawTitle(QPainter &painter) const
{
    const QColor color = titleColor();
    if (text().isEmpty() || !color.isValid())
        return;
    const QFont font = titleFont();
    painter.save();
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(titleRect(font), Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextWordWrap, text());
    painter.restore();
}

void RemoveAdsButton::drawShine(QPainter &painter) const
{
    const double w = width();
    const QRectF bounds = rect();
    const BezierPath::GradientLayer one = BezierPath::startAnimationPathGradientFill(
        getPath(w / 3, w / 3, w / 7), bounds, QColor(255, 255, 200), QColor(255, 255, 200, 128));
    const BezierPath::GradientLayer two = BezierPath::startAnimationPathGradientFill(
        getPath(w / 6, w / 6, w / 7), bounds, QColor(255, 255, 255, 128), QColor(255, 255, 255, 64));
    one.paint(painter, QPointF(0, 0));
    two.paint(painter, QPointF(0, 0));
}

void RemoveAdsButton::drawPath()
{
    m_animation->stop();
    if (!m_isAnimation)
        return;
    // A hidden button starts its shine when it is shown.
    if (isVisible())
        m_animation->start();
}

void RemoveAdsButton::onCycleEnded()
{
    if (!m_isAnimation) {
        m_animation->stop();
        update();
    }
}

} // namespace velmora
