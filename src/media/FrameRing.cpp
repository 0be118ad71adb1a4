#include "media/FrameRing.h"

#include "BuildConfig.h"
#include "media/MediaProtocol.h"

#include <QProcess>

#if VELMORA_PORTABLE
#include <QCoreApplication>
#include <QSharedMemory>
#include <QUuid>
#else
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#endif

namespace velmora::media {

#if VELMORA_PORTABLE

namespace {
constexpr char kKeyVariable[] = "VELMORA_MEDIA_RING";
}

struct FrameRing::Native {
    QSharedMemory memory;
};

std::shared_ptr<FrameRing> FrameRing::create()
{
    std::shared_ptr<FrameRing> ring(new FrameRing);
    ring->m_native = std::make_unique<Native>();
    // A key no other process guesses.
    ring->m_native->memory.setKey(QStringLiteral("velmora-frames-%1-%2")
                                      .arg(QCoreApplication::applicationPid())
                                      .arg(QUuid::createUuid().toString(QUuid::Id128)));
    if (!ring->m_native->memory.create(int(kRingBytes)))
        return nullptr;
    ring->m_data = static_cast<uchar *>(ring->m_native->memory.data());
    return ring;
}

std::unique_ptr<FrameRing> FrameRing::attach()
{
    std::unique_ptr<FrameRing> ring(new FrameRing);
    ring->m_native = std::make_unique<Native>();
    ring->m_native->memory.setKey(qEnvironmentVariable(kKeyVariable));
    if (ring->m_native->memory.key().isEmpty() || !ring->m_native->memory.attach()
        || ring->m_native->memory.size() < kRingBytes)
        return nullptr;
    ring->m_data = static_cast<uchar *>(ring->m_native->memory.data());
    return ring;
}

FrameRing::~FrameRing() = default;

void FrameRing::shareWith(QProcess *process) const
{
    QProcessEnvironment environment = process->processEnvironment();
    environment.insert(QString::fromLatin1(kKeyVariable), m_native->memory.key());
    process->setProcessEnvironment(environment);
}

#else

struct FrameRing::Native {
    int fd = -1;
    ~Native()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

std::shared_ptr<FrameRing> FrameRing::create()
{
    std::shared_ptr<FrameRing> ring(new FrameRing);
    ring->m_native = std::make_unique<Native>();
    const int fd = ring->m_native->fd = ::memfd_create("velmora-frames", MFD_CLOEXEC);
    if (fd < 0 || ::ftruncate(fd, kRingBytes) != 0)
        return nullptr;
    // The host only reads frames.
    void *mapped = ::mmap(nullptr, size_t(kRingBytes), PROT_READ, MAP_SHARED, fd, 0);
    if (mapped == MAP_FAILED)
        return nullptr;
    ring->m_data = static_cast<uchar *>(mapped);
    return ring;
}

std::unique_ptr<FrameRing> FrameRing::attach()
{
    void *mapped = ::mmap(nullptr, size_t(kRingBytes), PROT_READ | PROT_WRITE, MAP_SHARED, kFrameFd, 0);
    if (mapped == MAP_FAILED)
        return nullptr;
    std::unique_ptr<FrameRing> ring(new FrameRing);
    ring->m_data = static_cast<uchar *>(mapped);
    return ring;
}

FrameRing::~FrameRing()
{
    if (m_data)
        ::munmap(m_data, size_t(kRingBytes));
}

void FrameRing::shareWith(QProcess *process) const
{
    const int fd = m_native->fd;
    // Between fork and exec: async-signal-safe calls only.
    process->setChildProcessModifier([fd] {
        if (fd == kFrameFd)
            ::fcntl(fd, F_SETFD, 0);
        else
            ::dup2(fd, kFrameFd);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
}

#endif

} // namespace velmora::media
