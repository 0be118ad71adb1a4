#pragma once

#include <QObject>
#include <QStringList>

class NotificationLog;
class QWidget;

// A scripted session for machines without a person: waits for the ads, shows the splash
// screen, photographs each phase and the banners, closes, asks to remove the ads and quits.
class HeadlessSession : public QObject {
    Q_OBJECT

public:
    HeadlessSession(QWidget *mainWindow, QWidget *secondWindow, NotificationLog *log, const QString &outDir,
                    QObject *parent = nullptr);
    void start();

private:
    void onNotification(const QString &name);
    void after(int ms, void (HeadlessSession::*step)());
    void showSplash();
    void photographStart();
    void photographVideo();
    void photographEnd();
    void closeSplash();
    void photographBanners();
    void askToRemoveAds();
    void photographWithoutAds();
    void finish(int code);
    bool shoot(QWidget *window, const QString &name);
    bool clickVisible(QWidget *root, const QString &objectName);

    QWidget *m_main;
    QWidget *m_second;
    NotificationLog *m_log;
    QString m_out;
    QStringList m_shots;
    int m_waitedMs = 0;
    int m_bannerWaitMs = 0;
    bool m_ended = false;
    bool m_endShot = false;
};
