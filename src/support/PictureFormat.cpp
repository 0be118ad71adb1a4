#include "support/PictureFormat.h"

#include <QFile>
#include <QImageReader>

namespace velmora {

QByteArray PictureFormat::sniff(const QByteArray &head)
{
    if (head.startsWith("GIF87a") || head.startsWith("GIF89a"))
        return "gif";
    if (head.startsWith("\x89PNG\r\n\x1a\n"))
        return "png";
    if (head.startsWith("\xff\xd8\xff"))
        return "jpeg";
    return {};
}

void PictureFormat::prepare(QImageReader &reader, const QString &path)
{
    QFile file(path);
    const QByteArray format = file.open(QIODevice::ReadOnly) ? sniff(file.read(8)) : QByteArray();
    reader.setFileName(path);
    if (!format.isEmpty()) {
        reader.setFormat(format);
        reader.setAutoDetectImageFormat(false);
    }
}

} // namespace velmora
