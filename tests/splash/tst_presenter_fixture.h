#pragma once

#include "tst_presenter_recordingcontroller.h"

#include "content/AdsDownloader.h"
#include "support/ManualClock.h"
#include "support/Switches.h"

#include <velmora/NotificationCenter.h>
#include <velmora/SplashScreenPresenter.h>

#include <QApplication>
#include <QWidget>

#include <memory>
#include <vector>

namespace velmora::test {

// One presenter per test on virtual time, with recording controllers on real (offscreen)
// top-level windows, and every notification written into the same journal.
class PresenterFixture {
public:
    void setUp()
    {
        clock = std::make_unique<ManualClock>();
        Clock::install(clock.get());
        Switches::setADSRemoved(false);
        Switches::setARCToWindows(false);
        AdsDownloader *downloader = AdsDownloader::sharedInstance();
        downloader->setVideoURL(QUrl());
        downloader->setLinkVideoURL(QUrl());
        downloader->setInterstitialVideoURL(QUrl());
        downloader->setVideoInfo({});
        presenter = std::make_unique<SplashScreenPresenter>([this](QWidget *window, bool) {
            auto controller = std::make_unique<RecordingController>(
                window, QStringLiteral("c%1").arg(controllers.size()), &journal);
            controllers << controller.get();
            return controller;
        });
        notifications = QObject::connect(NotificationCenter::defaultCenter(), &NotificationCenter::notificationPosted,
                                         [this](const QString &name, const QVariant &object) {
                                             journal << QStringLiteral("post:") + name;
                                             postedObjects << object;
                                         });
    }

    void tearDown()
    {
        QObject::disconnect(notifications);
        presenter.reset();
        windows.clear();
        controllers.clear();
        journal.clear();
        postedObjects.clear();
        Switches::setADSRemoved(false);
        Switches::setARCToWindows(false);
        Clock::install(nullptr);
        clock.reset();
    }

    // A top-level window; a shown one is made active by the offscreen platform as soon as
    // the loop turns, so that turn is taken here rather than later by surprise.
    QWidget *newWindow(bool shown = true)
    {
        windows.push_back(std::make_unique<QWidget>());
        QWidget *window = windows.back().get();
        window->resize(320, 240);
        if (shown) {
            window->show();
            turnMainLoop();
        }
        return window;
    }

    static void activate(QWidget *window)
    {
        window->activateWindow();
        QApplication::setActiveWindow(window);
    }

    // Registers a new window, shown and made key first when `key`.
    RecordingController *addWindow(bool key = true)
    {
        QWidget *window = newWindow(key);
        if (key)
            activate(window);
        if (!presenter->addSplashScreenForWindow(window, false))
            return nullptr;
        return controllers.last();
    }

    // Notification names posted so far, in order.
    QStringList posts() const
    {
        QStringList names;
        for (const QString &entry : journal) {
            if (entry.startsWith(QLatin1String("post:")))
                names << entry.mid(5);
        }
        return names;
    }

    // Runs the main loop's pending turns (deferred focus steps, deferred deletions).
    static void turnMainLoop()
    {
        for (int i = 0; i < 3; ++i)
            QCoreApplication::processEvents();
    }

    std::unique_ptr<ManualClock> clock;
    std::unique_ptr<SplashScreenPresenter> presenter;
    std::vector<std::unique_ptr<QWidget>> windows;
    QList<RecordingController *> controllers;
    QStringList journal;
    QVariantList postedObjects;
    QMetaObject::Connection notifications;
};

} // namespace velmora::test
