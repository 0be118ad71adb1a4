#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QUrl>

class QTimer;

namespace velmora {

class MediaProcess;
class VideoFrameView;

// The life of one splash screen's video, played by a velmora-media helper process and
// shown in a VideoFrameView, as an explicit state:
//
//   Idle ──load──▶ Loading ──first frame──▶ Playing ◀──play/pause──▶ Paused
//                     │                       │ └──── end of media ───▶ Ended
//                     └───────────────────────┴─ helper fails ────────▶ Failed
//   any ──stop──▶ Idle (nothing plays; the helper ends a few seconds later)
//
// Only Paused plays again: a finished video stays finished, and a stopped one never
// restarts. A helper that fails (missing, crashed, hung, talking garbage) leaves the video
// without a picture; the next load starts a fresh one.
class VideoPlayback : public QObject {
    Q_OBJECT

public:
    enum class State { Idle, Loading, Playing, Paused, Ended, Failed };

    explicit VideoPlayback(QObject *parent = nullptr);
    ~VideoPlayback() override;

    State state() const { return m_state; }
    // Starts a helper ahead of the next load of `next` and has it open the file and decode
    // the first frame for `output`, paused and silent: a load of that file then only plays.
    void prepare(const QUrl &next, VideoFrameView *output = nullptr);
    // Plays `url` from its start into `output`, muted as told.
    void load(const QUrl &url, bool muted, VideoFrameView *output);
    void play();
    void pause();
    void setMuted(bool muted);
    // Ends playback at once and takes the picture away.
    void stop();
    // The helper process now running, if any (for tests and diagnostics).
    MediaProcess *process() const { return m_process; }

Q_SIGNALS:
    // The video played to its end; once per load.
    void ended();

private:
    MediaProcess *helperFor(const QString &folder);
    static QString folderOf(const QUrl &media);
    static QByteArray pathArgument(const QUrl &media);
    void sendSize(VideoFrameView *output);
    void retireHelper();
    void onFailed(const QString &reason);
    static void giveBackMemory();

    State m_state = State::Idle;
    MediaProcess *m_process = nullptr;
    QPointer<VideoFrameView> m_output;
    QUrl m_cued; // the file the running helper holds paused at its start
    QTimer *m_idle = nullptr;
};

} // namespace velmora
