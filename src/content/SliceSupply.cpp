#include "content/SliceSupply.h"

#include "support/PoolTask.h"

#include <QThreadPool>

#include <cstring>
#include <mutex>
#include <vector>

namespace velmora {

namespace {
// A megabyte ahead at 128 KiB slices: the main thread takes one a millisecond, the pool
// thread makes eight in well under that.
constexpr size_t kReady = 8;
} // namespace

struct SliceSupply::Shelf {
    qsizetype sliceSize = 0;
    std::mutex mutex;
    std::vector<QByteArray> ready;
    bool filling = false;
    bool closed = false;

    void fill()
    {
        for (;;) {
            {
                const std::lock_guard lock(mutex);
                if (closed || ready.size() >= kReady) {
                    filling = false;
                    if (closed)
                        ready.clear();
                    return;
                }
            }
            QByteArray slice(sliceSize, Qt::Uninitialized);
            std::memset(slice.data(), 0, size_t(slice.size()));
            const std::lock_guard lock(mutex);
            ready.push_back(std::move(slice));
        }
    }
};

SliceSupply::SliceSupply(qsizetype sliceSize)
    : m_shelf(std::make_shared<Shelf>())
{
    m_shelf->sliceSize = sliceSize;
}

SliceSupply::~SliceSupply()
{
    // The slices still on the shelf are unmapped on the pool thread, or by a fill under way.
    std::vector<QByteArray> unused;
    {
        const std::lock_guard lock(m_shelf->mutex);
        m_shelf->closed = true;
        unused.swap(m_shelf->ready);
    }
    if (!unused.empty())
        PoolTask::start(QThreadPool::globalInstance(), [unused = std::move(unused)] { Q_UNUSED(unused); });
}

QByteArray SliceSupply::take()
{
    QByteArray slice;
    bool startFill = false;
    {
        const std::lock_guard lock(m_shelf->mutex);
        if (!m_shelf->ready.empty()) {
            slice = std::move(m_shelf->ready.back());
            m_shelf->ready.pop_back();
        }
        startFill = !std::exchange(m_shelf->filling, true);
    }
    if (startFill)
        PoolTask::start(QThreadPool::globalInstance(), [shelf = m_shelf] { shelf->fill(); });
    if (slice.isNull())
        slice = QByteArray(m_shelf->sliceSize, Qt::Uninitialized);
    return slice;
}

} // namespace velmora
