#include "splash/MediaBackend.h"
#include "support/PoolTask.h"

#include <velmora/Support.h>

#include <QElapsedTimer>
#include <QMediaFormat>
#include <QThreadPool>

#include <atomic>

namespace velmora {

namespace {
std::atomic<bool> started { false };
std::atomic<bool> warm { false };
} // namespace

void MediaBackend::warmUp()
{
    if (started.exchange(true))
        return;
    PoolTask::start(QThreadPool::globalInstance(), [] {
        QElapsedTimer timer;
        timer.start();
        // Asking for the decodable formats creates the platform media integration, which
        // is guarded by Qt's own lock.
        const auto formats = QMediaFormat().supportedFileFormats(QMediaFormat::Decode);
        warm = true;
        LOG(QStringLiteral("media backend ready in %1 ms (%2 formats)").arg(timer.elapsed()).arg(formats.size()));
    });
}

bool MediaBackend::isWarm()
{
    return warm;
}

} // namespace velmora
