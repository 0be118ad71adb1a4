#pragma once

#include <velmora/velmora_export.h>

namespace velmora {

// The process-wide switches every area consults: debug logging, window auto-removal and
// the persisted ads-off flag (read from the store on every call).
class VELMORA_EXPORT Switches {
public:
    static void activateDebugMode();
    static bool isDebugModeActivate();
    static void setARCToWindows(bool on);
    static bool isARCActivate();
    static bool isADSRemoved();
    static void setADSRemoved(bool removed);
};

} // namespace velmora
