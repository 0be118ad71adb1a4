#include "content/AdsCacheInfoStorage.h"

#include "content/AdsDownloader.h"
#include "content/AdsKeys.h"
#include "support/BackgroundPriority.h"
#include "support/PoolTask.h"
#include "support/PostCall.h"

#include <velmora/Support.h>

#include <QCborValue>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSaveFile>
#include <QThreadPool>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace velmora {

namespace {
// A table larger than this is not one we wrote; refusing it keeps a corrupt or hostile
// file from costing the host its memory.
constexpr qint64 maxFileSize = 64 * 1024 * 1024;

std::optional<QVariantMap> readTable(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > maxFileSize)
        return std::nullopt;
    return AdsCacheInfoStorage::decode(file.readAll());
}

// A process killed between writing a file of the cache folder and renaming it leaves the
// atomic writer's temporary, "<name>.XXXXXX", beside the table or a media file; nothing
// else would ever remove it. Swept here, on the storage's thread, before the table loads:
// no media download starts before that.
void removeLeftovers(const QString &path)
{
    const QDir folder = QFileInfo(path).dir();
    const QStringList leftovers = folder.entryList({ QStringLiteral("*.??????") }, QDir::Files | QDir::Hidden);
    for (const QString &leftover : leftovers) {
        LOG(QStringLiteral("removed the unfinished write %1").arg(leftover));
        QFile::remove(folder.filePath(leftover));
    }
}

void writeTable(const QString &path, const QVariantMap &info)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write(AdsCacheInfoStorage::encode(info));
    file.commit();
}

// One thread for every load and save, so that they reach the file in the order asked for
// and a load never sees half of this process's own writes.
QThreadPool *storageThread()
{
    static QThreadPool *pool = [] {
        auto *created = new QThreadPool;
        created->setMaxThreadCount(1);
        created->setObjectName(QStringLiteral("velmora-savedAds"));
        // Saves still queued when the application goes away are written before it does.
        qAddPostRoutine([] { storageThread()->waitForDone(); });
        return created;
    }();
    return pool;
}

// Below the host and off its main thread's core: the first read of a thousand-ad table falls
// in the turns after the host's start-up, when the main thread builds the splash screens; on
// the same core the read took it from the main thread for up to 4 ms. A main thread that waits
// for it leaves the core to it anyway.
void startOnStorageThread(std::function<void()> work)
{
    PoolTask::start(storageThread(), BackgroundPriority::awayFromCaller(std::move(work)));
}
} // namespace

// The read of the file: started by whichever comes first, the turn after the storage was
// made or an owner that cannot wait for it. Its own lock rather than a QFuture: the owner's
// wait and the continuations are then visible to ThreadSanitizer, and a waiting owner never
// runs a queued task out of order.
struct AdsCacheInfoStorage::Load {
    QString path;
    std::atomic<bool> claimed = false;
    std::mutex mutex;
    std::condition_variable done;
    std::optional<QVariantMap> table;
    std::vector<std::function<void()>> waiters;

    void run()
    {
        removeLeftovers(path);
        QVariantMap read = readTable(path).value_or(QVariantMap());
        std::vector<std::function<void()>> ready;
        {
            const std::lock_guard lock(mutex);
            table = std::move(read);
            ready.swap(waiters);
        }
        done.notify_all();
        if (QCoreApplication *app = QCoreApplication::instance()) {
            for (std::function<void()> &waiter : ready)
                postCall(app, std::move(waiter));
        }
    }

    bool isDone()
    {
        const std::lock_guard lock(mutex);
        return table.has_value();
    }

    QVariantMap take()
    {
        std::unique_lock lock(mutex);
        done.wait(lock, [this] { return table.has_value(); });
        return std::move(*table);
    }
};

AdsCacheInfoStorage::AdsCacheInfoStorage()
    : m_latestSave(std::make_shared<std::atomic<quint64>>(0))
    , m_load(std::make_shared<Load>())
{
    m_load->path = storageURL().toLocalFile();
    // Not in the turn that made the storage (the host's first call): a thousand-ad table is
    // milliseconds of allocation on a second thread, which the host's turn would share the
    // machine and its memory map with.
    const auto start = [load = m_load] {
        if (!load->claimed.exchange(true))
            startOnStorageThread([load] { load->run(); });
    };
    if (QCoreApplication *app = QCoreApplication::instance())
        postCall(app, start);
    else
        start();
}

AdsCacheInfoStorage::~AdsCacheInfoStorage()
{
    waitForSaves();
}

QVariantMap &AdsCacheInfoStorage::info() const
{
    if (m_load) {
        // Needed before the read was started: read here, after every save asked for.
        if (!m_load->claimed.exchange(true)) {
            waitForSaves();
            m_load->run();
        }
        m_info = m_load->take();
        m_load.reset();
    }
    return m_info;
}

QVariantMap AdsCacheInfoStorage::infoDictionary() const
{
    return info();
}

bool AdsCacheInfoStorage::isLoaded() const
{
    return !m_load || m_load->isDone();
}

void AdsCacheInfoStorage::whenLoaded(QObject *context, std::function<void()> work) const
{
    const QPointer<QObject> guard(context);
    auto waiter = [guard, work = std::move(work)] {
        if (guard)
            work();
    };
    if (m_load) {
        const std::lock_guard lock(m_load->mutex);
        if (!m_load->table) {
            m_load->waiters.emplace_back(std::move(waiter));
            return;
        }
    }
    waiter();
}

void AdsCacheInfoStorage::setInfoDictionary(const QVariantMap &info)
{
    this->info() = info;
}

void AdsCacheInfoStorage::addBannerInfo(const QVariantMap &info)
{
    addInfo(info, kMainBannerKey);
}

void AdsCacheInfoStorage::addVideoInfo(const QVariantMap &info)
{
    addInfo(info, kMainVideoKey);
}

void AdsCacheInfoStorage::addInfo(const QVariantMap &info, const QString &key)
{
    if (info.isEmpty() || key.isEmpty())
        return;
    QVariantMap &table = this->info();
    QVariantList list = table.value(key).toList();
    // From the end: what comes again is what came last (each drawn banner is added as it
    // shows), and a table of a thousand ads is a millisecond of comparisons from the front.
    const QVariant wanted(info);
    if (std::find(list.crbegin(), list.crend(), wanted) != list.crend())
        return;
    list.append(info);
    table.insert(key, list);
    save();
}

// The table is handed over as an implicitly shared snapshot: encoding it on the worker
// never races with later changes here.
void AdsCacheInfoStorage::save() const
{
    const QString path = storageURL().toLocalFile();
    const QVariantMap snapshot = info();
    const quint64 number = ++*m_latestSave;
    const std::shared_ptr<std::atomic<quint64>> latest = m_latestSave;
    startOnStorageThread([path, snapshot, number, latest] {
        if (number == latest->load())
            writeTable(path, snapshot);
    });
}

std::optional<QVariantMap> AdsCacheInfoStorage::cacheInfo()
{
    waitForSaves();
    return readTable(storageURL().toLocalFile());
}

QUrl AdsCacheInfoStorage::storageURL()
{
    return QUrl::fromLocalFile(AdsDownloader::cacheDirectory() + QStringLiteral("/savedAds"));
}

void AdsCacheInfoStorage::waitForSaves()
{
    storageThread()->waitForDone();
}

QByteArray AdsCacheInfoStorage::encode(const QVariantMap &info)
{
    return QCborValue::fromVariant(info).toCbor();
}

std::optional<QVariantMap> AdsCacheInfoStorage::decode(const QByteArray &bytes)
{
    QCborParserError error;
    const QCborValue value = QCborValue::fromCbor(bytes, &error);
    if (error.error != QCborError::NoError || !value.isMap())
        return std::nullopt;
    return value.toVariant().toMap();
}

} // namespace velmora
