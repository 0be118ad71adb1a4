#pragma once

#include "support/FileStamp.h"

#include <QPixmap>
#include <QSize>
#include <QString>

#include <list>
#include <memory>
#include <vector>

namespace velmora {

// One frame of a banner picture, ready to copy to the screen.
struct BannerFrame {
    QPixmap pixmap;
    int delayMs = 0;
    bool last = false;
};

// Whole loops of banner pictures, read, scaled and clipped, shared by every banner view of the
// process (main thread only). The rotation comes back to the same few pictures every quarter
// of a minute, often in several windows at one height, and reading a GIF's frames costs more
// than everything else a banner does between two swaps: each picture is read once per size.
class BannerFrameCache {
public:
    // A picture downloaded anew under the same name is another one. Read off the main thread.
    using FileStamp = velmora::FileStamp;
    struct Loop {
        FileStamp stamp;
        std::vector<BannerFrame> frames;
        QSize sourceSize;
        int loopCount = -1;
        qint64 bytes = 0;
    };

    // Kept loops of pictures no longer on screen, least recently used dropped first.
    static constexpr qint64 kBytes = 16 * 1024 * 1024;

    static BannerFrameCache &instance();

    // The loop kept for `path` at `pixelHeight` device pixels and `ratio`, or null. Whether
    // the file is still the one read is for the caller to check against the loop's stamp.
    std::shared_ptr<const Loop> find(const QString &path, int pixelHeight, qreal ratio);
    // Keeps `loop` and returns it, or the loop of the same file kept already.
    std::shared_ptr<const Loop> insert(const QString &path, int pixelHeight, qreal ratio, Loop loop);
    void clear();
    qint64 bytes() const { return m_bytes; }

private:
    struct Entry {
        QString path;
        int pixelHeight = 0;
        qreal ratio = 1.0;
        std::shared_ptr<const Loop> loop;
    };
    std::list<Entry>::iterator entry(const QString &path, int pixelHeight, qreal ratio);

    std::list<Entry> m_entries; // most recently used first
    qint64 m_bytes = 0;
};

} // namespace velmora
