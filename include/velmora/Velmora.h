#pragma once

// Umbrella header: everything a host needs.
#include <velmora/Bundle.h>
#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>
#include <velmora/Support.h>
#include <velmora/Timer.h>
#include <velmora/VelmoraVersion.h>
#include <velmora/velmora_export.h>

namespace velmora {

// The host's one entry point. Every operation is static; call them on the main thread
// unless an operation says otherwise.
class VELMORA_EXPORT Velmora {
public:
    Velmora() = delete;

    // Process-wide switches.
    static void activateDebugMode();
    static bool isDebugModeActivate();
    static void setARCToWindows(bool on);
    static bool isARCActivate();
    // Read from the settings store on every call.
    static bool isADSRemoved();
    static void resetAds();
};

} // namespace velmora
