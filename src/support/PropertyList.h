#pragma once

#include <velmora/velmora_export.h>

#include <QByteArray>
#include <QVariant>

namespace velmora {

// Reads XML property lists (Info.plist): dict, array, string, integer, real, true, false,
// date and data. Anything malformed gives an invalid QVariant.
class VELMORA_EXPORT PropertyList {
public:
    static QVariant parse(const QByteArray &xml);
};

} // namespace velmora
