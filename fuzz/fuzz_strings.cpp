// The strings-file parser: arbitrary bytes in, a table of single-line keys and values out.
#include "FuzzCheck.h"

#include "support/StandardNames.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QHash<QString, QString> table = velmora::StandardNames::parseStrings(bytes);
    // UTF-16 text has an even number of bytes; anything else is undecodable.
    FUZZ_CHECK(table.isEmpty() || size % 2 == 0);
    for (auto it = table.cbegin(); it != table.cend(); ++it) {
        // Lines are split at "\n", so neither side of an entry can span lines.
        FUZZ_CHECK(!it.key().contains(QLatin1Char('\n')));
        FUZZ_CHECK(!it.value().contains(QLatin1Char('\n')));
    }
    return 0;
}
