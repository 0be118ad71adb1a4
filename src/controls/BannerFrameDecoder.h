#pragma once

#include <QImage>
#include <QSize>
#include <QString>

#include <memory>

class QImageReader;

namespace velmora {

// Reads an animated picture frame by frame and hands each frame out ready to draw: scaled to
// a height in device pixels and clipped to the banner's rounded corners. Runs on the picture
// thread; one call at a time.
class BannerFrameDecoder {
public:
    struct Frame {
        QImage image; // null: the file is not a picture (or ended before its first frame)
        int index = 0;
        int delayMs = 0;
        bool last = false; // the last frame of the picture
    };

    // `pixelHeight` 0 keeps the picture's own size.
    BannerFrameDecoder(QString path, int pixelHeight, double cornerRadiusPixels);
    ~BannerFrameDecoder();

    // The picture's own size; empty until the first frame was read, or when unreadable.
    QSize sourceSize() const { return m_sourceSize; }
    // How often the animation repeats after its first play; -1 forever.
    int loopCount() const { return m_loopCount; }

    // The next frame, starting again after the last one.
    Frame next();

    // A frame of `source` at `pixelHeight`, its corners cut round with `radius` pixels.
    static QImage scaledAndClipped(const QImage &source, int pixelHeight, double radius);

private:
    bool open();

    QString m_path;
    int m_pixelHeight;
    double m_radius;
    std::unique_ptr<QImageReader> m_reader;
    QSize m_sourceSize;
    int m_loopCount = -1;
    int m_index = 0;
};

} // namespace velmora
