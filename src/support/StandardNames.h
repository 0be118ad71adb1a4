#pragma once

#include <velmora/velmora_export.h>

#include <QHash>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>

class QMovie;

namespace velmora {

// The framework's names: the language of its string tables, the strings-file reader and the
// house banners that stand in when no banner was downloaded.
class VELMORA_EXPORT StandardNames {
public:
    // The .lproj folder to use for the user's preferred languages (QLocale::uiLanguages).
    static QString curentLocaleIdentifier();
    static QString curentLocaleIdentifier(const QStringList &preferredLanguages);

    // Parses a UTF-16 strings file of lines "key" = "value";. Missing or undecodable
    // files give an empty table; malformed lines are skipped.
    static QHash<QString, QString> getInfoFromURL(const QUrl &url);
    static QHash<QString, QString> parseStrings(const QByteArray &bytes);

    // House banners: ad identifier ("mac.NNNNNN.mac-store") to store link, freshly built.
    static QMap<QString, QString> standardBanners();
    // The animated picture of a house banner, or null when the identifier has none or it
    // cannot be read.
    static std::unique_ptr<QMovie> bannerFromName(const QString &identifier);
    // Where that picture is (a Qt resource); empty when the identifier has none.
    static QString bannerPath(const QString &identifier);
};

} // namespace velmora
