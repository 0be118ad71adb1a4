#include "support/ResourceIcon.h"

#include "support/MainThread.h"
#include "support/PicturePool.h"
#include "support/PostCall.h"

#include <velmora/Bundle.h>

#include <QCoreApplication>
#include <QHash>
#include <QIconEngine>
#include <QImage>
#include <QImageReader>
#include <QPixmap>
#include <QSet>

#include <utility>

namespace velmora {

namespace {

QHash<QString, QList<QImage>> &decoded()
{
    static QHash<QString, QList<QImage>> pictures;
    return pictures;
}

// Names whose pictures a worker is reading.
QSet<QString> &reading()
{
    static QSet<QString> names;
    return names;
}

// The picture and its @2x variant; any thread.
QList<QImage> read(const QStringList &paths)
{
    QList<QImage> images;
    for (const QString &path : paths) {
        // PNG and nothing else: a reader left to detect the format asks every image plugin
        // first, loading them all. It gives an "@2x" file its pixel ratio.
        QImageReader reader(path, "png");
        reader.setAutoDetectImageFormat(false);
        if (QImage image = reader.read(); !image.isNull())
            images.append(image);
    }
    return images;
}

QStringList pathsOf(const QString &name)
{
    const Bundle bundle = Bundle::resourseBundleForClass();
    QStringList paths;
    for (const QString &variant : { name, name + QStringLiteral("@2x") }) {
        const QString path = bundle.pathForResource(variant, QStringLiteral("png"));
        if (!path.isEmpty())
            paths.append(path);
    }
    return paths;
}

// Read once per process; here and now if a worker has not read them yet.
const QList<QImage> &picturesOf(const QString &name)
{
    Q_ASSERT(MainThread::isCurrent());
    auto found = decoded().find(name);
    if (found == decoded().end())
        found = decoded().insert(name, read(pathsOf(name)));
    return *found;
}

// Draws a picture that is read when first drawn, if an idle turn has not read it by then.
class ResourceIconEngine final : public QIconEngine {
public:
    explicit ResourceIconEngine(QString name)
        : m_name(std::move(name))
    {
    }

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        icon().paint(painter, rect, Qt::AlignCenter, mode, state);
    }
    QSize actualSize(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        return icon().actualSize(size, mode, state);
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        return icon().pixmap(size, 1.0, mode, state);
    }
    // `size` is in device pixels already.
    QPixmap scaledPixmap(const QSize &size, QIcon::Mode mode, QIcon::State state, qreal scale) override
    {
        return icon().pixmap(size / scale, scale, mode, state);
    }
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override
    {
        return icon().availableSizes(mode, state);
    }
    bool isNull() override { return false; }
    QString key() const override { return QStringLiteral("velmora-resource"); }
    QIconEngine *clone() const override { return new ResourceIconEngine(m_name); }

private:
    QIcon &icon()
    {
        if (m_icon.isNull()) {
            for (const QImage &image : picturesOf(m_name))
                m_icon.addPixmap(QPixmap::fromImage(image));
        }
        return m_icon;
    }

    QString m_name;
    QIcon m_icon;
};

} // namespace

QIcon ResourceIcon::load(const QString &name)
{
    Q_ASSERT(MainThread::isCurrent());
    // Inflating the PNGs takes the main thread a few milliseconds; the picture thread reads
    // them while the host goes on, long before a button is shown.
    if (!decoded().contains(name) && !reading().contains(name)) {
        reading().insert(name);
        PicturePool::start([name, paths = pathsOf(name)] {
            postCall(QCoreApplication::instance(), [name, images = read(paths)] {
                reading().remove(name);
                if (!decoded().contains(name))
                    decoded().insert(name, images);
            });
        });
    }
    return QIcon(new ResourceIconEngine(name));
}

} // namespace velmora
