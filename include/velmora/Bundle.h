#pragma once

#include <velmora/velmora_export.h>

#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <memory>

struct QMetaObject;

namespace velmora {

// A folder of resources with an optional Info.plist. The host's bundle is the folder of
// its executable: Info.plist there or in Resources/ beside it, resources looked up in
// Resources/ first, then the folder itself. The framework's own bundle is the Qt resource
// tree compiled into the library under ":/velmora".
class VELMORA_EXPORT Bundle {
public:
    Bundle();
    explicit Bundle(const QString &bundlePath);

    // The bundle holding the given class: for the framework's classes, the framework's own.
    static Bundle resourseBundleForClass(const QMetaObject *cls = nullptr);
    // The host application's bundle.
    static Bundle mainAppBundle();
    // Points mainAppBundle() at another folder (an empty path restores the executable's).
    static void setMainAppBundlePath(const QString &path);

    bool isValid() const;
    QString bundlePath() const;
    QString resourcePath() const;
    QVariantMap infoDictionary() const;
    QVariant objectForInfoDictionaryKey(const QString &key) const;

    // Path of resource `name` with extension `type` (type may be empty), or an empty
    // string when there is none.
    QString pathForResource(const QString &name, const QString &type) const;
    QUrl URLForResource(const QString &name, const QString &type) const;

    // The bundle's translation of `key` from <language>.lproj/Localizable.strings, or
    // `value` when there is none.
    QString localizedString(const QString &key, const QString &value) const;

    struct Data;

private:
    std::shared_ptr<const Data> d;
};

} // namespace velmora
