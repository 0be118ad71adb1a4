#pragma once

#include <velmora/velmora_export.h>

#include <QHash>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace velmora {

// The framework's names: the language of its string tables and the strings-file reader.
class VELMORA_EXPORT StandardNames {
public:
    // The .lproj folder to use for the user's preferred languages (QLocale::uiLanguages).
    static QString curentLocaleIdentifier();
    static QString curentLocaleIdentifier(const QStringList &preferredLanguages);

    // Parses a UTF-16 strings file of lines "key" = "value";. Missing or undecodable
    // files give an empty table; malformed lines are skipped.
    static QHash<QString, QString> getInfoFromURL(const QUrl &url);
    static QHash<QString, QString> parseStrings(const QByteArray &bytes);
};

} // namespace velmora
