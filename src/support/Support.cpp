#include <velmora/Support.h>

#include <velmora/Bundle.h>
#include <velmora/Timer.h>

#include "support/StandardNames.h"
#include "support/Switches.h"
#include "support/UserDefaultsStore.h"

#include <QLoggingCategory>

#include <mutex>

Q_LOGGING_CATEGORY(lcVelmora, "velmora", QtInfoMsg)

namespace velmora {

std::unique_ptr<QSettings> VLMUserDefaults()
{
    return UserDefaultsStore::open();
}

QVariant VLMObjForKey(const QString &key)
{
    return UserDefaultsStore::value(key);
}

void VLMSetObjForKey(const QVariant &object, const QString &key)
{
    UserDefaultsStore::setValue(key, object);
}

Bundle VLMMainAppBundle()
{
    return Bundle::mainAppBundle();
}

QStringList VLMAllowLocale()
{
    // "ru" twice is harmless: the list is only searched.
    static const QStringList allowed = {
        QStringLiteral("en"), QStringLiteral("ru"), QStringLiteral("de"), QStringLiteral("es"),
        QStringLiteral("fr"), QStringLiteral("it"), QStringLiteral("ko"), QStringLiteral("pt"),
        QStringLiteral("ru"), QStringLiteral("ja"), QStringLiteral("zh"),
    };
    return allowed;
}

QString VLMStringFromKey(const QString &key)
{
    // The language is fixed by the first lookup of the process.
    static std::once_flag once;
    static QHash<QString, QString> table;
    std::call_once(once, [] {
        const Bundle bundle = Bundle::resourseBundleForClass();
        const QString path = bundle.resourcePath() + QLatin1Char('/') + StandardNames::curentLocaleIdentifier()
            + QStringLiteral(".lproj/Localizable.strings");
        table = StandardNames::getInfoFromURL(QUrl(QStringLiteral("qrc") + path));
    });
    const QString lookup = key.isNull() ? QString(QLatin1String("")) : key;
    return table.value(lookup, lookup);
}

void LOG(const QString &message)
{
    if (Switches::isDebugModeActivate() && !Switches::isADSRemoved())
        qCInfo(lcVelmora).noquote() << message;
}

void setGodTimer(Timer *timer)
{
    if (timer && timer->isValid())
        timer->markGodTimer();
}

} // namespace velmora
