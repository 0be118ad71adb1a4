#include "support/ResourceIcon.h"

#include "support/MainThread.h"

#include <velmora/Bundle.h>

#include <QHash>
#include <QImage>
#include <QImageReader>
#include <QPixmap>

namespace velmora {

QIcon ResourceIcon::load(const QString &name)
{
    Q_ASSERT(MainThread::isCurrent());
    static QHash<QString, QList<QImage>> decoded;
    auto found = decoded.find(name);
    if (found == decoded.end()) {
        const Bundle bundle = Bundle::resourseBundleForClass();
        QList<QImage> images;
        for (const QString &variant : { name, name + QStringLiteral("@2x") }) {
            const QString path = bundle.pathForResource(variant, QStringLiteral("png"));
            if (path.isEmpty())
                continue;
            // PNG and nothing else: a reader left to detect the format asks every image
            // plugin first, loading them all. It gives an "@2x" file its pixel ratio.
            QImageReader reader(path, "png");
            reader.setAutoDetectImageFormat(false);
            if (QImage image = reader.read(); !image.isNull())
                images.append(image);
        }
        found = decoded.insert(name, images);
    }
    QIcon icon;
    for (const QImage &image : std::as_const(*found))
        icon.addPixmap(QPixmap::fromImage(image));
    return icon;
}

} // namespace velmora
