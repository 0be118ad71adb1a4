#include "support/ResourceIcon.h"

#include "support/IdleQueue.h"
#include "support/MainThread.h"

#include <velmora/Bundle.h>

#include <QCoreApplication>
#include <QHash>
#include <QIconEngine>
#include <QImage>
#include <QImageReader>
#include <QPixmap>

#include <utility>

namespace velmora {

namespace {

QHash<QString, QList<QImage>> &decoded()
{
    static QHash<QString, QList<QImage>> pictures;
    return pictures;
}

// The picture and its @2x variant, read once per process.
const QList<QImage> &picturesOf(const QString &name)
{
    Q_ASSERT(MainThread::isCurrent());
    auto found = decoded().find(name);
    if (found == decoded().end()) {
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
        found = decoded().insert(name, images);
    }
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
    if (!decoded().contains(name))
        IdleQueue::post(QCoreApplication::instance(), [name] { picturesOf(name); });
    return QIcon(new ResourceIconEngine(name));
}

} // namespace velmora
