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
        m_player = new QMediaPlayer(this);
        QMediaPlayer *player = m_player;
        connect(player, &QMediaPlayer::mediaStatusChanged, this, [this, player](QMediaPlayer::MediaStatus status) {
            if (player == m_player)
                onStatus(status);
        });
        connect(player, &QMediaPlayer::errorOccurred, this,
                [this, player](QMediaPlayer::Error, const QString &message) {
                    LOG(QStringLiteral("video %1: %2").arg(player->source().toString(), message));
                    if (player == m_player && m_state != State::Idle) {
                        m_state = State::Failed;
                        player->stop();
                    }
                });
        return true;
    }
    if (!m_audio) {
        m_audio = new QAudioOutput(m_player);
        m_audio->setMuted(m_muted);
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
    m_muted = muted;
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
    m_muted = muted;
    if (m_audio)
        m_audio->setMuted(muted);
}

void VideoPlayback::stop()
{
    m_state = State::Idle;
    release();
}

void VideoPlayback::onStatus(int status)
{
    if (status != QMediaPlayer::EndOfMedia || (m_state != State::Playing && m_state != State::Paused))
        return;
    m_state = State::Ended;
    emit ended();
}

// Stopping alone leaves the audio stream open and the pipeline able to resume itself; the
// player goes, detached from its output first (a video widget that outlives a player it
// still renders crashes the backend).
void VideoPlayback::release()
{
    if (!m_player)
        return;
    QMediaPlayer *player = m_player;
    m_player = nullptr;
    m_audio = nullptr; // the player's child
    player->disconnect(this);
    player->setVideoOutput(static_cast<QObject *>(nullptr));
    player->stop();
    player->deleteLater();
}

} // namespace velmora
