#include <velmora/Velmora.h>

#include "support/Switches.h"

namespace velmora {

void Velmora::activateDebugMode()
{
    Switches::activateDebugMode();
}

bool Velmora::isDebugModeActivate()
{
    return Switches::isDebugModeActivate();
}

void Velmora::setARCToWindows(bool on)
{
    Switches::setARCToWindows(on);
}

bool Velmora::isARCActivate()
{
    return Switches::isARCActivate();
}

bool Velmora::isADSRemoved()
{
    return Switches::isADSRemoved();
}

void Velmora::resetAds()
{
    Switches::setADSRemoved(false);
}

} // namespace velmora
