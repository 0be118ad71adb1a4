#pragma once

#include "content/DownloadDelegate.h"

#include <QObject>

#include <functional>

namespace velmora {

// Registers a banner controller with the downloader: the delegate interface stays out of
// the controller's public header. A child of the controller, so the downloader skips it
// once the controller is gone.
class BannerDownloadDelegate : public QObject, public DownloadDelegate {
    Q_OBJECT

public:
    BannerDownloadDelegate(std::function<void()> onEnd, QObject *parent);

    void endDownloadСonfiguration() override;

private:
    std::function<void()> m_onEnd;
};

} // namespace velmora
