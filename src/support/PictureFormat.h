#pragma once

#include <QByteArray>
#include <QString>

class QImageReader;

namespace velmora {

// A picture's format from its first bytes, for the formats the framework shows (GIF, PNG,
// JPEG). A QImageReader left to detect the format asks every installed image plugin first,
// which loads them all (SVG, TIFF, WebP… with their libraries: some 2 MB of the host's memory).
class PictureFormat {
public:
    // "gif", "png", "jpeg", or empty when the bytes are none of these.
    static QByteArray sniff(const QByteArray &head);
    // Points `reader` at `path` with its sniffed format and no detection; an unknown format
    // keeps Qt's detection.
    static void prepare(QImageReader &reader, const QString &path);
};

} // namespace velmora
