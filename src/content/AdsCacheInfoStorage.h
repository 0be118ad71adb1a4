#pragma once

#include <velmora/velmora_export.h>

#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

class QObject;

namespace velmora {

// The offline ad table: every ad whose media reached the cache, kept in the file
// "savedAds" beside the media and rewritten atomically after each new ad.
//
// Decoding and writing a table of a thousand ads costs milliseconds, which the host's
// main thread must not pay: the file is read and every save written on one worker thread,
// in the order asked for. The table itself is only touched by its owner's thread; the
// first access waits for the load if it is still under way.
class VELMORA_EXPORT AdsCacheInfoStorage {
public:
    AdsCacheInfoStorage();
    ~AdsCacheInfoStorage();
    AdsCacheInfoStorage(const AdsCacheInfoStorage &) = delete;
    AdsCacheInfoStorage &operator=(const AdsCacheInfoStorage &) = delete;

    // Waits for the file to be read if it still is: see isLoaded and whenLoaded.
    QVariantMap infoDictionary() const;
    // Whether the file has been read, so that the table is there without a wait.
    bool isLoaded() const;
    // Runs `work` on `context`'s thread once the file is read: at once when it is, and
    // never when `context` is gone by then.
    void whenLoaded(QObject *context, std::function<void()> work) const;
    void setInfoDictionary(const QVariantMap &info);

    void addBannerInfo(const QVariantMap &info);
    void addVideoInfo(const QVariantMap &info);
    void addInfo(const QVariantMap &info, const QString &key);
    void save() const;

    // Reads the file as it stands once every save asked for so far is on disk.
    static std::optional<QVariantMap> cacheInfo();
    static QUrl storageURL();
    // Blocks until every save asked for so far, by any instance, is on disk.
    static void waitForSaves();

    // The file's format: a CBOR encoding of the whole table.
    static QByteArray encode(const QVariantMap &info);
    static std::optional<QVariantMap> decode(const QByteArray &bytes);

private:
    QVariantMap &info() const;
    struct Load;

    mutable QVariantMap m_info;
    // Saves queued behind a newer one of the same table skip their write.
    std::shared_ptr<std::atomic<quint64>> m_latestSave;
    // Until the owner first needs the table; shared with the read, which may outlive it.
    mutable std::shared_ptr<Load> m_load;
};

} // namespace velmora
