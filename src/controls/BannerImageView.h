#pragma once

#include "controls/BannerFrameCache.h"

#include <QPixmap>
#include <QPointer>
#include <QSize>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <optional>
#include <vector>

namespace velmora {

class BannerFrameDecoder;

// An image view for banner pictures: an animated GIF drawn proportionally into the bounds
// with rounded corners. Frames are read, scaled and clipped on the picture thread, one ahead
// of the screen, and kept once a whole loop fits the cache, so the host's main thread only
// copies a ready frame to the screen. Kept loops are shared between views and outlive a
// swap (BannerFrameCache). Frames advance only while the view is shown and its
// window is not minimised.
class BannerImageView : public QWidget {
    Q_OBJECT

public:
    // Decoded frames of one picture kept for its next loops, at most.
    static constexpr qint64 kCacheBytes = 8 * 1024 * 1024;

    explicit BannerImageView(QWidget *parent = nullptr);
    ~BannerImageView() override;

    // 4 points, or 2 when 4 is more than a tenth of the height.
    static double cornerRadius(double height);

    // Starts reading the picture at `path` (a file or a Qt resource); an empty path clears the
    // view. The picture on screen stays until the new one's first frame is ready, then
    // imageChanged() tells that it changed or that the file is no picture (hasImage() false).
    void setSource(const QString &path);
    bool hasImage() const;
    // The picture's own size; empty without a picture.
    QSize imageSize() const;
    // The frame on screen, counted from 0.
    int currentFrame() const;
    // Frames kept for the next loops (all of them once a loop fitted the cache).
    int cachedFrames() const;

    // Whether frames play (otherwise the first frame stays).
    void setAnimates(bool animates);
    bool animates() const;
    // True while frames are actually advancing.
    bool isAnimating() const;

Q_SIGNALS:
    void imageChanged();
    void frameChanged(int frame);

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    using Frame = BannerFrame;
    struct Decoded;

    bool shouldPlay() const;
    void updateAnimation();
    void watchWindow();
    QSizeF fittedSize(const QSize &pixels) const;
    int pixelHeight() const;
    QRectF frameRect(const QSize &pixels) const;
    void restartDecoding();
    void requestFrame();
    void frameDecoded(Decoded decoded);
    void adopt(const std::shared_ptr<const BannerFrameCache::Loop> &loop);
    void keepLoop(const QSize &sourceSize, qreal ratio);
    void show(int index, Frame frame);
    void advance();

    QString m_source;
    std::shared_ptr<BannerFrameDecoder> m_decoder;
    // Each setSource() and each change of size starts a new generation; older frames are dropped.
    quint64 m_generation = 0;
    bool m_requested = false;
    int m_decodedHeight = 0;
    bool m_awaitingFirst = false;
    // A loop of this source kept from before, used if the file is still the one it was read from.
    std::shared_ptr<const BannerFrameCache::Loop> m_candidate;
    BannerFrameCache::FileStamp m_stamp;
    // imageChanged() is due when the first frame of a new source arrives.
    bool m_announce = false;

    QSize m_imageSize;
    Frame m_shown;
    int m_current = -1;
    // A decoded frame that waits for its turn.
    std::optional<Frame> m_ahead;
    int m_aheadIndex = -1;
    bool m_dueNow = false;
    std::vector<Frame> m_cache;
    bool m_cacheComplete = false;
    bool m_cacheRefused = false;
    qint64 m_cacheBytes = 0;
    int m_loopCount = -1;
    int m_loopsPlayed = 0;
    bool m_finished = false;

    QTimer m_frameTimer;
    int m_remainingMs = -1;
    bool m_animates = false;
    QPointer<QWidget> m_watchedWindow;
};

} // namespace velmora
