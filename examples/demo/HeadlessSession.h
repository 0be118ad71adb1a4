#pragma once

#include <QObject>
#include <QStringList>
#include <QUrl>

class NotificationLog;
class QAbstractButton;
class QPixmap;
class QWidget;

// A scripted session for machines without a person. It waits for the ads, shows the splash
// screen and photographs each phase, clicks the video, closes the splash screen, photographs
// and clicks the banners, shows the splash screen a second time, asks to remove the ads and
// answers as configured, then quits: 0 when every step happened.
class HeadlessSession : public QObject {
    Q_OBJECT

public:
    HeadlessSession(QWidget *mainWindow, QWidget *secondWindow, NotificationLog *log, const QString &outDir,
                    bool confirmRemoveAds, QObject *parent = nullptr);
    ~HeadlessSession() override;
    void start();

public Q_SLOTS:
    // Stands in for the browser and the store: a scripted run opens nothing.
    void openUrl(const QUrl &url);

private:
    void onNotification(const QString &name);
    void after(int ms, void (HeadlessSession::*step)());
    void showSplash();
    void photographStart();
    void photographVideo();
    static QPixmap picture(QWidget *window);
    static QRect pictureArea(const QPixmap &shot);
    void photographEnd();
    void closeSplash();
    void photographBanners();
    void clickBanner();
    void showAgain();
    void askToRemoveAds();
    void photographWithoutAds();
    void finish(int code);
    void finishChecked();
    bool shoot(QWidget *window, const QString &name);
    bool save(const QPixmap &shot, const QString &name);
    QAbstractButton *splashButton(const QString &objectName) const;

    QWidget *m_main;
    QWidget *m_second;
    NotificationLog *m_log;
    QString m_out;
    bool m_confirmRemoveAds;
    QStringList m_shots;
    QStringList m_expectedShots;
    int m_run = 0;
    int m_waitedMs = 0;
    int m_bannerWaitMs = 0;
    int m_closeWaitMs = 0;
    int m_videoWaitMs = 0;
    bool m_ended = false;
    bool m_endShot = false;
};
