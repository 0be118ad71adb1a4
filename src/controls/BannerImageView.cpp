#include "controls/BannerImageView.h"

#include "controls/BannerFrameDecoder.h"
#include "support/PicturePool.h"
#include "support/PostCall.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPainter>

#include <cmath>

namespace velmora {

namespace {

// The cache outlives no banner: with the last view gone (ads removed) its memory goes too.
int liveViews = 0;

} // namespace

struct BannerImageView::Decoded {
    quint64 generation = 0;
    // Only for a generation's first frame: the file read, and whether it is the candidate's,
    // in which case nothing was read.
    BannerFrameCache::FileStamp stamp;
    bool candidateMatches = false;
    BannerFrameDecoder::Frame frame;
    QSize sourceSize;
    int loopCount = -1;
    qreal ratio = 1.0;
};

BannerImageView::BannerImageView(QWidget *parent)
    : QWidget(parent)
{
    ++liveViews;
    m_frameTimer.setSingleShot(true);
    connect(&m_frameTimer, &QTimer::timeout, this, [this] {
        m_remainingMs = -1;
        advance();
    });
}

BannerImageView::~BannerImageView()
{
    if (--liveViews == 0)
        BannerFrameCache::instance().clear();
}

double BannerImageView::cornerRadius(double height)
{
    constexpr double radius = 4.0;
    return radius > height / 10.0 ? 2.0 : radius;
}

void BannerImageView::setSource(const QString &path)
{
    m_source = path;
    m_frameTimer.stop();
    m_remainingMs = -1;
    if (path.isEmpty()) {
        ++m_generation;
        m_decoder.reset();
        m_candidate.reset();
        m_imageSize = QSize();
        m_shown = {};
        m_current = -1;
        update();
        Q_EMIT imageChanged();
        return;
    }
    m_announce = true;
    restartDecoding();
}

bool BannerImageView::hasImage() const
{
    return !m_shown.pixmap.isNull();
}

QSize BannerImageView::imageSize() const
{
    return m_imageSize;
}

int BannerImageView::currentFrame() const
{
    return m_current;
}

int BannerImageView::cachedFrames() const
{
    return int(m_cache.size());
}

void BannerImageView::setAnimates(bool animates)
{
    m_animates = animates;
    updateAnimation();
}

bool BannerImageView::animates() const
{
    return m_animates;
}

bool BannerImageView::isAnimating() const
{
    return m_frameTimer.isActive() || (m_dueNow && shouldPlay());
}

// A minimised window keeps its children "visible", so its state is watched as well: frames
// nobody can see must cost the host nothing.
bool BannerImageView::shouldPlay() const
{
    return m_animates && isVisible() && !window()->isMinimized() && !m_finished && m_current >= 0
        && !(m_current == 0 && m_shown.last);
}

void BannerImageView::updateAnimation()
{
    if (!shouldPlay()) {
        if (m_frameTimer.isActive()) {
            m_remainingMs = m_frameTimer.remainingTime();
            m_frameTimer.stop();
        }
        return;
    }
    if (!m_frameTimer.isActive() && !m_dueNow)
        m_frameTimer.start(m_remainingMs >= 0 ? m_remainingMs : m_shown.delayMs);
}

void BannerImageView::watchWindow()
{
    QWidget *top = window();
    if (top == m_watchedWindow)
        return;
    if (m_watchedWindow)
        m_watchedWindow->removeEventFilter(this);
    m_watchedWindow = top != this ? top : nullptr;
    if (m_watchedWindow)
        m_watchedWindow->installEventFilter(this);
}

bool BannerImageView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_watchedWindow && event->type() == QEvent::WindowStateChange)
        updateAnimation();
    return QWidget::eventFilter(watched, event);
}

bool BannerImageView::event(QEvent *event)
{
    if (event->type() == QEvent::ParentChange || event->type() == QEvent::WindowStateChange) {
        watchWindow();
        updateAnimation();
    }
    return QWidget::event(event);
}

void BannerImageView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    watchWindow();
    updateAnimation();
}

void BannerImageView::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    updateAnimation();
}

void BannerImageView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    // Frames made for another size would be scaled on every paint: make them anew. The
    // animation starts again from its first frame, which the old frames show until then.
    if (!m_source.isEmpty() && (m_decoder || hasImage()) && pixelHeight() != m_decodedHeight)
        restartDecoding();
}

// The picture (or, before its first frame, a frame of `pixels`) scaled proportionally into the
// bounds, as the platform's image view does.
QSizeF BannerImageView::fittedSize(const QSize &pixels) const
{
    return QSizeF(m_imageSize.isEmpty() ? pixels : m_imageSize).scaled(QSizeF(size()), Qt::KeepAspectRatio);
}

// The height in device pixels at which the picture is drawn.
int BannerImageView::pixelHeight() const
{
    const QSizeF fitted = fittedSize(QSize());
    return qRound((fitted.isEmpty() ? height() : fitted.height()) * devicePixelRatioF());
}

// The fitted picture centred, from a whole device pixel so that a ready frame is copied, never
// resampled.
QRectF BannerImageView::frameRect(const QSize &pixels) const
{
    if (pixels.isEmpty())
        return {};
    const qreal ratio = devicePixelRatioF();
    const QSizeF fitted = fittedSize(pixels);
    const QPointF centred((width() - fitted.width()) / 2, (height() - fitted.height()) / 2);
    return QRectF(QPointF(std::round(centred.x() * ratio), std::round(centred.y() * ratio)) / ratio, fitted);
}

void BannerImageView::restartDecoding()
{
    ++m_generation;
    m_decodedHeight = pixelHeight();
    const qreal ratio = devicePixelRatioF();
    const double points = m_decodedHeight > 0 ? m_decodedHeight / ratio : 0.0;
    const double radius = m_decodedHeight > 0 ? cornerRadius(points) * ratio : 0.0;
    m_decoder = std::make_shared<BannerFrameDecoder>(m_source, m_decodedHeight, radius);
    m_candidate = BannerFrameCache::instance().find(m_source, m_decodedHeight, ratio);
    m_requested = false;
    m_ahead.reset();
    m_dueNow = false;
    m_cache.clear();
    m_cacheBytes = 0;
    m_cacheComplete = false;
    m_cacheRefused = false;
    m_loopsPlayed = 0;
    m_finished = false;
    m_awaitingFirst = true;
    m_frameTimer.stop();
    m_remainingMs = -1;
    requestFrame();
}

void BannerImageView::requestFrame()
{
    if (m_requested || !m_decoder)
        return;
    m_requested = true;
    Decoded job { m_generation, {}, false, {}, {}, -1, devicePixelRatioF() };
    const bool first = m_awaitingFirst;
    std::optional<BannerFrameCache::FileStamp> expected;
    if (m_candidate)
        expected = m_candidate->stamp;
    QPointer<BannerImageView> self(this);
    PicturePool::start([decoder = m_decoder, job, first, expected, path = m_source, self]() mutable {
        if (first) {
            job.stamp = BannerFrameCache::FileStamp::of(path);
            job.candidateMatches = expected && job.stamp.exists && *expected == job.stamp;
        }
        if (!job.candidateMatches)
            job.frame = decoder->next();
        job.sourceSize = decoder->sourceSize();
        job.loopCount = decoder->loopCount();
        postCall(qApp, [self = std::move(self), job = std::move(job)]() mutable {
            if (self)
                self->frameDecoded(std::move(job));
        });
    });
}

void BannerImageView::frameDecoded(Decoded decoded)
{
    if (decoded.generation != m_generation)
        return;
    m_requested = false;
    const bool first = m_awaitingFirst;
    m_awaitingFirst = false;
    if (first) {
        m_stamp = decoded.stamp;
        const auto candidate = std::exchange(m_candidate, nullptr);
        if (decoded.candidateMatches) {
            adopt(candidate);
            return;
        }
    }
    if (decoded.frame.image.isNull()) {
        m_decoder.reset();
        if (first && decoded.frame.index == 0 && (m_announce || !hasImage())) {
            // Not a picture (an error page stored as media, a truncated file).
            m_imageSize = QSize();
            m_shown = {};
            m_current = -1;
            update();
        }
        // A file that broke off mid-way keeps its last good frame.
        m_finished = true;
        m_frameTimer.stop();
        if (std::exchange(m_announce, false))
            Q_EMIT imageChanged();
        return;
    }
    const qint64 bytes = decoded.frame.image.sizeInBytes();
    // Taken over, not copied: a raster pixmap keeps the decoded pixels as they are.
    Frame frame { QPixmap::fromImage(std::move(decoded.frame.image)), decoded.frame.delayMs, decoded.frame.last };
    frame.pixmap.setDevicePixelRatio(decoded.ratio);
    const int index = decoded.frame.index;
    m_loopCount = decoded.loopCount;

    // The first loop fills the cache; a picture too large for it keeps being read frame by frame.
    if (!m_cacheRefused && !m_cacheComplete && index == int(m_cache.size())) {
        m_cacheBytes += bytes;
        if (m_cacheBytes > kCacheBytes) {
            m_cacheRefused = true;
            m_cache.clear();
        } else {
            m_cache.push_back(frame);
            if (frame.last)
                keepLoop(decoded.sourceSize, decoded.ratio);
        }
    }

    if (first) {
        m_imageSize = decoded.sourceSize;
        show(index, std::move(frame));
        if (std::exchange(m_announce, false))
            Q_EMIT imageChanged();
        return;
    }
    m_ahead = std::move(frame);
    m_aheadIndex = index;
    if (std::exchange(m_dueNow, false))
        advance();
}

// A loop read before (here or in another view) plays without reading the file.
void BannerImageView::adopt(const std::shared_ptr<const BannerFrameCache::Loop> &loop)
{
    m_decoder.reset();
    m_cache = loop->frames;
    m_cacheBytes = loop->bytes;
    m_cacheComplete = true;
    m_loopCount = loop->loopCount;
    m_imageSize = loop->sourceSize;
    show(0, m_cache.front());
    if (std::exchange(m_announce, false))
        Q_EMIT imageChanged();
}

// The first loop is complete: it plays from memory from now on, and is offered to every view.
void BannerImageView::keepLoop(const QSize &sourceSize, qreal ratio)
{
    m_cacheComplete = true;
    m_decoder.reset();
    // If another view read the same file meanwhile, its copy is kept and this one let go.
    m_cache = BannerFrameCache::instance()
                  .insert(m_source, m_decodedHeight, ratio, { m_stamp, m_cache, sourceSize, m_loopCount, m_cacheBytes })
                  ->frames;
}

void BannerImageView::show(int index, Frame frame)
{
    const QRectF before = frameRect(m_shown.pixmap.size());
    m_shown = std::move(frame);
    m_current = index;
    update(before.united(frameRect(m_shown.pixmap.size())).toAlignedRect());
    Q_EMIT frameChanged(index);
    const int next = m_shown.last ? 0 : index + 1;
    const bool single = index == 0 && m_shown.last;
    if (!single && !(m_cacheComplete && next < int(m_cache.size())) && !(m_ahead && m_aheadIndex == next))
        requestFrame();
    updateAnimation();
}

void BannerImageView::advance()
{
    if (m_current < 0)
        return;
    if (m_shown.last) {
        ++m_loopsPlayed;
        if (m_loopCount >= 0 && m_loopsPlayed > m_loopCount) {
            m_finished = true;
            return;
        }
    }
    const int next = m_shown.last ? 0 : m_current + 1;
    if (m_cacheComplete && next < int(m_cache.size())) {
        show(next, m_cache[size_t(next)]);
    } else if (m_ahead && m_aheadIndex == next) {
        Frame ahead = std::move(*m_ahead);
        m_ahead.reset();
        show(next, std::move(ahead));
    } else {
        // Late: shown as soon as it is read.
        m_dueNow = true;
        requestFrame();
    }
}

void BannerImageView::paintEvent(QPaintEvent *)
{
    if (m_shown.pixmap.isNull())
        return;
    QPainter painter(this);
    const QRectF target = frameRect(m_shown.pixmap.size());
    const QSizeF pixels = target.size() * devicePixelRatioF();
    if (qRound(pixels.height()) == m_shown.pixmap.height() && std::abs(pixels.width() - m_shown.pixmap.width()) < 1.0
        && m_shown.pixmap.devicePixelRatio() == devicePixelRatioF()) {
        painter.drawPixmap(target.topLeft(), m_shown.pixmap);
    } else {
        // Made for another size; new frames are on their way.
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawPixmap(target, m_shown.pixmap, QRectF(m_shown.pixmap.rect()));
    }
}

} // namespace velmora
