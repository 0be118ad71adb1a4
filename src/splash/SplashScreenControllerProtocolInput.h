#pragma once

#include <velmora/velmora_export.h>

#include <QColor>
#include <QImage>
#include <QString>
#include <QUrl>

class QWidget;

namespace velmora {

class SplashScreenControllerProtocolOutput;

// What the presenter drives on each window's splash screen. SplashScreenController is
// the real one; tests of the presenter record the calls instead.
class VELMORA_EXPORT SplashScreenControllerProtocolInput {
public:
    virtual ~SplashScreenControllerProtocolInput();

    virtual QWidget *window() const = 0;
    virtual void setOutput(SplashScreenControllerProtocolOutput *output) = 0;

    // Transitions, in the order of one showing.
    virtual void showStartScreen() = 0;
    virtual void showStartVideoWithoutStartScreen() = 0;
    virtual void showVideo() = 0;
    // A hint that this controller will play a video, most likely `likely`, soon: it may get
    // its player ready.
    virtual void prepareVideo(const QUrl &likely) { Q_UNUSED(likely); }
    virtual void showEndScreen() = 0;
    virtual void hide() = 0;
    virtual void removeFromWindow() = 0;

    virtual void pauseShowVideo() = 0;
    virtual void continueShowVideo() = 0;
    virtual void pauseShow() = 0;
    virtual void continueShow() = 0;

    virtual void setVideoUrl(const QUrl &url) = 0;
    virtual QUrl videoUrl() const = 0;
    virtual void setInterstitialUrl(const QUrl &url) = 0;
    virtual QUrl interstitialUrl() const = 0;
    virtual void setMuted(bool muted) = 0;
    virtual bool isMuted() const = 0;
    virtual void setFocus(bool focus) = 0;
    virtual bool isFocus() const = 0;

    // Countdowns: texts and rings (seconds already elapsed, total seconds).
    virtual void setTimerText(const QString &text) = 0;
    virtual void setVideoTimerText(const QString &text) = 0;
    virtual void startTimerViewFromSec(int fromSec, int endSec) = 0;
    virtual void startVideoTimerViewFromSec(int fromSec, int endSec) = 0;

    // Appearance.
    virtual void setTopInset(double inset) = 0;
    virtual void setBackgroundColor(const QColor &color) = 0;
    virtual void setBackgroundImage(const QImage &image) = 0;
    virtual void setBackgroundImageScaling(unsigned int scaling) = 0;
    virtual void setIcon(const QImage &icon) = 0;
    virtual void setTextColor(const QColor &color) = 0;
    virtual void setTimerTextColor(const QColor &color) = 0;
    virtual void setTimerBackgroundColor(const QColor &color) = 0;
    virtual void setTimerBorderColor(const QColor &color) = 0;
    virtual void setTimerProgressColor(const QColor &color) = 0;
    virtual void setTimerBorderWidth(double width) = 0;
    virtual void setTimerProgressWidth(double width) = 0;
    virtual void setHiddenIcon(bool hidden) = 0;
    virtual void setHiddenIconBeforeVideo(bool hidden) = 0;
    virtual void setHiddenIconAfterVideo(bool hidden) = 0;
    virtual void setHiddenBackgroundImage(bool hidden) = 0;
    virtual void setHiddenBackgroundImageBeforeVideo(bool hidden) = 0;
    virtual void setHiddenBackgroundImageAfterVideo(bool hidden) = 0;
    virtual void setHiddenButtonBeforeVideo(bool hidden) = 0;
    virtual void setHiddenButtonAfterVideo(bool hidden) = 0;
};

} // namespace velmora
