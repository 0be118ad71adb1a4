#include "support/Switches.h"

#include <velmora/Support.h>

#include <atomic>

namespace velmora {

namespace {
std::atomic<bool> debugMode { false };
std::atomic<bool> arcMode { false };
const QString adsOffKey = QStringLiteral("adsoff");
} // namespace

void Switches::activateDebugMode()
{
    debugMode = true;
}

bool Switches::isDebugModeActivate()
{
    return debugMode;
}

void Switches::setARCToWindows(bool on)
{
    arcMode = on;
}

bool Switches::isARCActivate()
{
    return arcMode;
}

bool Switches::isADSRemoved()
{
    return VLMObjForKey(adsOffKey).toBool();
}

void Switches::setADSRemoved(bool removed)
{
    VLMSetObjForKey(removed, adsOffKey);
}

} // namespace velmora
