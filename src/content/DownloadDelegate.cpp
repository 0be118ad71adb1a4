#include "content/DownloadDelegate.h"

namespace velmora {

DownloadDelegate::~DownloadDelegate() = default;

} // namespace velmora
