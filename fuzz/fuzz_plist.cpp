// The Info.plist reader: arbitrary bytes in, nothing or a tree of the plist types out.
#include "FuzzCheck.h"

#include "support/PropertyList.h"

#include <QDateTime>
#include <QVariantList>
#include <QVariantMap>

#include <cstddef>
#include <cstdint>

namespace {

// Returns the depth of the tree; every node must be one of the types a plist can hold.
int walk(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
    case QMetaType::QVariantList: {
        int deepest = 0;
        const QVariantList children
            = value.typeId() == QMetaType::QVariantMap ? value.toMap().values() : value.toList();
        for (const QVariant &child : children)
            deepest = std::max(deepest, walk(child));
        return deepest + 1;
    }
    case QMetaType::QString:
    case QMetaType::LongLong:
    case QMetaType::Double:
    case QMetaType::Bool:
    case QMetaType::QByteArray:
        return 1;
    case QMetaType::QDateTime:
        FUZZ_CHECK(value.toDateTime().isValid());
        return 1;
    default:
        std::fprintf(stderr, "unexpected type %s\n", value.typeName());
        FUZZ_CHECK(false);
        return 0;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QVariant root = velmora::PropertyList::parse(bytes);
    if (root.isValid()) {
        // The reader refuses nesting deeper than its limit, so no tree is deeper either.
        FUZZ_CHECK(walk(root) <= 66);
    }
    return 0;
}
