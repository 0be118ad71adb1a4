#pragma once

#include <velmora/velmora_export.h>

#include <QMap>
#include <QObject>
#include <QRectF>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <memory>

class QAbstractButton;
class QRandomGenerator;
class QWidget;

namespace velmora {

class BannerImageView;
class Timer;

// One banner strip at the bottom of a host window or view. It shows the downloaded GIF
// banner, or a house banner when none is ready, swaps it every 15 seconds while its window
// is visible, opens the banner's link on a click and asks the host to remove ads when its
// close button is clicked. Main thread only; the attach operations re-post themselves.
class VELMORA_EXPORT BannerController : public QObject {
    Q_OBJECT

public:
    static constexpr double kSwapInterval = 15.0;
    static constexpr int kFadeDurationMs = 250;

    // A banner at the bottom of the window's content view (a QMainWindow's central widget,
    // else the window). The controller is a child of the window and dies with it.
    static BannerController *addBannerToWindow(QWidget *window);
    // A banner at the bottom of `view`, or of `viewController` when no view is given. The
    // controller is a child of the view controller (else of the view).
    static BannerController *addBannerToViewController(QWidget *viewController, QWidget *view);

    ~BannerController() override;

    // The banner's root view; null once removeADS took it away.
    QWidget *view() const;
    // The window whose visibility keeps the rotation going; null when there is none.
    QWidget *window() const;
    void setWindow(QWidget *window);
    void setViewController(QWidget *viewController, QWidget *view);

    // Rotation and display.
    void endDownloadСonfiguration();
    void swapBanners();
    void displayBanner();
    void setBannerGifImageWithURL(const QUrl &url);
    void setBannerGifImageWithName(const QString &name);
    void goToBannerURL();
    void removeBannerAction();
    void removeADS();
    void setBannerHidden(bool hidden);

    // Placement, in points of the container's coordinates.
    void setBannerConstraints();
    void updateBannerConstraint();
    void setHeight(double height);
    double height() const;
    // Distance of the banner's shadow above the container's bottom edge.
    void setBottomInset(double inset);
    double bottomInset() const;
    // Horizontal offset of the banner's centre from the container's; positive is right.
    void setCenterXInset(double inset);
    double centerXInset() const;
    // Depth of the shadow below the banner picture; added to every bottom inset.
    double shadowBotOfset() const;
    // Where the banner's view lies in its container before rounding to whole pixels; null
    // while it is not placed.
    QRectF bannerFrame() const;

    // What is on screen.
    QString selectBanner() const;
    QUrl currentURL() const;
    QUrl currentLink() const;
    void setCurrentLink(const QUrl &link);
    Timer *bannerSwapTimer() const;
    QVariantMap bannerInfo() const;
    // The house banners this host may show: never its own identifier.
    QMap<QString, QString> standardBanners() const;
    BannerImageView *bannerImage() const;
    QAbstractButton *closeButton() const;

    // The source of house-banner draws; null uses the system generator. Not owned.
    void setRandomGenerator(QRandomGenerator *generator);

Q_SIGNALS:
    // A picture was put on the banner (possibly the same house banner again).
    void bannerChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    explicit BannerController(QObject *parent);
    void viewDidLoad();
    void initBanners();
    // Puts the picture at `path` on the banner; `selection` and `url` take effect when it shows.
    // A downloaded file that is no picture falls back to a house banner.
    void showPicture(const QString &path, const QString &selection, const QUrl &url, bool downloaded);
    void showHouseBanner();
    void pictureChanged();
    void layoutBanner();
    void layoutContents();
    bool isWindowVisible() const;
    void detachFromView();
    template<typename Call> bool postToMainThread(Call call);

    struct Private;
    std::unique_ptr<Private> const d;
};

} // namespace velmora
