#pragma once

#include <QIODevice>
#include <QUrl>

namespace velmora {

// The length of a video from its container's movie header (ISO base media: MP4, MOV,
// M4V), without building a player: a few small reads, cheap enough for the main thread.
class MediaDuration {
public:
    // Whole seconds, truncated; 0 for anything that is not a readable local file of that
    // kind or whose time scale is 0.
    static qint64 seconds(const QUrl &video);
    static qint64 seconds(QIODevice &device);
};

} // namespace velmora
