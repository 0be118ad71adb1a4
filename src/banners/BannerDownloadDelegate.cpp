#include "banners/BannerDownloadDelegate.h"

namespace velmora {

BannerDownloadDelegate::BannerDownloadDelegate(std::function<void()> onEnd, QObject *parent)
    : QObject(parent)
    , m_onEnd(std::move(onEnd))
{
}

void BannerDownloadDelegate::endDownloadСonfiguration()
{
    m_onEnd();
}

} // namespace velmora
