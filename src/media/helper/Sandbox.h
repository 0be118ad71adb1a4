#pragma once

#include <QStringList>

namespace velmora::media {

// Confines velmora-media before it touches a byte of an ad: the bytes come from the network
// and go through C codecs, so the process that parses them must be able to do little harm.
// Each mechanism the kernel lacks is skipped; the returned lines say what was applied and
// what was not (the host prints them in its debug log).
class Sandbox {
public:
    static QStringList apply(const QStringList &readableFolders);

private:
    static QString restrictFiles(const QStringList &readableFolders);
    static QString filterSystemCalls();
};

} // namespace velmora::media
