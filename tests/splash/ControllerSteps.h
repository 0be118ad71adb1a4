#pragma once

#include "splash/SplashScreenController.h"

#include <QString>

namespace velmora::test {

// Runs one named step of a showing on `controller`; false for a name it does not know.
inline bool runControllerStep(SplashScreenController &controller, const QString &step)
{
    if (step == QLatin1String("start"))
        controller.showStartScreen();
    else if (step == QLatin1String("startWithoutSplash"))
        controller.showStartVideoWithoutStartScreen();
    else if (step == QLatin1String("video"))
        controller.showVideo();
    else if (step == QLatin1String("ended"))
        controller.didVideoEnded();
    else if (step == QLatin1String("end"))
        controller.showEndScreen();
    else if (step == QLatin1String("hide"))
        controller.hide();
    else
        return false;
    return true;
}

} // namespace velmora::test
