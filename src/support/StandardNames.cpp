#include "support/StandardNames.h"

#include "BuildConfig.h"

#include <velmora/Bundle.h>
#include <velmora/Support.h>

#include <QFile>
#include <QLocale>
#include <QMovie>
#include <QStringDecoder>

namespace velmora {

QString StandardNames::curentLocaleIdentifier()
{
    return curentLocaleIdentifier(QLocale::system().uiLanguages());
}

QString StandardNames::curentLocaleIdentifier(const QStringList &preferredLanguages)
{
    const QStringList allowed = VLMAllowLocale();
    for (const QString &language : preferredLanguages) {
        QString primary = language.section(QLatin1Char('-'), 0, 0);
        if (!allowed.contains(primary))
            continue;
        if (primary == QLatin1String("pt"))
            return QStringLiteral("pt-PT");
        if (primary == QLatin1String("zh"))
            return QStringLiteral("zh-Hans");
        return primary;
    }
    return QStringLiteral("en");
}

namespace {

// Without a byte-order mark the order is guessed from where the zero bytes of ASCII text
// fall; big-endian, the Unicode default, wins a tie.
QStringConverter::Encoding utf16Order(const QByteArray &bytes)
{
    if (bytes.startsWith("\xFF\xFE"))
        return QStringConverter::Utf16LE;
    if (bytes.startsWith("\xFE\xFF"))
        return QStringConverter::Utf16BE;
    qsizetype evenZeros = 0;
    qsizetype oddZeros = 0;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == 0)
            ++(i % 2 ? oddZeros : evenZeros);
    }
    return oddZeros > evenZeros ? QStringConverter::Utf16LE : QStringConverter::Utf16BE;
}

bool decodeUtf16(const QByteArray &bytes, QString *text)
{
    if (bytes.size() % 2 != 0)
        return false;
    QStringDecoder decoder(utf16Order(bytes), QStringDecoder::Flag::Stateless);
    *text = decoder.decode(bytes);
    return !decoder.hasError();
}

} // namespace

QHash<QString, QString> StandardNames::parseStrings(const QByteArray &bytes)
{
    QHash<QString, QString> table;
    QString text;
    if (!decodeUtf16(bytes, &text))
        return table;
    const QString separator = QStringLiteral("= \"");
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QStringList pieces = line.split(separator);
        if (pieces.size() != 2)
            continue;
        const QString &head = pieces.at(0);
        const QString &tail = pieces.at(1);
        const qsizetype quote = head.lastIndexOf(QLatin1Char('"'));
        // The key sits between the opening quote (the first character) and the last one.
        if (quote < 1 || tail.size() < 2)
            continue;
        table.insert(head.mid(1, quote - 1), tail.left(tail.size() - 2));
    }
    return table;
}

QHash<QString, QString> StandardNames::getInfoFromURL(const QUrl &url)
{
    QString path;
    if (url.scheme() == QLatin1String("qrc"))
        path = QLatin1Char(':') + url.path();
    else if (url.isLocalFile())
        path = url.toLocalFile();
    else
        return {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return parseStrings(file.readAll());
}

namespace {

struct HouseBanner {
    const char *identifier;
    const char *storeId;
    // Resource name of the GIF, relative to the framework's resource folder.
    const char *picture;
};

constexpr HouseBanner houseBanners[] = {
    { "mac.418203.mac-store", "1641820301", "banners/house_banner_1" }, // Inkwell Notes
    { "mac.527116.mac-store", "1652711602", "banners/house_banner_2" }, // Lumen Photo
    { "mac.639045.mac-store", "1663904503", "banners/house_banner_3" }, // Skyline Weather
    { "mac.742981.mac-store", "1674298104", "banners/house_banner_4" }, // Tangram Quest
};

QString storeLink(const char *storeId)
{
    return QStringLiteral("macappstores://%1/app/id%2")
        .arg(QLatin1String(VELMORA_STORE_HOST_DEFAULT), QLatin1String(storeId));
}

// A house banner's GIF by its table name; any other identifier by "<identifier>.gif".
QString pictureName(const QString &identifier)
{
    for (const HouseBanner &banner : houseBanners) {
        if (identifier == QLatin1String(banner.identifier))
            return QLatin1String(banner.picture);
    }
    return identifier;
}

} // namespace

QMap<QString, QString> StandardNames::standardBanners()
{
    QMap<QString, QString> table;
    for (const HouseBanner &banner : houseBanners)
        table.insert(QLatin1String(banner.identifier), storeLink(banner.storeId));
    return table;
}

QString StandardNames::bannerPath(const QString &identifier)
{
    if (identifier.isEmpty())
        return {};
    return Bundle::resourseBundleForClass().pathForResource(pictureName(identifier), QStringLiteral("gif"));
}

std::unique_ptr<QMovie> StandardNames::bannerFromName(const QString &identifier)
{
    const QString path = bannerPath(identifier);
    if (path.isEmpty())
        return nullptr;
    auto picture = std::make_unique<QMovie>(path);
    if (!picture->isValid())
        return nullptr;
    return picture;
}

} // namespace velmora
