#pragma once

#include <velmora/velmora_export.h>

namespace velmora {

// Told by the downloader that the ad table is ready and a banner may be asked for.
// The "С" of the operation is the Cyrillic capital Es (U+0421); hosts match the name.
class VELMORA_EXPORT DownloadDelegate {
public:
    virtual ~DownloadDelegate();
    virtual void endDownloadСonfiguration() = 0;
};

} // namespace velmora
