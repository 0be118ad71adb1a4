#pragma once

#include <velmora/velmora_export.h>

namespace velmora {

// How a splash-screen controller reports the user's clicks and the end of the video.
class VELMORA_EXPORT SplashScreenControllerProtocolOutput {
public:
    virtual ~SplashScreenControllerProtocolOutput();
    virtual void didClickOnVideo() = 0;
    virtual void didChangeMuted(bool muted) = 0;
    virtual void didClickRemoveAds() = 0;
    virtual void didClickClose() = 0;
    virtual void didVideoEnded() = 0;
};

} // namespace velmora
