#include "splash/SplashScreenControllerProtocolOutput.h"

namespace velmora {

SplashScreenControllerProtocolOutput::~SplashScreenControllerProtocolOutput() = default;

} // namespace velmora
