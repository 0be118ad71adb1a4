#pragma once

#include <QColor>
#include <QFile>
#include <QList>
#include <QSize>
#include <QString>

#include <functional>

namespace velmora::test {

// Writes small GIF files for tests (Qt reads GIF but cannot write it). Pixels are stored
// uncompressed: 7-bit LZW with a clear code often enough that every code is one byte.
// `pixel(frame, x, y)` gives an index into `palette` (at most 128 colours).
inline bool writeGif(const QString &path, QSize size, const QList<QColor> &palette, int frames,
                     const std::function<int(int, int, int)> &pixel, int delayCentiseconds = 10)
{
    QByteArray gif("GIF89a");
    auto word = [&gif](int value) {
        gif.append(char(value & 0xff));
        gif.append(char((value >> 8) & 0xff));
    };
    word(size.width());
    word(size.height());
    gif.append(char(0xF6)); // global table of 128 colours, 8 bits per primary
    gif.append(char(0));
    gif.append(char(0));
    for (int i = 0; i < 128; ++i) {
        const QColor colour = palette.value(i, Qt::black);
        gif.append(char(colour.red())).append(char(colour.green())).append(char(colour.blue()));
    }
    if (frames > 1)
        gif.append(QByteArray::fromHex("21FF0B4E45545343415045322E300301000000")); // loop forever
    for (int frame = 0; frame < frames; ++frame) {
        gif.append(QByteArray::fromHex("21F904"));
        gif.append(char(0));
        word(delayCentiseconds);
        gif.append(char(0)).append(char(0));
        gif.append(char(0x2C));
        word(0);
        word(0);
        word(size.width());
        word(size.height());
        gif.append(char(0));
        gif.append(char(7));
        QByteArray codes;
        int sinceClear = 100;
        for (int y = 0; y < size.height(); ++y) {
            for (int x = 0; x < size.width(); ++x) {
                if (sinceClear == 100) {
                    codes.append(char(0x80));
                    sinceClear = 0;
                }
                codes.append(char(pixel(frame, x, y) & 0x7f));
                ++sinceClear;
            }
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

// A GIF of solid frames, one colour per frame.
inline bool writeSolidGif(const QString &path, QSize size, const QList<QColor> &frameColours)
{
    return writeGif(path, size, frameColours, int(frameColours.size()), [](int frame, int, int) { return frame; });
}

} // namespace velmora::test
