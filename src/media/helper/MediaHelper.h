#pragma once

#include "media/MediaProtocol.h"

#include <QElapsedTimer>
#include <QMediaPlayer>
#include <QObject>
#include <QSize>

class QAudioOutput;
class QSocketNotifier;
class QVideoFrame;
class QVideoSink;

namespace velmora::media {

// velmora-media's player: obeys the host's lines on stdin, plays the sound itself and puts
// each decoded frame, scaled to the size the host asked for, into a free slot of the
// shared ring.
class MediaHelper : public QObject {
    Q_OBJECT

public:
    explicit MediaHelper(uchar *ring, QObject *parent = nullptr);
    // Starts listening to the host and says "ready".
    void start();

private:
    void readCommands();
    void handle(const QByteArray &line);
    void onFrame(const QVideoFrame &frame);
    void dropCuedFrame();
    void onStatus(QMediaPlayer::MediaStatus status);
    void probe(int port);
    static void send(const QByteArray &line);

    uchar *const m_ring;
    bool m_held[kSlots] = {};
    QSize m_size { 1024, 576 };
    QMediaPlayer *m_player = nullptr;
    QAudioOutput *m_audio = nullptr;
    QVideoSink *m_sink = nullptr;
    QSocketNotifier *m_input = nullptr;
    QByteArray m_pending;
    bool m_endSent = false;
    // Between "cue" and "play": the first frame waits in its slot, announced at "play".
    bool m_cueing = false;
    QByteArray m_cuedFrame;
    int m_cuedSlot = 0;
    QElapsedTimer m_sincePosition;
};

} // namespace velmora::media
