#include "splash/TimeProgressView.h"

#include "controls/SerialPaint.h"

#include <velmora/Support.h>
#include <velmora/Timer.h>

#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>

#include <limits>

namespace velmora {

namespace {

QRectF circleRect(const QPointF &centre, double radius)
{
    return { centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius };
}

// Two arcs joined into a closed band: the outer one clockwise from `start` by `sweep`
// degrees, the inner one back again.
QPainterPath band(const QPointF &centre, double outer, double inner, double start, double sweep)
{
    QPainterPath path;
    path.arcMoveTo(circleRect(centre, outer), start);
    path.arcTo(circleRect(centre, outer), start, -sweep);
    path.arcTo(circleRect(centre, inner), start - sweep, sweep);
    path.closeSubpath();
    return path;
}

// Truncation towards zero as the processor does it: values out of range (an end of 0
// gives infinity or NaN) become the "integer indefinite" value instead of undefined
// behaviour.
qint64 truncatedPercent(double value)
{
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (!(value > -limit && value < limit))
        return std::numeric_limits<qint64>::min();
    return static_cast<qint64>(value);
}

} // namespace

TimeProgressView::Geometry TimeProgressView::computeGeometry(const QRectF &bounds, qint64 val1, double widthBorder,
                                                             double widthProgress)
{
    Geometry geometry;
    geometry.centre = bounds.center();
    geometry.radius = qMin(bounds.width(), bounds.height()) / 2;
    geometry.trackRadius = geometry.radius - widthBorder;
    geometry.progressRadius = geometry.radius - widthBorder - widthProgress;
    // Wrapping multiplication: a ring started with an end of 0 must not overflow.
    geometry.sweep = static_cast<qint64>(static_cast<quint64>(val1) * 360u) / 100;
    return geometry;
}

void TimeProgressView::draw(QPainter &painter, const Geometry &geometry, const QColor &background, const QColor &track,
                            const QColor &progress)
{
    const double sweep = double(geometry.sweep);
    QPainterPath disc;
    disc.addEllipse(circleRect(geometry.centre, geometry.radius));
    if (background.isValid())
        painter.fillPath(disc, background);
    // The track runs on from the end of the elapsed part to twelve o'clock (-270).
    const QPainterPath remaining
        = band(geometry.centre, geometry.radius, geometry.trackRadius, 90 - sweep, 360 - sweep);
    const QPainterPath elapsed = band(geometry.centre, geometry.radius, geometry.progressRadius, 90, sweep);
    if (track.isValid())
        painter.fillPath(remaining, track);
    if (progress.isValid())
        painter.fillPath(elapsed, progress);
}

TimeProgressView::TimeProgressView(QWidget *parent)
    : QWidget(parent)
    , FadeOpacity(this)
    , m_backgroundColor(Qt::white)
    , m_backgroundProgressColor(QColor::fromRgbF(0.5f, 0.5f, 0.5f))
    , m_progressColor(QColor::fromRgbF(1 / 3.0f, 1 / 3.0f, 1 / 3.0f))
{
    setAttribute(Qt::WA_TranslucentBackground);
}

TimeProgressView::~TimeProgressView()
{
    stopTimer();
}

void TimeProgressView::startTimerFromSec(float fromSec, float endSec)
{
    refresh();
    m_countSec = endSec;
    stopTimer();
    m_val1 = truncatedPercent(double(fromSec) / double(endSec) * 100);
    startTicking();
}

void TimeProgressView::stop()
{
    m_ticking = false;
    stopTimer();
}

void TimeProgressView::complite()
{
    stopTimer();
    startTicking();
}

void TimeProgressView::refresh()
{
    update();
}

double TimeProgressView::Diametr() const
{
    return qMin(width(), height());
}

void TimeProgressView::startTicking()
{
    m_ticking = true;
    // A hidden ring does not tick; showEvent starts it.
    if (!isVisible())
        return;
    m_timer = Timer::scheduled(double(m_countSec) / 100, true, this, [this] { step(); });
    setGodTimer(m_timer);
}

void TimeProgressView::stopTimer()
{
    if (m_timer)
        m_timer->invalidate();
    m_timer = nullptr;
}

Timer *TimeProgressView::timer() const
{
    return m_timer;
}

void TimeProgressView::setBackgroundColor(const QColor &color)
{
    m_backgroundColor = color;
}

void TimeProgressView::setBackgroundProgressColor(const QColor &color)
{
    m_backgroundProgressColor = color;
}

void TimeProgressView::setProgressColor(const QColor &color)
{
    m_progressColor = color;
}

void TimeProgressView::setWidthBorder(double width)
{
    m_widthBorder = width;
}

void TimeProgressView::setWidthProgress(double width)
{
    m_widthProgress = width;
}

void TimeProgressView::setVal1(qint64 val1)
{
    m_val1 = val1;
}

void TimeProgressView::setCountSec(float seconds)
{
    m_countSec = seconds;
}

QSize TimeProgressView::sizeHint() const
{
    return { 64, 64 };
}

// One step of the countdown per tick. Fades, the label over the ring and the host repaint
// it many times more, so painting only reads the step.
void TimeProgressView::step()
{
    m_val1 = static_cast<qint64>(static_cast<quint64>(m_val1) + 1u);
    refresh();
    if (m_val1 == 100)
        stop();
}

// The ring drawn opaque, once per step. Drawn with the fade's opacity, its antialiased edges
// would go to Qt's GUI thread pool on every frame of a fade, or of the video beneath it, with
// the main thread waiting for a core to come free; an image blends on this thread.
const QImage &TimeProgressView::face()
{
    const FaceKey key {
        size(),          devicePixelRatioF(), m_val1,         m_backgroundColor, m_backgroundProgressColor,
        m_progressColor, m_widthBorder,       m_widthProgress
    };
    if (key == m_faceKey && !m_face.isNull())
        return m_face;
    m_faceKey = key;
    m_face = QImage(size() * key.ratio, QImage::Format_ARGB32_Premultiplied);
    m_face.setDevicePixelRatio(key.ratio);
    m_face.fill(Qt::transparent);
    QPainter painter(&m_face);
    painter.setRenderHint(QPainter::Antialiasing);
    draw(painter, computeGeometry(rect(), m_val1, m_widthBorder, m_widthProgress), m_backgroundColor,
         m_backgroundProgressColor, m_progressColor);
    return m_face;
}

void TimeProgressView::paintEvent(QPaintEvent *event)
{
    if (isInvisible() || size().isEmpty())
        return;
    const QImage &drawn = face();
    QPainter painter(this);
    painter.setOpacity(opacity());
    SerialPaint::eachRect(painter, event->region(), [&](const QRect &) { painter.drawImage(QPointF(0, 0), drawn); });
}

void TimeProgressView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_ticking && !m_timer)
        startTicking();
}

void TimeProgressView::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    stopTimer();
}

} // namespace velmora
