#include "content/AdsDownloader.h"

#include "BuildConfig.h"
#include "content/AdsCacheInfoStorage.h"
#include "content/AdsKeys.h"
#include "content/AdsMacHelper.h"
#include "content/AdsSelection.h"
#include "content/DownloadDelegate.h"
#include "content/MediaFetcher.h"
#include "content/Reachability.h"
#include "content/ReplyOutcome.h"
#include "content/SliceSupply.h"
#include "support/Logging.h"
#include "support/MainThread.h"
#include "support/PicturePool.h"
#include "support/PoolTask.h"
#include "support/PostCall.h"

#include <velmora/Bundle.h>
#include <velmora/Support.h>

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStandardPaths>
#include <QThread>
#include <QThreadPool>
#include <QTimer>

#include <utility>

namespace velmora {

namespace {

constexpr int transferTimeoutMs = 60000;
// Caps that protect the host's memory from a runaway server.
constexpr qint64 maxTableBytes = 16 * 1024 * 1024;
constexpr qint64 maxMediaBytes = 64 * 1024 * 1024;
constexpr qsizetype maxMediaPathLength = 8192;
constexpr qint64 readSlice = MediaFetcher::kSlice;
constexpr int readPaceMs = MediaFetcher::kPaceMs;

QString configured(const char *variable, const char *fallback)
{
    QString value = qEnvironmentVariable(variable);
    if (value.isEmpty())
        value = QString::fromUtf8(fallback);
    while (value.endsWith(QLatin1Char('/')))
        value.chop(1);
    return value;
}

QString firstLabel(const char *host)
{
    return QString::fromUtf8(host).section(QLatin1Char('.'), 0, 0);
}

// The part of a server path that names the cached file, or nothing when it could
// leave the cache folder.
QString safeFileName(const QUrl &remote)
{
    if (!remote.isValid())
        return {};
    // Split before decoding, so an encoded slash cannot hide a path inside the name.
    const QString encoded = remote.path(QUrl::FullyEncoded).section(QLatin1Char('/'), -1);
    const QString name = QUrl::fromPercentEncoding(encoded.toUtf8());
    if (name.isEmpty() || name.startsWith(QLatin1Char('.')) || name.contains(QLatin1Char('/'))
        || name.contains(QLatin1Char('\\')) || name.contains(QLatin1String("..")) || name.contains(QChar(0)))
        return {};
    return name;
}

// A reply's body as it arrives. Qt's network thread may hand over megabytes at once when the
// server is fast, so the body is taken off Qt's buffer a slice at a time, paced, kept as a
// list of slices (never one growing array), and the cap is judged on what has reached this
// side, read or not. The reply's small read buffer makes the network thread (and through
// TCP the server) wait for the slices to be taken instead of racing the host's main thread
// for the machine's cores.
class BodyBuffer : public QObject {
    Q_OBJECT

public:
    BodyBuffer(QNetworkReply *reply, qint64 cap)
        : QObject(reply)
        , m_reply(reply)
        , m_cap(cap)
    {
        // A slice already due takes what arrives meanwhile.
        connect(reply, &QNetworkReply::readyRead, this, [this] {
            if (!m_drainQueued)
                drain();
        });
        connect(reply, &QNetworkReply::downloadProgress, this, [this](qint64, qint64 total) {
            if (total > m_cap)
                abandon();
        });
    }
    ~BodyBuffer() override
    {
        // Unmapping megabytes of an abandoned body is a stall of its own; the pages go
        // back on a pool thread.
        QThreadPool *pool = QThreadPool::globalInstance();
        if (pool && m_size > readSlice)
            PoolTask::start(pool, [slices = std::move(m_slices)] { Q_UNUSED(slices); });
    }

    bool overCap() const { return m_overCap; }
    QByteArrayList takeSlices()
    {
        append(m_reply->readAll());
        m_size = 0;
        return std::exchange(m_slices, {});
    }

    bool isDraining() const { return bool(m_whenDrained); }
    // Calls `done` once Qt's buffer is empty: what is left when the reply finishes (the
    // network thread may be tens of megabytes ahead) is taken a slice per turn as well.
    void whenDrained(std::function<void()> done)
    {
        m_whenDrained = std::move(done);
        if (!m_drainQueued)
            drain();
    }

private:
    void drain()
    {
        m_drainQueued = false;
        if (!m_overCap && m_size + m_reply->bytesAvailable() > m_cap)
            abandon();
        if (!m_overCap) {
            append(readNextSlice());
            if (m_reply->bytesAvailable() > 0) {
                m_drainQueued = true;
                QTimer::singleShot(readPaceMs, Qt::PreciseTimer, this, &BodyBuffer::drain);
                return;
            }
        }
        if (m_whenDrained)
            std::exchange(m_whenDrained, {})();
    }
    // The first slice as Qt gives it; a body larger than that goes into slices made ready
    // off the main thread.
    QByteArray readNextSlice()
    {
        if (!m_supply) {
            QByteArray first = m_reply->read(readSlice);
            if (first.size() == readSlice)
                m_supply = std::make_unique<SliceSupply>(readSlice);
            return first;
        }
        QByteArray slice = m_supply->take();
        const qint64 read = m_reply->read(slice.data(), slice.size());
        if (read <= 0)
            return {};
        slice.truncate(read);
        return slice;
    }
    void append(QByteArray slice)
    {
        if (slice.isEmpty())
            return;
        m_size += slice.size();
        m_slices.append(std::move(slice));
    }
    void abandon()
    {
        if (m_overCap)
            return;
        LOG(QStringLiteral("transfer of %1 abandoned: over %2 bytes").arg(m_reply->url().toString()).arg(m_cap));
        m_overCap = true;
        m_reply->abort();
    }

    QNetworkReply *m_reply;
    qint64 m_cap;
    QByteArrayList m_slices;
    qint64 m_size = 0;
    bool m_overCap = false;
    bool m_drainQueued = false;
    std::function<void()> m_whenDrained;
    std::unique_ptr<SliceSupply> m_supply;
};

void capBody(QNetworkReply *reply, qint64 cap)
{
    reply->setReadBufferSize(4 * readSlice);
    new BodyBuffer(reply, cap);
}

BodyBuffer *bodyBuffer(QNetworkReply *reply)
{
    return reply->findChild<BodyBuffer *>(QString(), Qt::FindDirectChildrenOnly);
}

bool overCap(QNetworkReply *reply)
{
    const BodyBuffer *buffer = bodyBuffer(reply);
    return buffer && buffer->overCap();
}

// Runs `done` once the whole body of a finished reply is off Qt's buffer.
void whenBodyTaken(QNetworkReply *reply, std::function<void()> done)
{
    if (BodyBuffer *buffer = bodyBuffer(reply))
        buffer->whenDrained(std::move(done));
    else
        done();
}

QByteArrayList slicesOf(QNetworkReply *reply)
{
    BodyBuffer *buffer = bodyBuffer(reply);
    return buffer ? buffer->takeSlices() : QByteArrayList { reply->readAll() };
}

QByteArray bodyOf(QNetworkReply *reply)
{
    const QByteArrayList slices = slicesOf(reply);
    return slices.size() == 1 ? slices.first() : slices.join();
}

// A reply whose body is still being taken off Qt's buffer counts as running.
bool isRunning(const QPointer<QNetworkReply> &task)
{
    if (!task)
        return false;
    const BodyBuffer *buffer = bodyBuffer(task);
    return task->isRunning() || (buffer && buffer->isDraining());
}

// acsURL followed by the ad's media path. An absent path gives an absent URL: its cached
// name would be "(null)", which is refused like any other unusable name.
QUrl mediaURL(const QVariantMap &ad, const QString &key)
{
    const auto found = ad.constFind(key);
    if (found == ad.constEnd())
        return QUrl();
    const QString path = found->toString();
    // No server takes a request line this long, and parsing a megabyte-long URL costs the
    // main thread milliseconds each time the ad is looked at.
    if (path.size() > maxMediaPathLength) {
        LOG(QStringLiteral("media path of %1 characters ignored").arg(path.size()));
        return QUrl();
    }
    return QUrl(AdsDownloader::acsURL() + path);
}

struct Delegate {
    QPointer<QObject> object; // set when the delegate is a QObject, to notice its end
    bool tracked = false;
    DownloadDelegate *delegate = nullptr;
    bool told = false; // by an announcement since it registered

    bool alive() const { return !tracked || object; }
};

} // namespace

struct AdsDownloader::Private {
    QNetworkAccessManager *network = nullptr;
    AdsCacheInfoStorage cacheStorage;
    std::unique_ptr<Reachability> internetReachableFoo;
    QList<Delegate> delegates;

    std::optional<QVariantMap> replyJSON;
    bool isUpdateAdsCurrentSession = false;
    bool isShowBannersFromCache = false;
    bool delegatesTold = false;
    // The first cycle waits for the offline table, read on a worker.
    bool waitingForTable = false;

    QPointer<QNetworkReply> JSONTask;
    bool bannerFetching = false;
    bool videoFetching = false;
    int fetchesUnderWay = 0;

    QUrl videoURL;
    QUrl bannerURL;
    QUrl interstitialVideoURL;
    QUrl linkVideoURL;
    QUrl linkBannerURL;
    QVariantMap videoInfo;
    QVariantMap bannerInfo;

    AdsSelection::RandomSource random = AdsSelection::systemRandom();
};

AdsDownloader *AdsDownloader::sharedInstance()
{
    static AdsDownloader *downloader = new AdsDownloader;
    return downloader;
}

AdsDownloader::AdsDownloader()
    : d(new Private)
{
    // Made as a child before the move, so the manager moves along: a child made after it
    // would stay on a worker that first asked for the downloader.
    d->network = new QNetworkAccessManager(this);
    MainThread::adopt(this);
    checkInternetConnection();
    // The request and the house banners need the host's Info.plist: read it ahead, off the
    // host's main thread, whose first read would also page in the XML reader's code.
    PicturePool::start([] { (void)VLMMainAppBundle(); });
}

AdsDownloader::~AdsDownloader()
{
    delete d;
}

QString AdsDownloader::cacheDirectory()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    QDir().mkpath(folder);
    return folder;
}

QString AdsDownloader::acsURL()
{
    return configured("VELMORA_AD_SERVER_URL", VELMORA_AD_SERVER_URL_DEFAULT);
}

// ---- Delegates and the update cycle ---------------------------------------------------

void AdsDownloader::addDelegate(DownloadDelegate *delegate)
{
    if (!delegate)
        return;
    QObject *object = dynamic_cast<QObject *>(delegate);
    d->delegates.append({ object, object != nullptr, delegate });
    // The table a cycle brings is announced once; a banner added after that (a second
    // window opened later, or any but the first when the offline table answered at once)
    // would otherwise wait for a cycle that this run never starts again. Looked at on the
    // next turn, once the caller has started its cycle: only a delegate that nothing has
    // told and nothing is still going to tell hears of the table it missed.
    QMetaObject::invokeMethod(
        this, [this, delegate] { tellLateDelegate(delegate); }, Qt::QueuedConnection);
}

void AdsDownloader::tellLateDelegate(DownloadDelegate *delegate)
{
    const bool announcementComing = (isRunning(d->JSONTask) || d->waitingForTable) && !d->isShowBannersFromCache;
    if (!d->delegatesTold || announcementComing)
        return;
    for (Delegate &entry : d->delegates) {
        if (entry.delegate != delegate || entry.told || !entry.alive())
            continue;
        entry.told = true;
        entry.delegate->endDownloadСonfiguration();
        return;
    }
}

bool AdsDownloader::isTransferring() const
{
    return isRunning(d->JSONTask) || d->fetchesUnderWay > 0;
}

// Network objects live on the main thread; a call from elsewhere is re-posted there.
bool AdsDownloader::postedToOwnThread(std::function<void()> call)
{
    if (QThread::currentThread() == thread())
        return false;
    postCall(this, std::move(call));
    return true;
}

void AdsDownloader::startUpdateAllAds()
{
    if (postedToOwnThread([this] { startUpdateAllAds(); }))
        return;
    // The cycle starts once the offline table is read, on a worker: the host's turn that
    // registered a banner does not wait for it.
    if (!d->cacheStorage.isLoaded()) {
        if (!std::exchange(d->waitingForTable, true)) {
            d->cacheStorage.whenLoaded(this, [this] {
                d->waitingForTable = false;
                startUpdateAllAds();
            });
        }
        return;
    }
    const QPointer<AdsDownloader> self(this);
    downloadJSONWithComplitionBlock([self] {
        if (self)
            self->downloadAllAdsData();
    });
}

void AdsDownloader::downloadAllAdsData()
{
    downloadBanner();
    downloadVideo();
}

void AdsDownloader::downloadBanner()
{
    // A copy: a delegate may register another one while being told.
    const auto delegates = d->delegates;
    d->delegatesTold = true;
    for (Delegate &entry : d->delegates)
        entry.told = true;
    for (const Delegate &entry : delegates) {
        if (entry.alive())
            entry.delegate->endDownloadСonfiguration();
    }
}

void AdsDownloader::checkInternetConnection()
{
    d->internetReachableFoo = Reachability::reachabilityForInternetConnection();
    if (!d->internetReachableFoo)
        return;
    const QPointer<AdsDownloader> self(this);
    d->internetReachableFoo->reachableBlock = [self](Reachability *) {
        postCall(QCoreApplication::instance(), [self] {
            if (self)
                self->startUpdateAllAds();
        });
    };
    d->internetReachableFoo->unreachableBlock = [](Reachability *) {};
    d->internetReachableFoo->startNotifier();
}

// ---- The ad table ------------------------------------------------------------------------

QString AdsDownloader::generateRequestAcs() const
{
    const QVariant configuredId = VLMMainAppBundle().objectForInfoDictionaryKey(QStringLiteral("MetrivoAppId"));
    const QString innerId = configuredId.isValid() ? configuredId.toString() : QStringLiteral("mac.000000.mac-store");
    // Inserted as it stands, without escaping.
    return QStringLiteral("{") + QStringLiteral("\"inner_id\" : \"%1\",").arg(innerId)
        + QStringLiteral("\"language\" : \"EN\",") + QStringLiteral("\"placements\" : [ \"standard\",\"video\" ]}");
}

QByteArray AdsDownloader::requestBody() const
{
    // Lossy ASCII: anything outside it becomes '?', never a refusal.
    QByteArray body;
    for (const QChar c : generateRequestAcs())
        body.append(c.unicode() < 128 ? char(c.unicode()) : '?');
    return body;
}

void AdsDownloader::downloadJSONWithComplitionBlock(Callback callback)
{
    if (postedToOwnThread([this, callback] { downloadJSONWithComplitionBlock(callback); }))
        return;
    if (isRunning(d->JSONTask) || d->isUpdateAdsCurrentSession)
        return;
    const QVariantMap cached = d->cacheStorage.infoDictionary();
    d->replyJSON = cached;
    d->isShowBannersFromCache = !cached.isEmpty() && cached.contains(kMainBannerKey) && cached.contains(kMainVideoKey);
    if (d->isShowBannersFromCache || !AdsMacHelper::isInternetConnection()) {
        if (callback)
            callback();
    }
    if (!AdsMacHelper::isInternetConnection())
        return;

    const QByteArray body = requestBody();
    QNetworkRequest request(QUrl(acsURL() + QStringLiteral("/api/v1/banners")));
    request.setTransferTimeout(transferTimeoutMs);
    request.setRawHeader("Content-Length", QByteArray::number(body.size()));
    // A custom verb keeps Qt from adding a content type the server never asked for.
    QNetworkReply *reply = d->network->sendCustomRequest(request, "POST", body);
    capBody(reply, maxTableBytes);
    d->JSONTask = reply;
    const QPointer<AdsDownloader> self(this);
    connect(reply, &QNetworkReply::finished, this, [self, reply, callback] {
        whenBodyTaken(reply, [self, reply, callback] {
            reply->deleteLater();
            if (self)
                self->finishTableReply(reply, callback);
        });
    });
}

void AdsDownloader::finishTableReply(QNetworkReply *reply, const Callback &callback)
{
    qCInfo(lcVelmora) << "load";
    const bool complete = ReplyOutcome::answeredInFull(reply) && !overCap(reply);
    const QByteArray bytes = complete ? QString::fromUtf8(bodyOf(reply)).toUtf8() : QByteArray();
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    d->replyJSON = document.isObject() ? std::optional(document.object().toVariantMap()) : std::nullopt;
    d->isUpdateAdsCurrentSession = true;
    if (!d->isShowBannersFromCache && callback)
        callback();
}

std::optional<QVariantMap> AdsDownloader::replyJSON()
{
    if (!AdsMacHelper::isInternetConnection())
        return d->cacheStorage.infoDictionary();
    return d->replyJSON;
}

void AdsDownloader::setReplyJSON(const std::optional<QVariantMap> &table)
{
    d->replyJSON = table;
}

std::optional<QVariantMap> AdsDownloader::getInfoObjectWithConsideringWeightForKey(const QString &key)
{
    return AdsSelection::getInfoObjectWithConsideringWeightForKey(replyJSON(), key, d->bannerInfo, d->random);
}

void AdsDownloader::setRandomSource(AdsSelection::RandomSource random)
{
    d->random = random ? std::move(random) : AdsSelection::systemRandom();
}

// ---- Media ---------------------------------------------------------------------------------------

void AdsDownloader::downloadBannerWithComplitionBlock(Callback callback)
{
    if (postedToOwnThread([this, callback] { downloadBannerWithComplitionBlock(callback); }))
        return;
    if (d->bannerFetching)
        return;
    if (!replyJSON()) {
        if (callback)
            callback();
        return;
    }
    // An empty draw is recorded too: a click then names no ad, and the next draw
    // excludes nothing. The old picture and its link stay.
    const std::optional<QVariantMap> drawn = getInfoObjectWithConsideringWeightForKey(kMainBannerKey);
    d->bannerInfo = drawn.value_or(QVariantMap());
    if (!drawn) {
        if (callback)
            callback();
        return;
    }
    const QUrl remote = mediaURL(d->bannerInfo, kBannerImgURL);
    const QPointer<AdsDownloader> self(this);
    d->bannerFetching = downloadDataToCacheDirectoryFromURL(remote, [self, callback](const QUrl &local) {
        if (self)
            self->d->bannerFetching = false;
        if (!self || local.isEmpty())
            return;
        self->d->bannerURL = local;
        self->d->linkBannerURL = bannerStoreLink(self->d->bannerInfo.value(kBannerURL).toString());
        self->d->cacheStorage.addBannerInfo(self->d->bannerInfo);
        if (callback)
            callback();
    });
}

void AdsDownloader::downloadVideo()
{
    if (postedToOwnThread([this] { downloadVideo(); }))
        return;
    if (d->videoFetching || !replyJSON())
        return;
    const std::optional<QVariantMap> drawn = getInfoObjectWithConsideringWeightForKey(kMainVideoKey);
    d->videoInfo = drawn.value_or(QVariantMap());
    if (!drawn)
        return;
    const QUrl remote = mediaURL(d->videoInfo, kVideoCapture);
    const QPointer<AdsDownloader> self(this);
    d->videoFetching = downloadDataToCacheDirectoryFromURL(remote, [self](const QUrl &video) {
        if (self)
            self->d->videoFetching = false;
        if (self && !video.isEmpty())
            self->downloadVideoStill(video);
    });
}

void AdsDownloader::downloadVideoStill(const QUrl &video)
{
    d->interstitialVideoURL.clear();
    const QUrl remote = mediaURL(d->videoInfo, kVideoImage);
    const QPointer<AdsDownloader> self(this);
    downloadDataToCacheDirectoryFromURL(remote, [self, video](const QUrl &still) {
        if (!self || still.isEmpty())
            return;
        Private *const p = self->d;
        p->videoURL = video;
        p->linkVideoURL = videoStoreLink(p->videoInfo.value(kVideoURL).toString());
        p->interstitialVideoURL = still;
        p->cacheStorage.addVideoInfo(p->videoInfo);
    });
}

QUrl AdsDownloader::bannerStoreLink(const QString &marketURL)
{
    QString link = marketURL;
    link.replace(QStringLiteral("https://") + firstLabel(VELMORA_WEB_STORE_HOST_DEFAULT),
                 QStringLiteral("macappstores://") + firstLabel(VELMORA_STORE_HOST_DEFAULT));
    return QUrl(link);
}

QUrl AdsDownloader::videoStoreLink(const QString &marketURL)
{
    QString link = marketURL;
    link.replace(QStringLiteral("https://"), QStringLiteral("macappstores://"));
    return QUrl(link);
}

bool AdsDownloader::downloadDataToCacheDirectoryFromURL(const QUrl &remote, FileCallback callback)
{
    if (postedToOwnThread([this, remote, callback] { downloadDataToCacheDirectoryFromURL(remote, callback); }))
        return true;
    const QString name = safeFileName(remote);
    if (name.isEmpty()) {
        LOG(QStringLiteral("refused media name from %1").arg(remote.toString()));
        if (callback)
            callback(QUrl());
        return false;
    }
    const QString local = cacheDirectory() + QLatin1Char('/') + name;
    if (QFileInfo(local).isFile()) {
        if (callback)
            callback(QUrl::fromLocalFile(local));
        return false;
    }
    LOG(QStringLiteral("extension: %1").arg(name));
    // Only a complete body ever appears under the media's name.
    ++d->fetchesUnderWay;
    MediaFetcher::fetch(remote, local, maxMediaBytes, transferTimeoutMs, this, [this, local, callback](bool written) {
        --d->fetchesUnderWay;
        if (callback)
            callback(written ? QUrl::fromLocalFile(local) : QUrl());
    });
    return true;
}

// ---- Store lookup --------------------------------------------------------------------------------

QVariantMap AdsDownloader::JSONSearchByQuery(const QString &url)
{
    if (MainThread::isCurrent()) {
        LOG(QStringLiteral("store lookup refused on the main thread"));
        return {};
    }
    QNetworkAccessManager network;
    QNetworkRequest request { QUrl(url) };
    request.setTransferTimeout(transferTimeoutMs);
    QNetworkReply *reply = network.get(request);
    capBody(reply, maxTableBytes);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (reply->isRunning())
        loop.exec();
    // As with the ad table, an HTTP error's body is read like any other.
    const bool complete = ReplyOutcome::answeredInFull(reply) && !overCap(reply);
    const QByteArray bytes = complete ? bodyOf(reply) : QByteArray();
    delete reply;
    const QJsonArray results = QJsonDocument::fromJson(bytes).object().value(QStringLiteral("results")).toArray();
    return results.isEmpty() ? QVariantMap() : results.first().toObject().toVariantMap();
}

QString AdsDownloader::appNameFromMarketLink(const QString &link, bool isWeb)
{
    const QString number = link.section(QLatin1Char('/'), -1).toLower().remove(QStringLiteral("id"));
    const QString lookup = configured("VELMORA_STORE_LOOKUP_URL", VELMORA_STORE_LOOKUP_URL_DEFAULT)
        + QStringLiteral("/lookup?id=%1").arg(number);
    const QVariantMap result = JSONSearchByQuery(lookup);
    const auto trackName = result.constFind(QStringLiteral("trackName"));
    QString name = trackName == result.constEnd() ? QStringLiteral("null") : trackName->toString();
    name = name.section(QLatin1Char('-'), 0, 0).remove(QLatin1Char(' '));
    return isWeb ? QStringLiteral("Web %1").arg(name) : name;
}

// ---- Fields ----------------------------------------------------------------------------------------

QUrl AdsDownloader::videoURL()
{
    downloadVideo();
    return d->videoURL;
}

QUrl AdsDownloader::currentVideoURL() const
{
    return d->videoURL;
}

void AdsDownloader::setVideoURL(const QUrl &url)
{
    d->videoURL = url;
}

QUrl AdsDownloader::bannerURL() const
{
    return d->bannerURL;
}

void AdsDownloader::setBannerURL(const QUrl &url)
{
    d->bannerURL = url;
}

QUrl AdsDownloader::interstitialVideoURL() const
{
    return d->interstitialVideoURL;
}

void AdsDownloader::setInterstitialVideoURL(const QUrl &url)
{
    d->interstitialVideoURL = url;
}

QUrl AdsDownloader::linkVideoURL() const
{
    return d->linkVideoURL;
}

void AdsDownloader::setLinkVideoURL(const QUrl &url)
{
    d->linkVideoURL = url;
}

QUrl AdsDownloader::linkBannerURL() const
{
    return d->linkBannerURL;
}

void AdsDownloader::setLinkBannerURL(const QUrl &url)
{
    d->linkBannerURL = url;
}

QVariantMap AdsDownloader::videoInfo() const
{
    return d->videoInfo;
}

void AdsDownloader::setVideoInfo(const QVariantMap &info)
{
    d->videoInfo = info;
}

QVariantMap AdsDownloader::bannerInfo() const
{
    return d->bannerInfo;
}

void AdsDownloader::setBannerInfo(const QVariantMap &info)
{
    d->bannerInfo = info;
}

bool AdsDownloader::isUpdateAdsCurrentSession() const
{
    return d->isUpdateAdsCurrentSession;
}

bool AdsDownloader::isShowBannersFromCache() const
{
    return d->isShowBannersFromCache;
}

AdsCacheInfoStorage *AdsDownloader::cacheStorage() const
{
    return &d->cacheStorage;
}

} // namespace velmora

#include "AdsDownloader.moc"
