#pragma once

#include <velmora/velmora_export.h>

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QVariantMap>

#include "content/AdsSelection.h"

#include <functional>
#include <optional>

class QNetworkReply;

namespace velmora {

class AdsCacheInfoStorage;
class DownloadDelegate;
class Reachability;

// The one process-wide object that keeps the current banner and video ready on disk:
// it loads the ad table, draws ads, downloads their media into the cache folder,
// rewrites store links and tells the banner controllers when ad data is ready.
// Everything runs on the main thread; network replies arrive there.
class VELMORA_EXPORT AdsDownloader : public QObject {
    Q_OBJECT

public:
    using Callback = std::function<void()>;
    // Receives the local file, or an empty URL when the download failed.
    using FileCallback = std::function<void(const QUrl &localFile)>;

    static AdsDownloader *sharedInstance();

    // A delegate that is also a QObject is skipped once destroyed; any other one must
    // outlive the downloader.
    void addDelegate(DownloadDelegate *delegate);

    void startUpdateAllAds();
    void downloadAllAdsData();
    void downloadBanner();
    void downloadBannerWithComplitionBlock(Callback callback);
    void downloadVideo();
    void checkInternetConnection();
    // Whether the ad table or any media is on its way.
    bool isTransferring() const;
    // True when the callback runs later (a transfer under way); false when it already ran:
    // the file was cached, or the name refused.
    bool downloadDataToCacheDirectoryFromURL(const QUrl &remote, FileCallback callback);

    // The ad server conversation.
    QString generateRequestAcs() const;
    // The request body as sent: generateRequestAcs() in ASCII, anything else replaced.
    QByteArray requestBody() const;
    void downloadJSONWithComplitionBlock(Callback callback);
    // The ad table in force; the persisted table while offline; nothing when absent.
    std::optional<QVariantMap> replyJSON();
    void setReplyJSON(const std::optional<QVariantMap> &table);

    // Blocking store lookup: never call on the main thread.
    static QVariantMap JSONSearchByQuery(const QString &url);
    // The advertised app's short name for a store link (blocking, see above).
    static QString appNameFromMarketLink(const QString &link, bool isWeb);

    // Reading videoURL draws and prepares the next video as a side effect.
    QUrl videoURL();
    // What videoURL() would return now, without starting the next draw.
    QUrl currentVideoURL() const;
    void setVideoURL(const QUrl &url);
    QUrl bannerURL() const;
    void setBannerURL(const QUrl &url);
    QUrl interstitialVideoURL() const;
    void setInterstitialVideoURL(const QUrl &url);
    QUrl linkVideoURL() const;
    void setLinkVideoURL(const QUrl &url);
    QUrl linkBannerURL() const;
    void setLinkBannerURL(const QUrl &url);
    QVariantMap videoInfo() const;
    void setVideoInfo(const QVariantMap &info);
    QVariantMap bannerInfo() const;
    void setBannerInfo(const QVariantMap &info);

    bool isUpdateAdsCurrentSession() const;
    bool isShowBannersFromCache() const;
    AdsCacheInfoStorage *cacheStorage() const;

    // The cache folder (created on demand) and the ad server's base URL in force.
    static QString cacheDirectory();
    static QString acsURL();

    // The weighted draw from the table in force; the banner on screen is left out.
    std::optional<QVariantMap> getInfoObjectWithConsideringWeightForKey(const QString &key);
    // Replaces the random source of the draws (nullptr restores the system's).
    void setRandomSource(AdsSelection::RandomSource random);

    // Store links in the form that opens the store application.
    static QUrl bannerStoreLink(const QString &marketURL);
    static QUrl videoStoreLink(const QString &marketURL);

private:
    AdsDownloader();
    ~AdsDownloader() override;
    void finishTableReply(QNetworkReply *reply, const Callback &callback);
    bool postedToOwnThread(std::function<void()> call);
    void tellLateDelegate(DownloadDelegate *delegate);
    void downloadVideoStill(const QUrl &video);

    struct Private;
    Private *const d;
};

} // namespace velmora
