// The ad-table path: reply bytes → JSON → weighted selection → media download into the
// cache folder. Whatever the table says, a drawn ad is one of the table's own, and every
// media file the downloader accepts lands directly in the cache folder under a single,
// plain path component; nothing appears anywhere else.
//
// Media are fetched from a data: URL base, so the real download and write path runs
// without any network.
#include "FuzzCheck.h"

#include "content/AdsCacheInfoStorage.h"
#include "content/AdsDownloader.h"
#include "content/AdsKeys.h"
#include "content/AdsMacHelper.h"
#include "content/AdsSelection.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThreadPool>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace velmora;

namespace {

QTemporaryDir *root = nullptr;
QString cacheFolder;

void prepare()
{
    static int argc = 1;
    static char name[] = "fuzz_adtable";
    static char *argv[] = { name, nullptr };
    root = new QTemporaryDir(QDir::tempPath() + QStringLiteral("/velmora-fuzz-XXXXXX"));
    const QByteArray path = root->path().toLocal8Bit();
    for (const char *sub : { "home", "cache", "config", "data" })
        QDir().mkpath(root->path() + QLatin1Char('/') + QLatin1String(sub));
    qputenv("HOME", path + "/home");
    qputenv("XDG_CACHE_HOME", path + "/cache");
    qputenv("XDG_CONFIG_HOME", path + "/config");
    qputenv("XDG_DATA_HOME", path + "/data");
    qputenv("VELMORA_AD_SERVER_URL", "data:application/octet-stream,velmora-fuzz-media");
    new QCoreApplication(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("VelmoraFuzz"));
    QCoreApplication::setApplicationName(QStringLiteral("adtable"));
    AdsMacHelper::setInternetProbe([] { return true; });
    cacheFolder = QDir(AdsDownloader::cacheDirectory()).canonicalPath();
    FUZZ_CHECK(!cacheFolder.isEmpty() && cacheFolder.startsWith(QDir(root->path()).canonicalPath()));
}

// A media file the downloader reports must sit directly in the cache folder.
void checkInCache(const QUrl &url)
{
    if (url.isEmpty())
        return;
    FUZZ_CHECK(url.isLocalFile());
    const QFileInfo file(url.toLocalFile());
    const QString name = file.fileName();
    FUZZ_CHECK(!name.isEmpty() && name != QLatin1String(".") && name != QLatin1String(".."));
    FUZZ_CHECK(!name.contains(QLatin1Char('/')) && !name.contains(QChar(0)));
    FUZZ_CHECK(QDir(file.absolutePath()).canonicalPath() == cacheFolder);
    FUZZ_CHECK(file.isFile() && !file.isSymLink());
}

// Everything under the private root: only plain files directly in the cache folder.
void checkTreeAndClean()
{
    const QString base = QDir(root->path()).canonicalPath();
    QDirIterator it(base, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QFileInfo info = it.fileInfo();
        if (info.isDir()) {
            // The folders the test made and the cache folder's parents.
            FUZZ_CHECK(cacheFolder.startsWith(path) || path == base + QStringLiteral("/home")
                       || path.startsWith(base + QStringLiteral("/config")) || path == base + QStringLiteral("/data"));
            continue;
        }
        if (!info.absolutePath().startsWith(base + QStringLiteral("/config"))) {
            if (info.absolutePath() != cacheFolder) {
                std::fprintf(stderr, "file outside the cache folder: %s\n", qPrintable(path));
                FUZZ_CHECK(false);
            }
        }
    }
    const QStringList files = QDir(cacheFolder).entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString &file : files)
        QFile::remove(cacheFolder + QLatin1Char('/') + file);
}

void checkDrawn(const QVariantMap &table, const QString &key, const std::optional<QVariantMap> &drawn)
{
    if (drawn)
        FUZZ_CHECK(table.value(key).toList().contains(QVariant(*drawn)));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    prepare();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (!root)
        prepare();
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    // The downloader's own decoding of a reply body.
    const QJsonDocument document = QJsonDocument::fromJson(QString::fromUtf8(bytes).toUtf8());
    if (!document.isObject())
        return 0;
    const QVariantMap table = document.object().toVariantMap();

    // Selection on its own, with random numbers taken from the input.
    quint32 state = quint32(qHash(bytes));
    const AdsSelection::RandomSource random = [&state] {
        state = state * 1664525u + 1013904223u;
        return state;
    };
    for (const QString &key : { kMainBannerKey, kMainVideoKey, QStringLiteral("other") }) {
        const QVariantList list = table.value(key).toList();
        const QVariantMap current = list.isEmpty() ? QVariantMap() : list.constFirst().toMap();
        for (int i = 0; i < 4; ++i)
            checkDrawn(table, key, AdsSelection::getInfoObjectWithConsideringWeightForKey(table, key, current, random));
    }

    // The downloader end to end.
    AdsDownloader *downloader = AdsDownloader::sharedInstance();
    downloader->setRandomSource(random);
    downloader->cacheStorage()->setInfoDictionary({});
    downloader->setReplyJSON(table);
    downloader->setBannerInfo({});
    downloader->setBannerURL({});
    downloader->setVideoURL({});
    downloader->setInterstitialVideoURL({});
    downloader->downloadBannerWithComplitionBlock({});
    downloader->downloadVideo();
    // data: replies finish through posted events, media is fetched on the downloader's own
    // thread and its completion posted back; a bounded number of rounds suffices.
    const auto drain = [downloader] {
        for (int round = 0; round < 100000 && downloader->isTransferring(); ++round) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        FUZZ_CHECK(!downloader->isTransferring());
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
    };
    drain();
    // Reading the video draws and prepares the next one: let that finish too, inside this
    // input, so nothing carries over to the next.
    const QUrl video = downloader->videoURL();
    drain();

    checkDrawn(table, kMainBannerKey,
               downloader->bannerInfo().isEmpty() ? std::nullopt : std::optional(downloader->bannerInfo()));
    checkInCache(downloader->bannerURL());
    checkInCache(video);
    checkInCache(downloader->interstitialVideoURL());
    // A stored ad is one the table holds.
    const QVariantMap stored = downloader->cacheStorage()->infoDictionary();
    for (auto it = stored.cbegin(); it != stored.cend(); ++it) {
        const QVariantList ads = it.value().toList();
        for (const QVariant &ad : ads)
            FUZZ_CHECK(table.value(it.key()).toList().contains(ad));
    }
    if (qEnvironmentVariableIsSet("VELMORA_FUZZ_VERBOSE"))
        std::fprintf(stderr, "banner=%s video=%s still=%s\n", qPrintable(downloader->bannerURL().toLocalFile()),
                     qPrintable(video.toLocalFile()), qPrintable(downloader->interstitialVideoURL().toLocalFile()));
    checkTreeAndClean();
    return 0;
}
