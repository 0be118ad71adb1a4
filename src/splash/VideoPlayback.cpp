#include "splash/VideoPlayback.h"

#include "splash/MediaProcess.h"
#include "splash/VideoFrameView.h"

#include <velmora/Support.h>

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTimer>

#include <malloc.h>

namespace velmora {

namespace {
// A helper with nothing to play ends after this long, so no memory is held between ads.
constexpr int idleExitMs = 3000;
} // namespace

VideoPlayback::VideoPlayback(QObject *parent)
    : QObject(parent)
    , m_idle(new QTimer(this))
{
    m_idle->setSingleShot(true);
    m_idle->setInterval(idleExitMs);
    connect(m_idle, &QTimer::timeout, this, &VideoPlayback::retireHelper);
}

VideoPlayback::~VideoPlayback()
{
    retireHelper();
}

void VideoPlayback::prepare(const QUrl &next, VideoFrameView *output)
{
    m_idle->stop();
    MediaProcess *helper = helperFor(folderOf(next));
    if (m_state != State::Idle || next == m_cued || !next.isLocalFile() || !QFileInfo::exists(next.toLocalFile()))
        return;
    // Opening the file and decoding its first frame is most of a helper's work before the
    // picture; done here, it stays out of the video's first frames on the host's side.
    sendSize(output);
    helper->send("mute 1");
    helper->send("cue " + pathArgument(next));
    m_cued = next;
}

void VideoPlayback::sendSize(VideoFrameView *output)
{
    if (!output)
        return;
    const QSize pixels = output->size() * output->devicePixelRatioF();
    m_process->send("size " + QByteArray::number(pixels.width()) + ' ' + QByteArray::number(pixels.height()));
}

// A file as the control channel names it: absolute, percent-encoded, one field.
QByteArray VideoPlayback::pathArgument(const QUrl &media)
{
    return QFile::encodeName(QFileInfo(media.toLocalFile()).absoluteFilePath()).toPercentEncoding("/");
}

QString VideoPlayback::folderOf(const QUrl &media)
{
    return media.isLocalFile() ? QFileInfo(media.toLocalFile()).canonicalPath() : QString();
}

// A running helper may read the cache folder and the folder it was started for; media from
// anywhere else needs a helper of its own.
MediaProcess *VideoPlayback::helperFor(const QString &folder)
{
    if (m_process && (m_process->hasFailed() || !(folder.isEmpty() || m_process->readableFolders().contains(folder))))
        retireHelper();
    if (!m_process) {
        const QString cache = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
        QDir().mkpath(cache);
        QStringList folders { QFileInfo(cache).canonicalFilePath() };
        if (!folder.isEmpty() && !folders.contains(folder))
            folders << folder;
        m_process = new MediaProcess(folders, this);
        connect(m_process, &MediaProcess::failed, this, &VideoPlayback::onFailed);
        connect(m_process, &MediaProcess::ended, this, [this] {
            if (m_state != State::Loading && m_state != State::Playing && m_state != State::Paused)
                return;
            m_state = State::Ended;
            emit ended();
        });
        connect(m_process, &MediaProcess::frameArrived, this, [this](const QImage &frame) {
            if (m_state == State::Idle || m_state == State::Failed || !m_output)
                return; // dropping the image gives its slot back
            if (m_state == State::Loading)
                m_state = State::Playing;
            m_output->setFrame(frame);
        });
    }
    return m_process;
}

void VideoPlayback::load(const QUrl &url, bool muted, VideoFrameView *output)
{
    if (m_state != State::Idle)
        stop();
    m_idle->stop();
    m_output = output;
    MediaProcess *helper = helperFor(folderOf(url));
    const QUrl ahead = std::exchange(m_cued, QUrl());
    const bool cued = ahead == url && !url.isEmpty();
    if (!ahead.isEmpty() && !cued)
        LOG(QStringLiteral("video %1 plays in place of %2, opened ahead").arg(url.toString(), ahead.toString()));
    m_state = State::Loading;
    sendSize(output);
    helper->send("mute " + QByteArray::number(int(muted)));
    if (!cued) {
        helper->send("load " + pathArgument(url));
        helper->send("seek 0");
    }
    helper->send("play");
}

void VideoPlayback::play()
{
    if (m_state != State::Paused)
        return;
    m_state = State::Playing;
    m_process->send("play");
}

void VideoPlayback::pause()
{
    if (m_state != State::Playing && m_state != State::Loading)
        return;
    m_state = State::Paused;
    m_process->send("pause");
}

void VideoPlayback::setMuted(bool muted)
{
    if (m_process)
        m_process->send("mute " + QByteArray::number(int(muted)));
}

void VideoPlayback::stop()
{
    // Only a helper that played its video to the end, or had none yet, is trusted with the
    // next one: a decoder stuck on a hostile file would stall every later video too.
    const bool clean = m_state == State::Idle || m_state == State::Ended;
    if (m_state != State::Idle)
        QTimer::singleShot(idleExitMs, this, &VideoPlayback::giveBackMemory);
    m_state = State::Idle;
    m_cued.clear();
    if (m_output)
        m_output->clear();
    m_output = nullptr;
    if (!m_process)
        return;
    if (clean) {
        m_process->send("stop");
        m_idle->start();
    } else {
        retireHelper();
    }
}

void VideoPlayback::onFailed(const QString &reason)
{
    LOG(QStringLiteral("video without a picture: %1").arg(reason));
    if (m_state != State::Idle)
        m_state = State::Failed;
    if (m_output)
        m_output->clear();
}

// A showing leaves freed heap behind (its frames' copies in the backing store, fade
// buffers, decoded pictures); glibc keeps it from the system unless asked. Once the
// sequence's widgets have settled, it goes back, so the host carries nothing of the ad.
void VideoPlayback::giveBackMemory()
{
    malloc_trim(0);
}

// The helper goes on its own: it is asked to quit, killed if it does not, and its object
// deletes itself once the process is gone; the host never waits for it.
void VideoPlayback::retireHelper()
{
    if (!m_process)
        return;
    m_cued.clear();
    MediaProcess *helper = std::exchange(m_process, nullptr);
    helper->disconnect(this);
    helper->setParent(nullptr);
    helper->retire();
}

} // namespace velmora
