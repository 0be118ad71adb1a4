// The loader of the offline ad table ("savedAds"): whatever bytes the file holds, decoding
// gives nothing or a table that can be written back and read again.
#include "FuzzCheck.h"

#include "content/AdsCacheInfoStorage.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<QVariantMap> table = velmora::AdsCacheInfoStorage::decode(bytes);
    if (!table)
        return 0;
    const QByteArray again = velmora::AdsCacheInfoStorage::encode(*table);
    const std::optional<QVariantMap> reread = velmora::AdsCacheInfoStorage::decode(again);
    FUZZ_CHECK(reread.has_value());
    FUZZ_CHECK(reread->keys() == table->keys());
    return 0;
}
