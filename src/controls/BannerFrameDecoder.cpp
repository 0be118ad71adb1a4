#include "controls/BannerFrameDecoder.h"

#include "support/PictureFormat.h"

#include <QImageReader>
#include <QPainter>
#include <QPainterPath>

namespace velmora {

namespace {

// Browsers show frames of (almost) no delay for a tenth of a second; so do we, which also
// keeps a hostile file from spinning the host's loop.
int frameDelay(int delayMs)
{
    return delayMs < 20 ? 100 : delayMs;
}

} // namespace

BannerFrameDecoder::BannerFrameDecoder(QString path, int pixelHeight, double cornerRadiusPixels)
    : m_path(std::move(path))
    , m_pixelHeight(pixelHeight)
    , m_radius(cornerRadiusPixels)
{
}

BannerFrameDecoder::~BannerFrameDecoder() = default;

bool BannerFrameDecoder::open()
{
    m_reader = std::make_unique<QImageReader>();
    PictureFormat::prepare(*m_reader, m_path);
    m_index = 0;
    if (!m_reader->canRead()) {
        m_reader.reset();
        return false;
    }
    m_loopCount = m_reader->loopCount();
    return true;
}

BannerFrameDecoder::Frame BannerFrameDecoder::next()
{
    // The GIF reader cannot rewind: the next loop reads the file again.
    if ((!m_reader || !m_reader->canRead()) && !open())
        return {};
    const QImage image = m_reader->read();
    if (image.isNull()) {
        m_reader.reset();
        return {};
    }
    if (m_index == 0)
        m_sourceSize = image.size();
    Frame frame;
    frame.index = m_index++;
    frame.delayMs = frameDelay(m_reader->nextImageDelay());
    frame.last = !m_reader->canRead();
    frame.image = scaledAndClipped(image, m_pixelHeight, m_radius);
    return frame;
}

QImage BannerFrameDecoder::scaledAndClipped(const QImage &source, int pixelHeight, double radius)
{
    if (source.isNull())
        return {};
    const QSize size = pixelHeight > 0 && source.height() > 0
        ? QSize(std::max(1, qRound(double(source.width()) * pixelHeight / source.height())), pixelHeight)
        : source.size();
    QImage frame(size, QImage::Format_ARGB32_Premultiplied);
    frame.fill(Qt::transparent);
    QPainter painter(&frame);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    QPainterPath clip;
    clip.addRoundedRect(QRectF(frame.rect()), radius, radius);
    painter.setClipPath(clip);
    painter.drawImage(QRectF(frame.rect()), source);
    return frame;
}

} // namespace velmora
