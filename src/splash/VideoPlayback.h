#pragma once

#include <QMediaPlayer>
#include <QObject>
#include <QUrl>

class QAudioOutput;
class QVideoWidget;

namespace velmora {

// The life of one splash screen's video player, as an explicit state:
//
//   Idle ──load──▶ Playing ◀──play/pause──▶ Paused
//                     │  └──── end of media ───▶ Ended
//                     └──────── error ─────────▶ Failed
//   any ──stop──▶ Idle (the player and its audio stream are gone)
//
// Only Paused plays again: a finished video stays finished (Qt's backends rewind on play()
// after the end), and a stopped one never restarts. The player is made ahead, a part per
// prepareStep(), so that load() costs the main thread little.
class VideoPlayback : public QObject {
    Q_OBJECT

public:
    enum class State { Idle, Playing, Paused, Ended, Failed };

    explicit VideoPlayback(QObject *parent = nullptr);
    ~VideoPlayback() override;

    State state() const { return m_state; }
    // Makes the next missing part of a player for the next load(); false once it is ready.
    bool prepareStep();
    // Plays `url` from its start into `output`, muted as told.
    void load(const QUrl &url, bool muted, QVideoWidget *output);
    void play();
    void pause();
    void setMuted(bool muted);
    // Ends playback at once and releases the player, its audio stream and its hold on the
    // output over the next turns of the loop.
    void stop();
    // Takes every player's video output away, also from players being released.
    void detachOutputs();
    // The Qt player of the current or next video; null when there is none.
    QMediaPlayer *player() const { return m_player; }

Q_SIGNALS:
    // The video played to its end; once per load.
    void ended();

private:
    void onStatus(QMediaPlayer::MediaStatus status);
    void onError(QMediaPlayer::Error error, const QString &message);
    void release();

    State m_state = State::Idle;
    QMediaPlayer *m_player = nullptr;
    QAudioOutput *m_audio = nullptr;
};

} // namespace velmora
