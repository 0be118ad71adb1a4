#pragma once

#include <QByteArray>
#include <QList>
#include <QSize>

#include <cstddef>

namespace velmora::media {

// The control channel between the host and velmora-media: one ASCII line per message, on
// the helper's stdin (host to helper) and stdout (helper to host).
//
//   host → helper                      helper → host
//   size <w> <h>    frame size wanted  ready                 player made, sandbox on
//   load <path>     percent-encoded    duration <ms>
//   cue <path>      load, paused; its first frame is announced at the next play
//   play | pause | stop                frame <slot> <w> <h> <stride>
//   seek <ms>                          position <ms>
//   mute <0|1>                         ended                 end of media, once a load
//   release <slot>  frame painted      error <text>
//   quit                               probe tcp=<ok|denied> file=<ok|denied>
//   probe <port>    test builds' sandbox check, only with VELMORA_MEDIA_PROBE=1
//
// Frames travel through shared memory (a memfd the host makes and the helper finds as
// fd 3): kSlots slots of kSlotBytes, RGB32 rows. A slot named in a "frame" line belongs to
// the host until it releases it; the helper drops a frame when no slot is free.
constexpr int kFrameFd = 3;
constexpr int kSlots = 3;
constexpr int kMaxWidth = 1920;
constexpr int kMaxHeight = 1080;
constexpr qsizetype kSlotBytes = qsizetype(kMaxWidth) * kMaxHeight * 4;
constexpr qsizetype kRingBytes = kSlotBytes * kSlots;
// Longer lines are garbage: no message comes near it.
constexpr qsizetype kMaxLine = 8192;

struct Frame {
    int slot = -1;
    int width = 0;
    int height = 0;
    int stride = 0;
};

// A "frame" line's fields, checked against the ring: an announcement that would reach
// outside its slot is refused, whatever the helper says.
inline bool parseFrame(const QList<QByteArray> &fields, Frame *frame)
{
    if (fields.size() != 5)
        return false;
    bool ok[4] = {};
    const Frame f { fields[1].toInt(&ok[0]), fields[2].toInt(&ok[1]), fields[3].toInt(&ok[2]),
                    fields[4].toInt(&ok[3]) };
    if (!ok[0] || !ok[1] || !ok[2] || !ok[3])
        return false;
    if (f.slot < 0 || f.slot >= kSlots || f.width <= 0 || f.height <= 0 || f.width > kMaxWidth || f.height > kMaxHeight
        || f.stride < f.width * 4 || qsizetype(f.stride) * f.height > kSlotBytes)
        return false;
    *frame = f;
    return true;
}

} // namespace velmora::media
