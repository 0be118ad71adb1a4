#include "splash/MediaDuration.h"

#include <QFile>
#include <QtEndian>

#include <optional>

namespace velmora {

namespace {

struct Box {
    QByteArray type;
    qint64 bodyStart = 0;
    qint64 end = 0;
};

std::optional<quint64> readBigEndian(QIODevice &device, int bytes)
{
    const QByteArray raw = device.read(bytes);
    if (raw.size() != bytes)
        return std::nullopt;
    quint64 value = 0;
    for (const char byte : raw)
        value = (value << 8) | quint8(byte);
    return value;
}

// The box header at the device's position; its end is clipped to the enclosing one.
std::optional<Box> readBox(QIODevice &device, qint64 limit)
{
    const qint64 start = device.pos();
    const std::optional<quint64> size32 = readBigEndian(device, 4);
    const QByteArray type = device.read(4);
    if (!size32 || type.size() != 4)
        return std::nullopt;
    quint64 size = *size32;
    if (size == 1) {
        const std::optional<quint64> large = readBigEndian(device, 8);
        if (!large)
            return std::nullopt;
        size = *large;
    } else if (size == 0) {
        size = quint64(limit - start);
    }
    const qint64 bodyStart = device.pos();
    if (size < quint64(bodyStart - start) || size > quint64(limit - start))
        return std::nullopt;
    return Box { type, bodyStart, start + qint64(size) };
}

// The first box of the given type among the siblings in [from, limit).
std::optional<Box> findBox(QIODevice &device, qint64 from, qint64 limit, const char *type)
{
    for (qint64 at = from; at < limit;) {
        if (!device.seek(at))
            return std::nullopt;
        const std::optional<Box> box = readBox(device, limit);
        if (!box || box->end <= at)
            return std::nullopt;
        if (box->type == type)
            return box;
        at = box->end;
    }
    return std::nullopt;
}

} // namespace

qint64 MediaDuration::seconds(const QUrl &video)
{
    if (!video.isLocalFile())
        return 0;
    QFile file(video.toLocalFile());
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return seconds(file);
}

qint64 MediaDuration::seconds(QIODevice &device)
{
    const std::optional<Box> movie = findBox(device, 0, device.size(), "moov");
    const std::optional<Box> header = movie ? findBox(device, movie->bodyStart, movie->end, "mvhd") : std::nullopt;
    if (!header || !device.seek(header->bodyStart))
        return 0;
    const std::optional<quint64> versionAndFlags = readBigEndian(device, 4);
    if (!versionAndFlags)
        return 0;
    const bool wide = (*versionAndFlags >> 24) == 1;
    const int field = wide ? 8 : 4;
    if (!readBigEndian(device, field) || !readBigEndian(device, field)) // creation, modification
        return 0;
    const std::optional<quint64> timescale = readBigEndian(device, 4);
    const std::optional<quint64> duration = readBigEndian(device, field);
    if (!timescale || !duration || *timescale == 0 || device.pos() > header->end)
        return 0;
    return qint64(*duration / *timescale);
}

} // namespace velmora
