#include "MediaHelper.h"

#include <QAudioOutput>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QSocketNotifier>
#include <QUrl>
#include <QVideoFrame>
#include <QVideoSink>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace velmora::media {

MediaHelper::MediaHelper(uchar *ring, QObject *parent)
    : QObject(parent)
    , m_ring(ring)
{
    // Made before the sandbox closes: the backend loads its plugins now.
    m_player = new QMediaPlayer(this);
    m_audio = new QAudioOutput(this);
    m_audio->setMuted(true);
    m_player->setAudioOutput(m_audio);
    m_sink = new QVideoSink(this);
    m_player->setVideoSink(m_sink);
    connect(m_sink, &QVideoSink::videoFrameChanged, this, &MediaHelper::onFrame);
    connect(m_player, &QMediaPlayer::mediaStatusChanged, this, &MediaHelper::onStatus);
    connect(m_player, &QMediaPlayer::durationChanged, this,
            [](qint64 ms) { send("duration " + QByteArray::number(ms)); });
    connect(m_player, &QMediaPlayer::positionChanged, this, [this](qint64 ms) {
        if (m_sincePosition.isValid() && m_sincePosition.elapsed() < 250)
            return;
        m_sincePosition.start();
        send("position " + QByteArray::number(ms));
    });
    connect(m_player, &QMediaPlayer::errorOccurred, this, [](QMediaPlayer::Error, const QString &message) {
        send("error " + message.simplified().left(200).toUtf8());
    });
}

void MediaHelper::start()
{
    m_input = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(m_input, &QSocketNotifier::activated, this, &MediaHelper::readCommands);
    send("ready");
}

void MediaHelper::send(const QByteArray &line)
{
    const QByteArray whole = line + '\n';
    qsizetype done = 0;
    while (done < whole.size()) {
        const ssize_t written = ::write(STDOUT_FILENO, whole.constData() + done, size_t(whole.size() - done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return; // the host is gone; the closed stdin ends this process
        done += written;
    }
}

void MediaHelper::readCommands()
{
    char buffer[4096];
    const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (got <= 0) {
        if (got < 0 && errno == EINTR)
            return;
        // The host closed the channel or died: nothing more to play for.
        QCoreApplication::quit();
        return;
    }
    m_pending.append(buffer, got);
    qsizetype newline;
    while ((newline = m_pending.indexOf('\n')) >= 0) {
        const QByteArray line = m_pending.left(newline);
        m_pending.remove(0, newline + 1);
        handle(line);
    }
    if (m_pending.size() > kMaxLine)
        QCoreApplication::quit();
}

void MediaHelper::handle(const QByteArray &line)
{
    const QList<QByteArray> fields = line.split(' ');
    const QByteArray &verb = fields.first();
    const int number = fields.value(1).toInt();
    if (verb == "load" || verb == "cue") {
        m_endSent = false;
        dropCuedFrame();
        m_cueing = verb == "cue";
        m_player->setSource(QUrl::fromLocalFile(QString::fromUtf8(QByteArray::fromPercentEncoding(fields.value(1)))));
        // Paused, the pipeline is built and the first frame decoded now, but nothing plays.
        if (m_cueing)
            m_player->pause();
    } else if (verb == "play") {
        m_cueing = false;
        if (!m_cuedFrame.isEmpty())
            send(std::exchange(m_cuedFrame, {}));
        m_player->play();
    } else if (verb == "pause") {
        m_player->pause();
    } else if (verb == "stop") {
        m_cueing = false;
        dropCuedFrame();
        m_player->stop();
        m_player->setSource(QUrl());
    } else if (verb == "seek") {
        m_player->setPosition(number);
    } else if (verb == "mute") {
        m_audio->setMuted(number != 0);
    } else if (verb == "size") {
        const QSize wanted(number, fields.value(2).toInt());
        if (wanted.isValid() && !wanted.isEmpty())
            m_size = wanted.boundedTo(QSize(kMaxWidth, kMaxHeight));
    } else if (verb == "release") {
        if (number >= 0 && number < kSlots)
            m_held[number] = false;
    } else if (verb == "quit") {
        QCoreApplication::quit();
    } else if (verb == "probe" && qEnvironmentVariable("VELMORA_MEDIA_PROBE") == QLatin1String("1")) {
        probe(number);
    }
}

void MediaHelper::dropCuedFrame()
{
    if (m_cuedFrame.isEmpty())
        return;
    m_held[m_cuedSlot] = false;
    m_cuedFrame.clear();
}

void MediaHelper::onFrame(const QVideoFrame &frame)
{
    // A cued video shows its first frame at "play", and nothing before.
    if (!frame.isValid() || (m_cueing && !m_cuedFrame.isEmpty()))
        return;
    int slot = 0;
    while (slot < kSlots && m_held[slot])
        ++slot;
    if (slot == kSlots)
        return; // the host still paints every slot: this frame is dropped
    QImage image = frame.toImage();
    if (image.isNull())
        return;
    const QSize fitted = image.size().scaled(m_size, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
    if (image.size() != fitted)
        image = image.scaled(fitted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    image.convertTo(QImage::Format_RGB32);
    const int stride = image.width() * 4;
    uchar *target = m_ring + slot * kSlotBytes;
    for (int y = 0; y < image.height(); ++y)
        std::memcpy(target + qsizetype(y) * stride, image.constScanLine(y), size_t(stride));
    m_held[slot] = true;
    const QByteArray line = "frame " + QByteArray::number(slot) + ' ' + QByteArray::number(image.width()) + ' '
        + QByteArray::number(image.height()) + ' ' + QByteArray::number(stride);
    if (m_cueing) {
        m_cuedSlot = slot;
        m_cuedFrame = line;
        return;
    }
    send(line);
}

void MediaHelper::onStatus(QMediaPlayer::MediaStatus status)
{
    if (status == QMediaPlayer::EndOfMedia && !m_endSent) {
        m_endSent = true;
        send("ended");
    } else if (status == QMediaPlayer::InvalidMedia) {
        send("error invalid media");
    }
}

// What the sandbox must refuse, tried for real: a TCP connection to the host's loopback
// listener and a new file in the home folder.
void MediaHelper::probe(int port)
{
    bool connected = false;
    const int tcp = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (tcp >= 0) {
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_port = htons(quint16(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected = ::connect(tcp, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
        ::close(tcp);
    }
    const QByteArray path = QFile::encodeName(QDir::homePath() + QStringLiteral("/velmora-media-probe"));
    const int file = ::open(path.constData(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    if (file >= 0) {
        ::close(file);
        ::unlink(path.constData());
    }
    send(QByteArray("probe tcp=") + (connected ? "ok" : "denied") + " file=" + (file >= 0 ? "ok" : "denied"));
}

} // namespace velmora::media
