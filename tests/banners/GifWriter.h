#pragma once

#include <QColor>
#include <QFile>
#include <QList>
#include <QSize>
#include <QString>

namespace velmora::test {

// Writes a GIF of solid frames, one colour per frame (at most 128), for tests: Qt reads GIF but
// cannot write it. Pixels are stored uncompressed: 7-bit LZW with a clear code often enough that
// every code is one byte.
inline bool writeSolidGif(const QString &path, QSize size, const QList<QColor> &frameColours)
{
    QByteArray gif("GIF89a");
    // The picture's width and height, 16 bits each, low byte first.
    const auto appendSize = [&gif, size] {
        for (const int value : { size.width(), size.height() })
            gif.append(char(value & 0xff)).append(char((value >> 8) & 0xff));
    };
    appendSize();
    gif.append(QByteArray::fromHex("F60000")); // global table of 128 colours, 8 bits per primary
    for (int i = 0; i < 128; ++i) {
        const QColor colour = frameColours.value(i, Qt::black);
        gif.append(char(colour.red())).append(char(colour.green())).append(char(colour.blue()));
    }
    if (frameColours.size() > 1)
        gif.append(QByteArray::fromHex("21FF0B4E45545343415045322E300301000000")); // loop forever
    for (int frame = 0; frame < frameColours.size(); ++frame) {
        // 10 centiseconds a frame; the frame at (0, 0), of the picture's size, with 7-bit codes.
        gif.append(QByteArray::fromHex("21F904000A0000002C00000000"));
        appendSize();
        gif.append(QByteArray::fromHex("0007"));
        QByteArray codes;
        for (qsizetype pixel = 0; pixel < qsizetype(size.width()) * size.height(); ++pixel) {
            if (pixel % 100 == 0)
                codes.append(char(0x80));
            codes.append(char(frame & 0x7f));
        }
        codes.append(char(0x81));
        for (qsizetype at = 0; at < codes.size(); at += 255) {
            const QByteArray block = codes.mid(at, 255);
            gif.append(char(block.size())).append(block);
        }
        gif.append(char(0));
    }
    gif.append(char(0x3B));
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(gif) == gif.size();
}

// A media file that holds a server's error page instead of a picture.
inline bool writeErrorPage(const QString &path)
{
    QFile page(path);
    return page.open(QIODevice::WriteOnly)
        && page.write("<!DOCTYPE html><html><body><h1>502 Bad Gateway</h1></body></html>\n") > 0;
}

} // namespace velmora::test
