#include "splash/SplashScreenControllerProtocolInput.h"

namespace velmora {

SplashScreenControllerProtocolInput::~SplashScreenControllerProtocolInput() = default;

} // namespace velmora
