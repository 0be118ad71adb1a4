#include "content/AdsCacheInfoStorage.h"

#include "content/AdsDownloader.h"
#include "content/AdsKeys.h"
#include "support/PoolTask.h"

#include <velmora/Support.h>

#include <QCborValue>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QPromise>
#include <QSaveFile>
#include <QThreadPool>

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
} // namespace

// The read of the file: started by whichever comes first, the turn after the storage was
// made or an owner that cannot wait for it.
struct AdsCacheInfoStorage::Load {
    QString path;
    QPromise<QVariantMap> promise;
    std::atomic<bool> claimed = false;

    void run()
    {
        removeLeftovers(path);
        promise.addResult(readTable(path).value_or(QVariantMap()));
        promise.finish();
    }
};

AdsCacheInfoStorage::AdsCacheInfoStorage()
    : m_latestSave(std::make_shared<std::atomic<quint64>>(0))
    , m_load(std::make_shared<Load>())
{
    m_load->path = storageURL().toLocalFile();
    // A promise rather than a concurrent run: waiting on a run's future may take its task
    // out of the queue and run it at once on the waiting thread, ahead of earlier saves.
    m_loading = m_load->promise.future();
    m_load->promise.start();
    // Not in the turn that made the storage (the host's first call): a thousand-ad table is
    // milliseconds of allocation on a second thread, which the host's turn would share the
    // machine and its memory map with.
    const auto start = [load = m_load] {
        if (!load->claimed.exchange(true))
            PoolTask::start(storageThread(), [load] { load->run(); });
    };
    if (QCoreApplication *app = QCoreApplication::instance())
        QMetaObject::invokeMethod(app, start, Qt::QueuedConnection);
    else
        start();
}

AdsCacheInfoStorage::~AdsCacheInfoStorage()
{
    waitForSaves();
}

QVariantMap &AdsCacheInfoStorage::info() const
{
    if (m_loading.isValid()) {
        // Needed before the read was started: read here, after every save asked for.
        if (!m_load->claimed.exchange(true)) {
            waitForSaves();
            m_load->run();
        }
        m_info = m_loading.result();
        m_loading = {};
    }
    return m_info;
}

QVariantMap AdsCacheInfoStorage::infoDictionary() const
{
    return info();
}

bool AdsCacheInfoStorage::isLoaded() const
{
    return !m_loading.isValid() || m_loading.isFinished();
}

void AdsCacheInfoStorage::whenLoaded(QObject *context, std::function<void()> work) const
{
    if (isLoaded()) {
        work();
        return;
    }
    const QPointer<QObject> guard(context);
    m_loading.then(context, [guard, work = std::move(work)](const QVariantMap &) {
        if (guard)
            work();
    });
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
    if (list.contains(QVariant(info)))
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
    PoolTask::start(storageThread(), [path, snapshot, number, latest] {
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
