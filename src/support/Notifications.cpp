#include <velmora/Notifications.h>

namespace velmora {

const char VLMtryRemoveAds[] = "com.tamsel.tryremoveads";
const char VLMclickForBanner[] = "com.tamsel.clickforbanner";
const char VLMclickForVideo[] = "com.tamsel.clickforvideo";
const char VLMadsVideoDidStart[] = "com.tamsel.videostart";
const char VLMadsVideoDidStop[] = "com.tamsel.videostop";
const char VLMsplashScreenShowMoreOne[] = "com.tamsel.splashcreensecondstart";
const char VLMsplashScreenWillShow[] = "com.tamsel.splashcreenwillshow";
const char VLMsplashScreenDidShow[] = "com.tamsel.splashcreendidshow";
const char VLMsplashScreenDidClose[] = "com.tamsel.splashscreendidclose";

const char kReachabilityChangedNotification[] = "kNetworkReachabilityChangedNotification";

const double VelmoraVersionNumber = 1.0;
// A what(1) string, so `what libvelmora.so` names the build.
const char VelmoraVersionString[] = "@(#)PROGRAM:Velmora  PROJECT:Velmora-1\n";
const char VelmoraVersion[] = "3.5.0";

} // namespace velmora
