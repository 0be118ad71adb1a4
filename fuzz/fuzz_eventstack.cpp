// The loader of the persisted event queue ("eventStackData"): any bytes give a queue of
// valid URLs that survives a write and a read.
#include "FuzzCheck.h"

#include "content/AdsEventLogger.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QList<QUrl> stack = velmora::AdsEventLogger::unarchive(bytes);
    for (const QUrl &url : stack)
        FUZZ_CHECK(url.isValid() && !url.isEmpty());
    const QList<QUrl> reread = velmora::AdsEventLogger::unarchive(velmora::AdsEventLogger::archive(stack));
    FUZZ_CHECK(reread.size() == stack.size());
    return 0;
}
