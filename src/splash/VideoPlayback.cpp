#include "splash/VideoPlayback.h"

#include <velmora/Support.h>

#include <QAudioOutput>
#include <QMediaPlayer>
#include <QVideoWidget>

namespace velmora {

VideoPlayback::VideoPlayback(QObject *parent)
    : QObject(parent)
{
}

VideoPlayback::~VideoPlayback()
{
    release();
}

bool VideoPlayback::prepareStep()
{
    if (!m_player) {
        // release() disconnects a player before it lets it go: these only hear the current one.
        m_player = new QMediaPlayer(this);
        connect(m_player, &QMediaPlayer::mediaStatusChanged, this, &VideoPlayback::onStatus);
        connect(m_player, &QMediaPlayer::errorOccurred, this, &VideoPlayback::onError);
        return true;
    }
    if (!m_audio) {
        m_audio = new QAudioOutput(m_player);
        m_player->setAudioOutput(m_audio);
        return true;
    }
    return false;
}

void VideoPlayback::load(const QUrl &url, bool muted, QVideoWidget *output)
{
    if (m_state != State::Idle)
        stop();
    while (prepareStep()) { }
    m_audio->setMuted(muted);
    m_player->setVideoOutput(output);
    m_player->setSource(url);
    m_player->setPosition(0);
    m_state = State::Playing;
    m_player->play();
}

void VideoPlayback::play()
{
    if (m_state != State::Paused)
        return;
    m_state = State::Playing;
    m_player->play();
}

void VideoPlayback::pause()
{
    if (m_state != State::Playing)
        return;
    m_state = State::Paused;
    m_player->pause();
}

void VideoPlayback::setMuted(bool muted)
{
    if (m_audio)
        m_audio->setMuted(muted);
}

void VideoPlayback::stop()
{
    m_state = State::Idle;
    release();
}

void VideoPlayback::onStatus(QMediaPlayer::MediaStatus status)
{
    if (status != QMediaPlayer::EndOfMedia || (m_state != State::Playing && m_state != State::Paused))
        return;
    m_state = State::Ended;
    emit ended();
}

void VideoPlayback::onError(QMediaPlayer::Error, const QString &message)
{
    LOG(QStringLiteral("video %1: %2").arg(m_player->source().toString(), message));
    // The failed pipeline plays nothing more; only a stop or a new load leaves this state.
    if (m_state != State::Idle)
        m_state = State::Failed;
}

// The player goes with its audio stream. Stopping it, or taking its video output away while
// it plays, blocks the main thread for a pipeline state change (stop() ran into GStreamer's
// one-second timeout, detaching cost up to 300 ms); a pause is asynchronous. So it is muted
// and paused now, and let go of its output and deleted on later turns of the loop, when
// that costs a few milliseconds.
void VideoPlayback::release()
{
    if (!m_player)
        return;
    QMediaPlayer *player = m_player;
    m_player = nullptr;
    player->disconnect(this);
    if (m_audio)
        m_audio->setMuted(true);
    m_audio = nullptr; // the player's child
    player->pause();
    QMetaObject::invokeMethod(
        player,
        [player] {
            player->setVideoOutput(static_cast<QObject *>(nullptr));
            player->deleteLater();
        },
        Qt::QueuedConnection);
}

// A video widget deleted while a player still renders into it crashes the backend: this
// covers the players on their way out too.
void VideoPlayback::detachOutputs()
{
    for (QMediaPlayer *player : findChildren<QMediaPlayer *>(QString(), Qt::FindDirectChildrenOnly))
        player->setVideoOutput(static_cast<QObject *>(nullptr));
}

} // namespace velmora
