#include "content/AdsCacheInfoStorage.h"

#include "content/AdsDownloader.h"
#include "content/AdsKeys.h"

#include <QCborValue>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace velmora {

namespace {
// A table larger than this is not one we wrote; refusing it keeps a corrupt or hostile
// file from costing the host its memory.
constexpr qint64 maxFileSize = 64 * 1024 * 1024;
} // namespace

AdsCacheInfoStorage::AdsCacheInfoStorage()
    : m_info(cacheInfo().value_or(QVariantMap()))
{
    // A process killed mid-save leaves the atomic writer's temporary beside the table.
    const QFileInfo table(storageURL().toLocalFile());
    const QStringList leftovers = table.dir().entryList({ table.fileName() + QStringLiteral(".??????") }, QDir::Files);
    for (const QString &leftover : leftovers)
        QFile::remove(table.dir().filePath(leftover));
}

QVariantMap AdsCacheInfoStorage::infoDictionary() const
{
    return m_info;
}

void AdsCacheInfoStorage::setInfoDictionary(const QVariantMap &info)
{
    m_info = info;
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
    QVariantList list = m_info.value(key).toList();
    if (list.contains(QVariant(info)))
        return;
    list.append(info);
    m_info.insert(key, list);
    save();
}

void AdsCacheInfoStorage::save() const
{
    QSaveFile file(storageURL().toLocalFile());
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write(encode(m_info));
    file.commit();
}

std::optional<QVariantMap> AdsCacheInfoStorage::cacheInfo()
{
    QFile file(storageURL().toLocalFile());
    if (!file.open(QIODevice::ReadOnly) || file.size() > maxFileSize)
        return std::nullopt;
    return decode(file.readAll());
}

QUrl AdsCacheInfoStorage::storageURL()
{
    return QUrl::fromLocalFile(AdsDownloader::cacheDirectory() + QStringLiteral("/savedAds"));
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
