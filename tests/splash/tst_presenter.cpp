#include "TestEnvironment.h"

#include "content/AdsDownloader.h"
#include "splash/SplashScreenController.h"
#include "splash/SplashScreenControllerProtocolInput.h"
#include "splash/SplashScreenControllerProtocolOutput.h"
#include "support/ManualClock.h"
#include "support/Switches.h"

#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>
#include <velmora/SplashScreenPresenter.h>
#include <velmora/Timer.h>

#include <QAbstractButton>
#include <QDesktopServices>
#include <QPointer>

#include <memory>
#include <vector>

using namespace velmora;

namespace {

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

using P = SplashScreenPresenter;

QString name(const char *constant)
{
    return QString::fromLatin1(constant);
}

const QUrl kVideo(QStringLiteral("file:///cache/video.mp4"));
const QUrl kFallbackVideo(QStringLiteral("file:///host/fallback.mp4"));
const QUrl kNullVideo(QStringLiteral("file:///cache/(null)"));
const QUrl kInterstitial(QStringLiteral("file:///cache/still.png"));
const QUrl kLink(QStringLiteral("velmora-test://store/app/id11"));
const QUrl kFallbackLink(QStringLiteral("velmora-test://store/app/id22"));

} // namespace

class PresenterTest : public QObject {
    Q_OBJECT

public Q_SLOTS:
    // Where QDesktopServices sends the test scheme's links.
    void openedUrl(const QUrl &url) { m_opened << url; }

private Q_SLOTS:
    void initTestCase() { QDesktopServices::setUrlHandler(QStringLiteral("velmora-test"), this, "openedUrl"); }
    void cleanupTestCase() { QDesktopServices::unsetUrlHandler(QStringLiteral("velmora-test")); }
    void init()
    {
        f.setUp();
        m_opened.clear();
    }
    void cleanup() { f.tearDown(); }

    void countdownTexts_data()
    {
        QTest::addColumn<qint64>("loadTime");
        QTest::addColumn<bool>("withoutSplash");
        QTest::addColumn<QString>("firstText");
        QTest::addColumn<double>("videoAt");
        QTest::addColumn<QStringList>("textsAtVideo");
        QTest::addColumn<double>("closeAt");
        QTest::addColumn<QStringList>("textsAtClose");
        const QStringList zeros { QStringLiteral("0"), QStringLiteral("0") };
        const QStringList fives { QStringLiteral("5"), QStringLiteral("5") };
        QTest::newRow("load time 5: 10 and 5 down to 0") << qint64(5) << false << "10" << 5.0 << fives << 10.0 << zeros;
        QTest::newRow("load time 8 counts from 13") << qint64(8) << false << "13" << 8.0 << fives << 13.0 << zeros;
        QTest::newRow("load time 0") << qint64(0) << false << "5" << 0.001 << fives << 5.001 << zeros;
        QTest::newRow("without splash: video at once")
            << qint64(5) << true << "10" << 0.001 << QStringList { QStringLiteral("10"), QStringLiteral("5") } << 5.001
            << QStringList { QStringLiteral("5"), QStringLiteral("0") };
    }

    void countdownTexts()
    {
        QFETCH(qint64, loadTime);
        QFETCH(bool, withoutSplash);
        AdsDownloader::sharedInstance()->setVideoURL(kVideo);
        f.presenter->setLoadTime(loadTime);
        f.presenter->setWithoutSplash(withoutSplash);
        RecordingController *c = f.addWindow();
        f.presenter->needForceShowSplashScreens();
        QTEST(c->lastTimerText(), "firstText");

        QFETCH(double, videoAt);
        f.clock->advance(videoAt);
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideo));
        QTEST((QStringList { c->lastTimerText(), c->lastVideoTimerText() }), "textsAtVideo");

        QFETCH(double, closeAt);
        f.clock->advance(closeAt - videoAt);
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideoCloseButton));
        QTEST((QStringList { c->lastTimerText(), c->lastVideoTimerText() }), "textsAtClose");

        // Ticks run on in the end phase; no text ever goes below zero.
        f.clock->advance(20);
        QCOMPARE(c->lastTimerText(), QStringLiteral("0"));
        QCOMPARE(c->lastVideoTimerText(), QStringLiteral("0"));
        for (const QString &text : c->timerTexts + c->videoTimerTexts) {
            bool ok = false;
            QVERIFY2(text.toInt(&ok) >= 0 && ok, qPrintable(text));
        }
    }

    void videoEnd_data()
    {
        QTest::addColumn<double>("endAt");
        QTest::addColumn<int>("endScreensAtEnd");
        QTest::addColumn<qint64>("stateAfterTen");
        QTest::newRow("3 s into the video: end screens wait for the timer")
            << 8.0 << 0 << qint64(P::SplashScreenStateVideoCloseButton);
        QTest::newRow("after the close button: end screens at once") << 12.0 << 2 << qint64(P::SplashScreenStateEnd);
    }

    void videoEnd()
    {
        QFETCH(double, endAt);
        AdsDownloader::sharedInstance()->setVideoURL(kVideo);
        AdsDownloader::sharedInstance()->setInterstitialVideoURL(kInterstitial);
        RecordingController *c = f.addWindow();
        f.presenter->needForceShowSplashScreens();
        f.clock->advance(endAt);
        c->output->didVideoEnded();
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateEnd));
        QVERIFY(f.presenter->isShowEnd());
        QVERIFY(!f.presenter->isShowVideo());
        QCOMPARE(f.posts().last(), name(VLMadsVideoDidStop));
        QTEST(int(c->calls.count(QStringLiteral("showEndScreen"))), "endScreensAtEnd");

        f.clock->advance(std::max(0.0, 10.0 - endAt) + 0.5);
        QTEST(f.presenter->stateSplashScreen(), "stateAfterTen");
        QVERIFY(c->calls.contains(QStringLiteral("setInterstitialUrl ") + kInterstitial.toString()));
        QVERIFY(c->calls.contains(QStringLiteral("showEndScreen")));
    }

    void pauseAndResume_data()
    {
        QTest::addColumn<double>("pauseAt");
        QTest::addColumn<double>("firstTickAfterResume");
        QTest::addColumn<double>("videoAfterResume"); // negative: already playing
        QTest::addColumn<double>("closeAfterResume");
        QTest::newRow("2.4 s into the start screen") << 2.4 << 0.6 << 2.6 << 7.6;
        QTest::newRow("2.3 s into the video") << 7.3 << 0.7 << -1.0 << 2.7;
        QTest::newRow("on a whole second") << 3.0 << 0.0 << 2.0 << 7.0;
    }

    void pauseAndResume()
    {
        QFETCH(double, pauseAt);
        QFETCH(double, firstTickAfterResume);
        QFETCH(double, videoAfterResume);
        QFETCH(double, closeAfterResume);
        const double eps = 0.001;
        RecordingController *c = f.addWindow();
        f.presenter->needForceShowSplashScreens();
        f.clock->advance(pauseAt);
        const qint64 state = f.presenter->stateSplashScreen();
        f.presenter->pauseSplashScreens();
        QVERIFY(f.presenter->needsResumeSplashScreen());
        QCOMPARE(c->calls.mid(c->calls.size() - 2),
                 (QStringList { QStringLiteral("pauseShow"), QStringLiteral("pauseShowVideo") }));
        const qint64 passed = f.presenter->passedTime();

        // Paused time does not count.
        f.clock->advance(100);
        QCOMPARE(f.presenter->passedTime(), passed);
        QCOMPARE(f.presenter->stateSplashScreen(), state);

        f.presenter->resumeSplashScreen();
        QVERIFY(!f.presenter->needsResumeSplashScreen());
        double elapsed = 0;
        if (firstTickAfterResume > eps) {
            f.clock->advance(firstTickAfterResume - eps);
            elapsed += firstTickAfterResume - eps;
            QCOMPARE(f.presenter->passedTime(), passed);
        }
        f.clock->advance(2 * eps);
        elapsed += 2 * eps;
        QCOMPARE(f.presenter->passedTime(), passed + 1);
        f.clock->advance(1.0);
        elapsed += 1.0;
        QCOMPARE(f.presenter->passedTime(), passed + 2);

        if (videoAfterResume > 0) {
            f.clock->advance(videoAfterResume - eps - elapsed);
            QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateStart));
            f.clock->advance(2 * eps);
            QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideo));
            elapsed = videoAfterResume + eps;
        }
        f.clock->advance(closeAfterResume - eps - elapsed);
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideo));
        f.clock->advance(2 * eps);
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideoCloseButton));
    }

    void resumeWhileAdsRemovedDoesNothing()
    {
        f.addWindow();
        f.presenter->needForceShowSplashScreens();
        f.clock->advance(1.5);
        f.presenter->pauseSplashScreens();
        Switches::setADSRemoved(true);
        f.presenter->resumeSplashScreen();
        QVERIFY(!f.presenter->needsResumeSplashScreen());
        f.clock->advance(60);
        QCOMPARE(f.presenter->passedTime(), qint64(1));
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateStart));
    }

    void forcedShowCancelsGateTimersFirst_data()
    {
        QTest::addColumn<bool>("key");
        QTest::newRow("show starts") << true;
        QTest::newRow("show refused for lack of focus") << false;
    }

    // The first-start and waiting timers are cancelled before the guards, so a refused
    // forced show leaves the gate shut until refreshWaitAgain.
    void forcedShowCancelsGateTimersFirst()
    {
        QFETCH(bool, key);
        f.presenter->setDelayForFirstStart(30);
        RecordingController *c = f.addWindow(key);
        f.presenter->refreshWaitAgain();
        QVERIFY(f.presenter->firstStartTimer()->isValid());
        QVERIFY(f.presenter->prepareTimer()->isValid());
        f.presenter->needForceShowSplashScreens();
        QCOMPARE(f.presenter->isShow(), key);
        f.clock->advance(1000);
        QVERIFY(!f.presenter->isWaitTimeLeft());
        if (key) {
            c->output->didClickClose();
            f.clock->advance(119.9);
            QVERIFY(!f.presenter->isWaitTimeLeft());
            f.clock->advance(0.2);
        } else {
            QCOMPARE(f.presenter->splashScreenStartCount(), qint64(0));
            f.presenter->refreshWaitAgain();
            f.clock->advance(120.1);
        }
        QVERIFY(f.presenter->isWaitTimeLeft());
    }

    void softShowWaitsForTheFirstStartDelay()
    {
        f.presenter->setDelayForFirstStart(30);
        f.addWindow();
        f.presenter->showSplashScreens();
        QVERIFY(!f.presenter->isShow());
        QVERIFY(!f.presenter->isNeedShow());
        f.clock->advance(30);
        QVERIFY(f.presenter->isAdsReady());
        f.presenter->showSplashScreens();
        QVERIFY(f.presenter->isShow());
        QVERIFY(!f.presenter->isAdsReady());
    }

    void softShowWithoutKeyWindowIsKept()
    {
        f.addWindow(false);
        f.clock->advance(1);
        f.presenter->showSplashScreens();
        QVERIFY(!f.presenter->isShow());
        QVERIFY(f.presenter->isNeedShow());
        QVERIFY(f.posts().isEmpty());
    }

    void windowJoiningRunningSequence_data()
    {
        QTest::addColumn<double>("joinAt");
        QTest::addColumn<bool>("videoEnded");
        QTest::addColumn<QStringList>("shown");
        const QString start = QStringLiteral("showStartScreen");
        QTest::newRow("start screen at passedTime 3: ring 3 to 10")
            << 3.0 << false << QStringList { start, QStringLiteral("startTimerViewFromSec 3 10") };
        QTest::newRow("video phase: start view, never the video")
            << 9.5 << false << QStringList { start, QStringLiteral("startTimerViewFromSec 9 10") };
        QTest::newRow("close button: end view with the interstitial")
            << 13.5 << false
            << QStringList { QStringLiteral("setInterstitialUrl ") + kInterstitial.toString(),
                             QStringLiteral("showEndScreen") };
        QTest::newRow("video ended: nothing") << 13.5 << true << QStringList {};
    }

    void windowJoiningRunningSequence()
    {
        QFETCH(double, joinAt);
        QFETCH(bool, videoEnded);
        AdsDownloader::sharedInstance()->setVideoURL(kVideo);
        AdsDownloader::sharedInstance()->setInterstitialVideoURL(kInterstitial);
        f.presenter->setLoadTime(8);
        RecordingController *first = f.addWindow();
        f.presenter->needForceShowSplashScreens();
        QVERIFY(first->calls.contains(QStringLiteral("startTimerViewFromSec 0 13")));
        f.clock->advance(joinAt);
        if (videoEnded)
            first->output->didVideoEnded();
        RecordingController *joined = f.addWindow(false);
        QStringList shown;
        for (const QString &call : joined->calls) {
            if (call.startsWith(QLatin1String("show")) || call.startsWith(QLatin1String("start"))
                || call.startsWith(QLatin1String("setInterstitial")))
                shown << call;
        }
        QTEST(shown, "shown");
        QCOMPARE(joined->lastTimerText(), first->lastTimerText());
    }

    void choiceOfVideo_data()
    {
        QTest::addColumn<QUrl>("downloaded");
        QTest::addColumn<QUrl>("fallback");
        QTest::addColumn<QUrl>("played"); // empty: no video, the start ring runs on
        QTest::newRow("downloaded video") << kVideo << kFallbackVideo << kVideo;
        QTest::newRow("(null) in the path: the fallback") << kNullVideo << kFallbackVideo << kFallbackVideo;
        QTest::newRow("nothing downloaded: the fallback") << QUrl() << kFallbackVideo << kFallbackVideo;
        QTest::newRow("downloaded is the fallback") << kFallbackVideo << kFallbackVideo << kFallbackVideo;
        QTest::newRow("(null) without fallback: no video") << kNullVideo << QUrl() << QUrl();
        QTest::newRow("nothing at all: no video") << QUrl() << QUrl() << QUrl();
    }

    void choiceOfVideo()
    {
        QFETCH(QUrl, downloaded);
        QFETCH(QUrl, fallback);
        QFETCH(QUrl, played);
        AdsDownloader::sharedInstance()->setVideoURL(downloaded);
        f.presenter->setDefaultVideoWithURL(fallback, kFallbackLink);
        RecordingController *c = f.addWindow();
        f.presenter->needForceShowSplashScreens();
        f.clock->advance(5);
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideo));
        QCOMPARE(f.posts().last(), name(VLMadsVideoDidStart));
        const QStringList sinceStart = c->calls.mid(c->calls.lastIndexOf(QStringLiteral("pauseShow")));
        if (played.isEmpty()) {
            QVERIFY(!c->calls.contains(QStringLiteral("showVideo")));
            QVERIFY(sinceStart.contains(QStringLiteral("startTimerViewFromSec 5 10")));
        } else {
            QCOMPARE(c->videoUrl(), played);
            QCOMPARE(sinceStart.mid(1, 3),
                     (QStringList { QStringLiteral("setVideoUrl ") + played.toString(), QStringLiteral("showVideo"),
                                    QStringLiteral("startVideoTimerViewFromSec 5 10") }));
        }
        f.clock->advance(5);
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideoCloseButton));
    }

    void clickOnVideo_data()
    {
        QTest::addColumn<QUrl>("video");
        QTest::addColumn<QUrl>("link");
        QTest::addColumn<QUrl>("fallbackLink");
        QTest::addColumn<QVariantMap>("info");
        QTest::addColumn<QUrl>("opened"); // empty: nothing happens
        QTest::addColumn<QVariant>("object");
        const QVariantMap named { { QStringLiteral("VLMAppName"), QStringLiteral("Puzzler") } };
        const QVariantMap unnamed { { QStringLiteral("VLMPriority"), 3 } };
        QTest::newRow("the ad's link and name")
            << kVideo << kLink << kFallbackLink << named << kLink << QVariant(QStringLiteral("Puzzler"));
        QTest::newRow("link equal to the fallback video: fallback link")
            << kVideo << kFallbackVideo << kFallbackLink << named << kFallbackLink
            << QVariant(QStringLiteral("Puzzler"));
        QTest::newRow("info without a name: no object")
            << kVideo << kLink << kFallbackLink << unnamed << kLink << QVariant();
        QTest::newRow("only the fallback link")
            << kVideo << QUrl() << kFallbackLink << named << kFallbackLink << QVariant(QStringLiteral("Puzzler"));
        QTest::newRow("no link at all: ignored") << kVideo << QUrl() << QUrl() << named << QUrl() << QVariant();
        // Without a video of its own the fallback plays, named by the store lookup. Nothing
        // listens at the lookup address, so the name is the lookup's "null".
        QTest::newRow("fallback video: the store lookup's name")
            << QUrl() << QUrl() << kFallbackLink << QVariantMap() << kFallbackLink << QVariant(QStringLiteral("null"));
    }

    void clickOnVideo()
    {
        QFETCH(QUrl, video);
        QFETCH(QUrl, link);
        QFETCH(QUrl, fallbackLink);
        QFETCH(QVariantMap, info);
        QFETCH(QUrl, opened);
        AdsDownloader::sharedInstance()->setVideoURL(video);
        AdsDownloader::sharedInstance()->setLinkVideoURL(link);
        AdsDownloader::sharedInstance()->setVideoInfo(info);
        f.presenter->setDefaultVideoWithURL(kFallbackVideo, fallbackLink);
        // The store lookup runs off the main thread; a click carries its answer once it came.
        if (video.isEmpty())
            QTRY_COMPARE(f.presenter->defaultVideoName(), QStringLiteral("null"));
        RecordingController *c = f.addWindow();
        f.presenter->needForceShowSplashScreens();
        f.clock->advance(6);
        const qint64 state = f.presenter->stateSplashScreen();
        const QStringList before = f.posts();
        c->output->didClickOnVideo();
        QCOMPARE(f.presenter->stateSplashScreen(), state);
        if (opened.isEmpty()) {
            QVERIFY(m_opened.isEmpty());
            QCOMPARE(f.posts(), before);
            return;
        }
        QCOMPARE(m_opened, QList<QUrl> { opened });
        QCOMPARE(f.posts().last(), name(VLMclickForVideo));
        QTEST(f.postedObjects.last(), "object");
    }

    void removeAdsClickOnlyPosts()
    {
        RecordingController *c = f.addWindow();
        f.presenter->needForceShowSplashScreens();
        const QStringList calls = c->calls;
        c->output->didClickRemoveAds();
        QCOMPARE(f.posts().last(), name(VLMtryRemoveAds));
        QCOMPARE(c->calls, calls);
        QVERIFY(f.presenter->isShow());
    }

    void firstStartDelayRunsFromTheFirstWindow()
    {
        f.presenter->setDelayForFirstStart(30);
        f.addWindow();
        f.clock->advance(20);
        f.addWindow(false); // does not restart the delay
        f.clock->advance(10);
        QVERIFY(f.presenter->isAdsReady());

        f.presenter->refreshWaitAgain();
        f.presenter->removeAllSplashScreens();
        f.clock->advance(120);
        QVERIFY(f.presenter->isAdsReady()); // removing all stops no timer
        f.presenter->setWaitTime(1000);
        f.presenter->refreshWaitAgain();
        f.addWindow(); // but a running waiting period goes on
        f.clock->advance(30);
        QVERIFY(!f.presenter->isAdsReady());
        f.clock->advance(970);
        QVERIFY(f.presenter->isAdsReady());
    }

    // Hosts and the facade keep the scaling under this spelling; a new controller must get it.
    void imageScalingTravelsUnderTheSharedKey()
    {
        f.presenter->setSplashScreenOption(QStringLiteral("backgoundImageScaling"), 3u);
        RecordingController *c = f.addWindow();
        QCOMPARE(c->backgroundImageScaling, 3u);
    }

    void keyWindowChange_data()
    {
        QTest::addColumn<bool>("registered");
        QTest::addColumn<bool>("resignFirst");
        QTest::newRow("to a registered window, Qt's order: the new one activates first") << true << false;
        QTest::newRow("to a registered window, resigning first in the same turn") << true << true;
        QTest::newRow("to a window without a splash screen and back") << false << false;
    }

    void keyWindowChange()
    {
        QFETCH(bool, registered);
        QFETCH(bool, resignFirst);
        QWidget *a = f.newWindow();
        QWidget *b = f.newWindow();
        makeKey(a);
        QVERIFY(f.presenter->addSplashScreenForWindow(a, false));
        if (registered)
            QVERIFY(f.presenter->addSplashScreenForWindow(b, false));
        QVERIFY(f.presenter->isFocus());
        QCOMPARE(f.presenter->activeSplashScreenController(), f.controllers[0]);
        f.presenter->needForceShowSplashScreens();
        f.clock->advance(1.5);

        if (resignFirst) {
            QApplication::setActiveWindow(nullptr);
            QVERIFY(!f.presenter->isFocus());
        }
        makeKey(b);
        // Moving between the host's registered windows goes on; leaving them pauses.
        QCOMPARE(f.presenter->isFocus(), registered);
        QCOMPARE(f.presenter->needsResumeSplashScreen(), !registered);
        QCOMPARE(f.presenter->activeSplashScreenController(), registered ? f.controllers[1] : nullptr);
        QCOMPARE(f.controllers[0]->calls.contains(QStringLiteral("pauseShowVideo")), !registered);
        f.clock->advance(registered ? 1.0 : 100.0);
        QCOMPARE(f.presenter->passedTime(), qint64(registered ? 2 : 1));
        if (registered)
            return;
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateStart));

        // Coming back resumes with the half second the pause kept.
        makeKey(a);
        QVERIFY(f.presenter->isFocus());
        QVERIFY(!f.presenter->needsResumeSplashScreen());
        f.clock->advance(0.51);
        QCOMPARE(f.presenter->passedTime(), qint64(2));
    }

    // Without a factory the presenter makes the framework's own splash screens and is
    // their output: their buttons reach it.
    void defaultControllersAreTheFrameworksSplashScreens()
    {
        SplashScreenPresenter presenter;
        QWidget *a = f.newWindow();
        QWidget *b = f.newWindow();
        makeKey(a);
        QVERIFY(presenter.addSplashScreenForWindow(a, false));
        QVERIFY(presenter.addSplashScreenForWindow(b, true));
        auto *first = dynamic_cast<SplashScreenController *>(presenter.SSControllers().value(0));
        auto *second = dynamic_cast<SplashScreenController *>(presenter.SSControllers().value(1));
        QVERIFY(first && second);
        QCOMPARE(first->window(), a);

        presenter.needForceShowSplashScreens();
        QVERIFY(presenter.isShow());
        second->soundButton()->click();
        QCOMPARE(first->isMuted(), second->soundButton()->isChecked());
        QCOMPARE(presenter.isMuted(), second->soundButton()->isChecked());
        first->closeButton()->click();
        QVERIFY(!presenter.isShow());
        QCOMPARE(presenter.stateSplashScreen(), qint64(P::SplashScreenStateClosed));
    }

private:
    // Makes `window` key the way a click would, then lets the deferred focus steps run.
    void makeKey(QWidget *window)
    {
        PresenterFixture::activate(window);
        PresenterFixture::turnMainLoop();
        QCOMPARE(QApplication::activeWindow(), window);
    }

    PresenterFixture f;
    QList<QUrl> m_opened;
};

VELMORA_TEST_MAIN(PresenterTest)
#include "tst_presenter.moc"
