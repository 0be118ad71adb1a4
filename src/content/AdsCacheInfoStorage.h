#pragma once

#include <velmora/velmora_export.h>

#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

namespace velmora {

// The offline ad table: every ad whose media reached the cache, kept in the file
// "savedAds" beside the media and rewritten atomically after each new ad.
class VELMORA_EXPORT AdsCacheInfoStorage {
public:
    AdsCacheInfoStorage();

    QVariantMap infoDictionary() const;
    void setInfoDictionary(const QVariantMap &info);

    void addBannerInfo(const QVariantMap &info);
    void addVideoInfo(const QVariantMap &info);
    void addInfo(const QVariantMap &info, const QString &key);
    void save() const;

    static std::optional<QVariantMap> cacheInfo();
    static QUrl storageURL();

    // The file's format: a CBOR encoding of the whole table.
    static QByteArray encode(const QVariantMap &info);
    static std::optional<QVariantMap> decode(const QByteArray &bytes);

private:
    QVariantMap m_info;
};

} // namespace velmora
