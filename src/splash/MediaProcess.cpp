#include "splash/MediaProcess.h"

#include "BuildConfig.h"
#include "media/FrameRing.h"
#include "media/MediaProtocol.h"
#include "support/BackgroundPriority.h"

#include <velmora/Support.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QTimer>

#if defined(Q_OS_UNIX)
#include <dlfcn.h>
#endif

namespace velmora {

using namespace media;

namespace {

// What a frame image holds on to: the ring it points into, and whom to give the slot back.
struct FrameHold {
    std::shared_ptr<void> ring;
    QPointer<MediaProcess> process;
    int slot;
};

void releaseFrame(void *info)
{
    auto *hold = static_cast<FrameHold *>(info);
    if (hold->process)
        hold->process->send("release " + QByteArray::number(hold->slot));
    delete hold;
}

// The helper's threads (demuxer, decoders, sound) keep off the core the host's main thread
// runs on, when there are others, and run at a lower priority: a frame being decoded then
// never takes the host's core in the middle of a paint, nor keeps a main thread that moved to
// the helper's core waiting for the end of a time slice. Set from here right after the
// start, before the helper has made its first thread, so that every thread inherits it; set
// in the child before exec, it would make the host wait until the other core had time for
// the child.
void keepOutOfHostsWay(qint64 helper)
{
    if (helper <= 0)
        return;
    BackgroundPriority::apply(helper, BackgroundPriority::niceness());
    BackgroundPriority::keepOffCore(helper, BackgroundPriority::currentCore());
}

} // namespace

QString MediaProcess::helperPath()
{
    const QString configured = qEnvironmentVariable("VELMORA_MEDIA_HELPER");
    if (!configured.isEmpty())
        return configured;
#if defined(Q_OS_UNIX)
    // Beside the library that holds this code, wherever the host loaded it from.
    Dl_info info {};
    if (dladdr(reinterpret_cast<void *>(&MediaProcess::helperPath), &info) == 0 || !info.dli_fname)
        return {};
    const QString folder = QFileInfo(QString::fromLocal8Bit(info.dli_fname)).absolutePath();
#else
    const QString folder = QCoreApplication::applicationDirPath();
#endif
    for (const QString &candidate : { folder + QStringLiteral("/velmora-media"),
                                      folder + QStringLiteral("/" VELMORA_MEDIA_FROM_LIBDIR "/velmora-media") }) {
        if (QFileInfo(candidate).isExecutable())
            return QFileInfo(candidate).canonicalFilePath();
    }
    return {};
}

MediaProcess::MediaProcess(const QStringList &readableFolders, QObject *parent)
    : QObject(parent)
    , m_ring(FrameRing::create())
    , m_folders(readableFolders)
{
    m_process = new QProcess(this);
    const QString program = helperPath();
    if (program.isEmpty() || !m_ring) {
        // Reported on the next turn, once the owner listens.
        QMetaObject::invokeMethod(
            this, [this] { fail(QStringLiteral("no velmora-media helper or frame memory")); }, Qt::QueuedConnection);
        return;
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VELMORA_MEDIA_PARENT"), QString::number(QCoreApplication::applicationPid()));
    m_process->setProcessEnvironment(environment);
    m_ring->shareWith(m_process);
    connect(m_process, &QProcess::readyReadStandardOutput, this, &MediaProcess::readLines);
    connect(m_process, &QProcess::readyReadStandardError, this, [this] {
        const QList<QByteArray> lines = m_process->readAllStandardError().split('\n');
        for (const QByteArray &line : lines) {
            if (!line.trimmed().isEmpty())
                LOG(QStringLiteral("velmora-media: %1").arg(QString::fromUtf8(line.left(500))));
        }
    });
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            fail(QStringLiteral("cannot start %1: %2").arg(m_process->program(), m_process->errorString()));
    });
    connect(m_process, &QProcess::finished, this, [this](int code, QProcess::ExitStatus status) {
        if (m_retiring) {
            deleteLater();
            return;
        }
        fail(status == QProcess::CrashExit ? QStringLiteral("crashed") : QStringLiteral("ended with %1").arg(code));
    });
    m_process->start(program, readableFolders);
    keepOutOfHostsWay(m_process->processId());
}

MediaProcess::~MediaProcess()
{
    if (m_process && m_process->state() != QProcess::NotRunning) {
        // SIGKILL ends even a stopped helper at once, so QProcess's wait is short.
        m_process->disconnect(this);
        m_process->kill();
        m_process->waitForFinished(1000);
    }
}

qint64 MediaProcess::processId() const
{
    return m_process ? m_process->processId() : 0;
}

void MediaProcess::send(const QByteArray &line)
{
    // Lines written while the process still starts wait in QProcess's buffer.
    if (!m_failed && m_process && m_process->state() != QProcess::NotRunning)
        m_process->write(line + '\n');
}

void MediaProcess::retire()
{
    m_retiring = true;
    if (!m_process || m_process->state() == QProcess::NotRunning) {
        deleteLater();
        return;
    }
    send("quit");
    m_process->closeWriteChannel();
    QTimer::singleShot(2000, this, [this] {
        if (m_process->state() != QProcess::NotRunning)
            m_process->kill();
    });
}

void MediaProcess::readLines()
{
    m_pending.append(m_process->readAllStandardOutput());
    qsizetype newline;
    while (!m_failed && (newline = m_pending.indexOf('\n')) >= 0) {
        const QByteArray line = m_pending.left(newline);
        m_pending.remove(0, newline + 1);
        handle(line);
    }
    if (!m_failed && m_pending.size() > kMaxLine)
        fail(QStringLiteral("a line of over %1 bytes").arg(kMaxLine));
}

void MediaProcess::handle(const QByteArray &line)
{
    const QList<QByteArray> fields = line.split(' ');
    const QByteArray &verb = fields.first();
    if (verb == "frame") {
        Frame frame;
        if (!parseFrame(fields, &frame)) {
            fail(QStringLiteral("bad frame announcement: %1").arg(QString::fromLatin1(line.left(200))));
            return;
        }
        auto *hold = new FrameHold { m_ring, this, frame.slot };
        const QImage image(m_ring->data() + frame.slot * kSlotBytes, frame.width, frame.height, frame.stride,
                           QImage::Format_RGB32, releaseFrame, hold);
        emit frameArrived(image);
    } else if (verb == "ready") {
        emit ready();
    } else if (verb == "ended") {
        emit ended();
    } else if (verb == "error") {
        fail(QString::fromUtf8(line.mid(6, 200)));
    } else if (verb == "probe") {
        emit probeAnswered(line.mid(6));
    } else if (verb != "duration" && verb != "position") {
        fail(QStringLiteral("garbage on the control channel: %1").arg(QString::fromLatin1(line.left(80).toHex())));
    }
}

void MediaProcess::fail(const QString &reason)
{
    if (m_failed || m_retiring)
        return;
    m_failed = true;
    LOG(QStringLiteral("video helper failed: %1").arg(reason));
    if (m_process->state() != QProcess::NotRunning)
        m_process->kill();
    emit failed(reason);
}

} // namespace velmora
