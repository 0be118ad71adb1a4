#pragma once

#include "splash/SplashScreenControllerProtocolInput.h"

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QObject>
#include <QPixmap>
#include <QPointer>
#include <QUrl>

#include <memory>
#include <optional>

class QAbstractButton;
class QAudioOutput;
class QLabel;
class QWidget;

namespace Ui {
class SplashScreenController;
}

namespace velmora {

class ColoredView;
class SplashScreenLabelsView;
class TimeProgressView;
class VideoFrameView;
class VideoPlayback;

// The splash screen of one host window: a view tree (SplashScreenController.ui) laid over
// the window's content that shows the start screen, the video ad and the end screen, and
// reports clicks and the end of the video to its output (the presenter).
class SplashScreenController : public QObject, public SplashScreenControllerProtocolInput {
    Q_OBJECT

public:
    enum ViewState {
        SplashScreenViewStateStart = 1,
        SplashScreenViewStateVideo = 2,
        SplashScreenViewStateEnd = 3,
    };

    // A layout value that the window's geometry code reads (an offset in points).
    struct LayoutConstraint {
        double constant = 0;
    };

    // Platform image-scaling values accepted by setBackgroundImageScaling.
    enum ImageScaling : unsigned int {
        ImageScaleProportionallyDown = 0,
        ImageScaleAxesIndependently = 1,
        ImageScaleNone = 2,
        ImageScaleProportionallyUpOrDown = 3,
    };

    // The window's collection-behaviour value while no splash screen is up.
    static constexpr unsigned int kFullScreenPrimaryBehavior = 0x80;
    static constexpr unsigned int kFullScreenAuxiliaryBehavior = 0x100;
    static constexpr int kFadeDurationMs = 250;

    // A new controller attached to `window` (hidden until the first view state), or null
    // when there is no window.
    static std::unique_ptr<SplashScreenController> initSplashScreenWithWindow(QWidget *window, bool isUnityWindow);
    // The running application's icon, or a null image.
    static QImage appIcon();
    // A window's collection behaviour as the splash screen keeps it.
    static unsigned int collectionBehavior(const QWidget *window);
    static bool isResizable(const QWidget *window);

    // Makes the root view (its elements follow on the next turn); not attached to any window yet.
    explicit SplashScreenController(QObject *parent = nullptr);
    ~SplashScreenController() override;

    // The root view, with its elements.
    ColoredView *view() const;

    // SplashScreenControllerProtocolInput
    QWidget *window() const override;
    void setOutput(SplashScreenControllerProtocolOutput *output) override;
    void showStartScreen() override;
    void showStartVideoWithoutStartScreen() override;
    void showVideo() override;
    void prepareVideo(const QUrl &likely) override;
    void showEndScreen() override;
    void hide() override;
    void removeFromWindow() override;
    void pauseShowVideo() override;
    void continueShowVideo() override;
    void pauseShow() override;
    void continueShow() override;
    void setVideoUrl(const QUrl &url) override;
    QUrl videoUrl() const override;
    void setInterstitialUrl(const QUrl &url) override;
    QUrl interstitialUrl() const override;
    void setMuted(bool muted) override;
    bool isMuted() const override;
    void setFocus(bool focus) override;
    bool isFocus() const override;
    void setTimerText(const QString &text) override;
    void setVideoTimerText(const QString &text) override;
    void startTimerViewFromSec(int fromSec, int endSec) override;
    void startVideoTimerViewFromSec(int fromSec, int endSec) override;
    void setTopInset(double inset) override;
    void setBackgroundColor(const QColor &color) override;
    void setBackgroundImage(const QImage &image) override;
    void setBackgroundImageScaling(unsigned int scaling) override;
    void setIcon(const QImage &icon) override;
    void setTextColor(const QColor &color) override;
    void setTimerTextColor(const QColor &color) override;
    void setTimerBackgroundColor(const QColor &color) override;
    void setTimerBorderColor(const QColor &color) override;
    void setTimerProgressColor(const QColor &color) override;
    void setTimerBorderWidth(double width) override;
    void setTimerProgressWidth(double width) override;
    void setHiddenIcon(bool hidden) override;
    void setHiddenIconBeforeVideo(bool hidden) override;
    void setHiddenIconAfterVideo(bool hidden) override;
    void setHiddenBackgroundImage(bool hidden) override;
    void setHiddenBackgroundImageBeforeVideo(bool hidden) override;
    void setHiddenBackgroundImageAfterVideo(bool hidden) override;
    void setHiddenButtonBeforeVideo(bool hidden) override;
    void setHiddenButtonAfterVideo(bool hidden) override;

    // Attaching and layout.
    void setWindow(QWidget *window);
    bool isUnityWindow() const { return m_isUnityWindow; }
    void setIsUnityWindow(bool on) { m_isUnityWindow = on; }
    double topInset() const { return m_topInset; }
    void setSplashTimerConstraint(LayoutConstraint *constraint);
    void setSpashTimerConstraint1(LayoutConstraint *constraint);
    LayoutConstraint *splashTimerConstraint() const { return m_splashTimerConstraint; }
    LayoutConstraint *spashTimerConstraint1() const { return m_spashTimerConstraint1; }

    // View states and their parts.
    void initViewState();
    void swapViewForState(int state);
    void didVideoEnded();
    void pauseProgressViews();
    void compliteProgressViews();
    void initVideoLayer();
    void startHelperAfterFadeIn();
    void startHelperAhead();
    void rehearseVideoElements();

    // Button actions.
    void closeSplashScreen(QAbstractButton *sender);
    void removeAdsAction(QAbstractButton *sender);
    void goToURLForBanner(QAbstractButton *sender);
    void soundOnOff(QAbstractButton *sender);

    // True while a fade of any element is running.
    bool isFading() const;
    // Whether an element is hidden or on its way out (a fade-out counts as hidden).
    static bool isElementHidden(const QWidget *element);
    // Where the video picture goes: the whole view.
    QRect videoRect() const;

    bool canShowEnd() const { return m_canShowEnd; }
    bool withouSplash() const { return m_withouSplash; }
    // Whether the view's elements are made and set up.
    bool didInitState() const { return m_didInitState; }
    unsigned int oldWindowCollection() const { return m_oldWindowCollection; }
    bool oldResize() const { return m_oldResize; }
    VideoPlayback *playback() const { return m_playback; }
    // The video picture, from showVideo until hide.
    VideoFrameView *playerlayer() const;

    QImage icon() const { return m_icon; }
    QColor textColor() const { return m_textColor; }
    QColor backgroundColor() const { return m_backgroundColor; }
    QImage backgroundImage() const { return m_backgroundImage; }
    unsigned int backgroundImageScaling() const { return m_backgroundImageScaling; }
    QColor timerTextColor() const { return m_timerTextColor; }
    QColor timerBackgroundColor() const { return m_timerBackgroundColor.value_or(QColor()); }
    QColor timerBorderColor() const { return m_timerBorderColor.value_or(QColor()); }
    QColor timerProgressColor() const { return m_timerProgressColor.value_or(QColor()); }
    double timerBorderWidth() const { return m_timerBorderWidth.value_or(0); }
    double timerProgressWidth() const { return m_timerProgressWidth.value_or(0); }
    bool isHiddenIcon() const { return m_hiddenIcon; }
    bool isHiddenIconBeforeVideo() const { return m_hiddenIconBeforeVideo; }
    bool isHiddenIconAfterVideo() const { return m_hiddenIconAfterVideo; }
    bool isHiddenBackgroundImage() const { return m_hiddenBackgroundImage; }
    bool isHiddenBackgroundImageBeforeVideo() const { return m_hiddenBackgroundImageBeforeVideo; }
    bool isHiddenBackgroundImageAfterVideo() const { return m_hiddenBackgroundImageAfterVideo; }
    bool isHiddenButtonBeforeVideo() const { return m_hiddenButtonBeforeVideo; }
    bool isHiddenButtonAfterVideo() const { return m_hiddenButtonAfterVideo; }

    // Outlets.
    QWidget *splashScreenPlayerView() const;
    SplashScreenLabelsView *lablesView() const;
    QLabel *iconImageView() const;
    QLabel *bgImage() const;
    QLabel *timeVideoLabel() const;
    TimeProgressView *videoProgressView() const;
    QAbstractButton *urlButton() const;
    QAbstractButton *closeButton() const;
    QAbstractButton *removeAdsButton() const;
    QAbstractButton *removeAdsImageButton() const;
    QAbstractButton *soundButton() const;
    QLabel *interstitialImage() const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void loadView();
    void loadElementsIfNeeded();
    Ui::SplashScreenController *views() const;
    void applyAppearance();
    void connectActions();
    void applyStackingOrder();
    void showStartState();
    void showVideoState();
    void showEndState();
    void setHidden(QWidget *element, bool hidden);
    void fadeHidden(QWidget *element, bool hidden);
    static bool paintsOwnOpacity(const QWidget *element);
    void applyRootOpacity(qreal opacity);
    void layoutStill();
    void prepareStill();
    bool isRootFading() const;
    void finishElementFades();
    void saveWindowBehavior();
    void lockWindowSize();
    void restoreWindowSize();
    void setCollectionBehavior(unsigned int behavior);
    void followContainer(QWidget *container);
    void applyFrame();
    void layoutViews();
    void layoutNow();
    void loadGlyphsInTurns(const QFont &font, const QString &text);
    void layoutImages();
    void applySoundImage();
    void applyIconIfUnset();
    void setInteractive(bool on);
    template<typename Call> bool postToMainThread(Call call);

    std::unique_ptr<Ui::SplashScreenController> ui;
    QPointer<ColoredView> m_view;
    QPointer<QWidget> m_window;
    QPointer<QWidget> m_container;
    SplashScreenControllerProtocolOutput *m_output = nullptr;

    VideoPlayback *m_playback = nullptr;
    QPointer<VideoFrameView> m_playerlayer;
    // Starting the video helper ahead: asked for, then after the first paint and the fade-in,
    // then done.
    enum class VideoPreparation { None, AwaitingPaint, AwaitingFadeIn, Posted };
    VideoPreparation m_preparation = VideoPreparation::None;
    QUrl m_likelyVideoUrl; // what the next video will probably be, for the helper started ahead
    QUrl m_videoUrl;
    QUrl m_interstitialUrl;
    // The end screen's picture for one view size and pixel ratio.
    struct StillKey {
        QUrl url;
        QSize size;
        qreal ratio = 0;
        bool operator==(const StillKey &) const = default;
    };
    struct PreparedStill {
        StillKey key;
        QImage image; // scaled; null until the pool thread is done
    };
    PreparedStill m_preparedStill;
    StillKey m_shownStill;
    QIcon m_soundImage;
    QIcon m_soundAlternateImage;

    LayoutConstraint m_videoTimerTextOffset;
    LayoutConstraint m_videoTimerMargin;
    LayoutConstraint *m_splashTimerConstraint = nullptr;
    LayoutConstraint *m_spashTimerConstraint1 = nullptr;

    bool m_isUnityWindow = false;
    double m_topInset = 0;
    bool m_focus = false;
    bool m_muted = false;
    bool m_canShowEnd = true;
    bool m_withouSplash = false;
    bool m_didInitState = false;
    QString m_timerText;
    QString m_videoTimerText;
    // A layout waits for a later turn (or the view's showing).
    bool m_layoutPending = false;
    bool m_layoutQueued = false;
    // The video phase's elements paint offscreen once the start screen is on screen.
    bool m_rehearsalPending = false;
    unsigned int m_oldWindowCollection = 0;
    bool m_oldResize = false;
    QSize m_savedMinimumSize;
    QSize m_savedMaximumSize;
    bool m_sizeLocked = false;

    QImage m_icon;
    // What iconImageView shows: the host's icon, else the application's.
    QImage m_shownIcon;
    QColor m_textColor;
    QColor m_backgroundColor;
    QImage m_backgroundImage;
    unsigned int m_backgroundImageScaling = ImageScaleProportionallyDown;
    QColor m_timerTextColor;
    // The rings' looks as set, also to none or 0; never set, the rings keep their own.
    std::optional<QColor> m_timerBackgroundColor;
    std::optional<QColor> m_timerBorderColor;
    std::optional<QColor> m_timerProgressColor;
    std::optional<double> m_timerBorderWidth;
    std::optional<double> m_timerProgressWidth;
    bool m_hiddenIcon = false;
    bool m_hiddenIconBeforeVideo = false;
    bool m_hiddenIconAfterVideo = false;
    bool m_hiddenBackgroundImage = false;
    bool m_hiddenBackgroundImageBeforeVideo = false;
    bool m_hiddenBackgroundImageAfterVideo = false;
    bool m_hiddenButtonBeforeVideo = false;
    bool m_hiddenButtonAfterVideo = false;
};

} // namespace velmora
