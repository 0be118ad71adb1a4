#pragma once

#include "splash/SplashScreenControllerProtocolInput.h"
#include "splash/SplashScreenControllerProtocolOutput.h"

#include <QPointer>
#include <QStringList>
#include <QWidget>

namespace velmora::test {

// Stands in for a window's splash screen: writes every call the presenter makes into its
// own list and into a journal shared with the test (which also logs notifications), so
// the order across windows and notifications can be checked.
class RecordingController final : public SplashScreenControllerProtocolInput {
public:
    RecordingController(QWidget *window, QString name, QStringList *journal)
        : m_window(window)
        , m_name(std::move(name))
        , m_journal(journal)
    {
    }

    QStringList calls;
    SplashScreenControllerProtocolOutput *output = nullptr;
    QString lastTimerText() const { return m_timerText; }
    QString lastVideoTimerText() const { return m_videoTimerText; }
    unsigned int backgroundImageScaling = 99;

    QWidget *window() const override { return m_window; }
    void setOutput(SplashScreenControllerProtocolOutput *o) override { output = o; }
    void showStartScreen() override { record(QStringLiteral("showStartScreen")); }
    void showStartVideoWithoutStartScreen() override { record(QStringLiteral("showStartVideoWithoutStartScreen")); }
    void showVideo() override { record(QStringLiteral("showVideo")); }
    void showEndScreen() override { record(QStringLiteral("showEndScreen")); }
    void hide() override { record(QStringLiteral("hide")); }
    void removeFromWindow() override { record(QStringLiteral("removeFromWindow")); }
    void pauseShowVideo() override { record(QStringLiteral("pauseShowVideo")); }
    void continueShowVideo() override { record(QStringLiteral("continueShowVideo")); }
    void pauseShow() override { record(QStringLiteral("pauseShow")); }
    void continueShow() override { record(QStringLiteral("continueShow")); }
    void setVideoUrl(const QUrl &url) override
    {
        m_videoUrl = url;
        record(QStringLiteral("setVideoUrl ") + url.toString());
    }
    QUrl videoUrl() const override { return m_videoUrl; }
    void setInterstitialUrl(const QUrl &url) override
    {
        m_interstitialUrl = url;
        record(QStringLiteral("setInterstitialUrl ") + url.toString());
    }
    QUrl interstitialUrl() const override { return m_interstitialUrl; }
    void setMuted(bool muted) override
    {
        m_muted = muted;
        record(QStringLiteral("setMuted %1").arg(muted));
    }
    bool isMuted() const override { return m_muted; }
    void setFocus(bool focus) override { m_focus = focus; }
    bool isFocus() const override { return m_focus; }
    // Texts change every second; kept apart from the journal so it stays readable.
    void setTimerText(const QString &text) override { m_timerText = text, timerTexts << text; }
    void setVideoTimerText(const QString &text) override { m_videoTimerText = text, videoTimerTexts << text; }
    void startTimerViewFromSec(int from, int end) override
    {
        record(QStringLiteral("startTimerViewFromSec %1 %2").arg(from).arg(end));
    }
    void startVideoTimerViewFromSec(int from, int end) override
    {
        record(QStringLiteral("startVideoTimerViewFromSec %1 %2").arg(from).arg(end));
    }
    // What else of the appearance arrives is checked on real controllers through the facade.
    void setTopInset(double) override { }
    void setBackgroundColor(const QColor &) override { }
    void setBackgroundImage(const QImage &) override { }
    void setBackgroundImageScaling(unsigned int scaling) override { backgroundImageScaling = scaling; }
    void setIcon(const QImage &) override { }
    void setTextColor(const QColor &) override { }
    void setTimerTextColor(const QColor &) override { }
    void setTimerBackgroundColor(const QColor &) override { }
    void setTimerBorderColor(const QColor &) override { }
    void setTimerProgressColor(const QColor &) override { }
    void setTimerBorderWidth(double) override { }
    void setTimerProgressWidth(double) override { }
    void setHiddenIcon(bool) override { }
    void setHiddenIconBeforeVideo(bool) override { }
    void setHiddenIconAfterVideo(bool) override { }
    void setHiddenBackgroundImage(bool) override { }
    void setHiddenBackgroundImageBeforeVideo(bool) override { }
    void setHiddenBackgroundImageAfterVideo(bool) override { }
    void setHiddenButtonBeforeVideo(bool) override { }
    void setHiddenButtonAfterVideo(bool) override { }

    QStringList timerTexts;
    QStringList videoTimerTexts;

private:
    void record(const QString &call)
    {
        calls << call;
        if (m_journal)
            *m_journal << m_name + QLatin1Char(':') + call;
    }

    QPointer<QWidget> m_window;
    QString m_name;
    QStringList *m_journal;
    QUrl m_videoUrl;
    QUrl m_interstitialUrl;
    QString m_timerText;
    QString m_videoTimerText;
    bool m_muted = false;
    bool m_focus = false;
};

} // namespace velmora::test
