#pragma once

#include <velmora/velmora_export.h>

namespace velmora {

// Names of the notifications posted to NotificationCenter::defaultCenter().
// "splashcreen" in three of them is spelt so on purpose: hosts match these exact strings.
VELMORA_EXPORT extern const char VLMtryRemoveAds[]; // "com.tamsel.tryremoveads"
VELMORA_EXPORT extern const char VLMclickForBanner[]; // object: the banner's name
VELMORA_EXPORT extern const char VLMclickForVideo[]; // object: the advertised app's name
VELMORA_EXPORT extern const char VLMadsVideoDidStart[];
VELMORA_EXPORT extern const char VLMadsVideoDidStop[];
VELMORA_EXPORT extern const char VLMsplashScreenShowMoreOne[];
VELMORA_EXPORT extern const char VLMsplashScreenWillShow[];
VELMORA_EXPORT extern const char VLMsplashScreenDidShow[];
VELMORA_EXPORT extern const char VLMsplashScreenDidClose[];

// Posted on the main thread when the watched network target's reachability changes;
// the object is the Reachability monitor.
VELMORA_EXPORT extern const char kReachabilityChangedNotification[];

VELMORA_EXPORT extern const double VelmoraVersionNumber;
VELMORA_EXPORT extern const char VelmoraVersionString[];
VELMORA_EXPORT extern const char VelmoraVersion[];

} // namespace velmora
