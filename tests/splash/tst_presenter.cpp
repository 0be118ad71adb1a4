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

// Stands in for a window's splash screen: records the calls of the presenter's sequence.
class RecordingController final : public SplashScreenControllerProtocolInput {
public:
    explicit RecordingController(QWidget *window)
        : m_window(window)
    {
    }

    QStringList calls;
    // Texts change every second; kept apart from the calls so that those stay readable.
    QStringList timerTexts;
    QStringList videoTimerTexts;
    SplashScreenControllerProtocolOutput *output = nullptr;
    QString lastTimerText() const { return timerTexts.value(timerTexts.size() - 1); }
    QString lastVideoTimerText() const { return videoTimerTexts.value(videoTimerTexts.size() - 1); }

    QWidget *window() const override { return m_window; }
    void setOutput(SplashScreenControllerProtocolOutput *o) override { output = o; }
    void showStartScreen() override { calls << QStringLiteral("showStartScreen"); }
    void showStartVideoWithoutStartScreen() override { calls << QStringLiteral("showStartVideoWithoutStartScreen"); }
    void showVideo() override { calls << QStringLiteral("showVideo"); }
    void showEndScreen() override { calls << QStringLiteral("showEndScreen"); }
    void hide() override { calls << QStringLiteral("hide"); }
    void removeFromWindow() override { calls << QStringLiteral("removeFromWindow"); }
    void pauseShowVideo() override { calls << QStringLiteral("pauseShowVideo"); }
    void continueShowVideo() override { calls << QStringLiteral("continueShowVideo"); }
    void pauseShow() override { calls << QStringLiteral("pauseShow"); }
    void continueShow() override { calls << QStringLiteral("continueShow"); }
    void setVideoUrl(const QUrl &url) override { record("setVideoUrl", url.toString()); }
    void setInterstitialUrl(const QUrl &url) override { record("setInterstitialUrl", url.toString()); }
    void startTimerViewFromSec(int from, int end) override { record("startTimerViewFromSec", from, end); }
    void startVideoTimerViewFromSec(int from, int end) override { record("startVideoTimerViewFromSec", from, end); }
    void setTimerText(const QString &text) override { timerTexts << text; }
    void setVideoTimerText(const QString &text) override { videoTimerTexts << text; }
    // The presenter reads none of these back. What it passes on of muting and appearance is
    // checked on the framework's own controllers (defaultControllersAreTheFrameworksSplashScreens,
    // and the facade's tests).
    QUrl videoUrl() const override { return {}; }
    QUrl interstitialUrl() const override { return {}; }
    void setMuted(bool) override { }
    bool isMuted() const override { return false; }
    void setFocus(bool) override { }
    bool isFocus() const override { return false; }
    void setTopInset(double) override { }
    void setBackgroundColor(const QColor &) override { }
    void setBackgroundImage(const QImage &) override { }
    void setBackgroundImageScaling(unsigned int) override { }
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

private:
    // A call with its arguments, as in "startTimerViewFromSec 0 10".
    void record(const char *call, const QString &args) { calls << QString::fromLatin1(call) + QLatin1Char(' ') + args; }
    void record(const char *call, int from, int end) { record(call, QStringLiteral("%1 %2").arg(from).arg(end)); }

    QPointer<QWidget> m_window;
};

// One presenter per test on virtual time, with recording controllers on real (offscreen)
// top-level windows, and the name and object of every notification posted.
class PresenterFixture {
public:
    void setUp()
    {
        clock = std::make_unique<ManualClock>();
        Clock::install(clock.get());
        Switches::setADSRemoved(false);
        Switches::setARCToWindows(false);
        download(QUrl());
        presenter = std::make_unique<SplashScreenPresenter>([this](QWidget *window, bool) {
            auto controller = std::make_unique<RecordingController>(window);
            controllers << controller.get();
            return controller;
        });
        notifications = QObject::connect(NotificationCenter::defaultCenter(), &NotificationCenter::notificationPosted,
                                         [this](const QString &name, const QVariant &object) {
                                             posted << name;
                                             postedObjects << object;
                                         });
    }

    void tearDown()
    {
        QObject::disconnect(notifications);
        presenter.reset();
        windows.clear();
        controllers.clear();
        posted.clear();
        postedObjects.clear();
        Switches::setADSRemoved(false);
        Switches::setARCToWindows(false);
        Clock::install(nullptr);
        clock.reset();
    }

    // What the downloader holds for the next video phase.
    static void download(const QUrl &video, const QUrl &interstitial = QUrl(), const QUrl &link = QUrl(),
                         const QVariantMap &info = QVariantMap())
    {
        AdsDownloader *downloader = AdsDownloader::sharedInstance();
        downloader->setVideoURL(video);
        downloader->setInterstitialVideoURL(interstitial);
        downloader->setLinkVideoURL(link);
        downloader->setVideoInfo(info);
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

    // Makes `window` key the way a click would, then lets the deferred focus steps run.
    static void makeKey(QWidget *window)
    {
        activate(window);
        turnMainLoop();
        QCOMPARE(QApplication::activeWindow(), window);
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

    // Registers a new key window and forces a showing on it.
    RecordingController *showOnNewWindow()
    {
        RecordingController *controller = addWindow();
        presenter->needForceShowSplashScreens();
        return controller;
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
    QStringList posted;
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
        f.download(kVideo);
        f.presenter->setLoadTime(loadTime);
        f.presenter->setWithoutSplash(withoutSplash);
        RecordingController *c = f.showOnNewWindow();
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
        f.download(kVideo, kInterstitial);
        RecordingController *c = f.showOnNewWindow();
        f.clock->advance(endAt);
        c->output->didVideoEnded();
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateEnd));
        QVERIFY(f.presenter->isShowEnd());
        QVERIFY(!f.presenter->isShowVideo());
        QCOMPARE(f.posted.last(), name(VLMadsVideoDidStop));
        QTEST(int(c->calls.count(QStringLiteral("showEndScreen"))), "endScreensAtEnd");

        f.clock->advance(std::max(0.0, 10.0 - endAt) + 0.5);
        QTEST(f.presenter->stateSplashScreen(), "stateAfterTen");
        QVERIFY(c->calls.contains(QStringLiteral("setInterstitialUrl ") + kInterstitial.toString()));
        QVERIFY(c->calls.contains(QStringLiteral("showEndScreen")));
    }

    void pauseAndResume_data()
    {
        QTest::addColumn<double>("pauseAt");
        QTest::addColumn<bool>("adsRemoved"); // while paused: nothing resumes
        // Seconds after the resume; the video's is negative when it already plays.
        QTest::addColumn<double>("firstTick");
        QTest::addColumn<double>("video");
        QTest::addColumn<double>("closeButton");
        QTest::newRow("2.4 s into the start screen") << 2.4 << false << 0.6 << 2.6 << 7.6;
        QTest::newRow("2.3 s into the video") << 7.3 << false << 0.7 << -1.0 << 2.7;
        QTest::newRow("on a whole second") << 3.0 << false << 0.0 << 2.0 << 7.0;
        QTest::newRow("ads removed during the pause") << 1.5 << true << 0.0 << 0.0 << 0.0;
    }

    void pauseAndResume()
    {
        QFETCH(double, pauseAt);
        QFETCH(bool, adsRemoved);
        QFETCH(double, firstTick);
        QFETCH(double, video);
        QFETCH(double, closeButton);
        RecordingController *c = f.showOnNewWindow();
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

        Switches::setADSRemoved(adsRemoved);
        f.presenter->resumeSplashScreen();
        QVERIFY(!f.presenter->needsResumeSplashScreen());
        if (adsRemoved) {
            f.clock->advance(60);
            QCOMPARE(f.presenter->passedTime(), passed);
            QCOMPARE(f.presenter->stateSplashScreen(), state);
            return;
        }
        // Each step is checked just before and just after its moment.
        const double eps = 0.001;
        double now = 0;
        const auto at = [&](double seconds) {
            f.clock->advance(seconds - now);
            now = seconds;
        };
        if (firstTick > eps) {
            at(firstTick - eps);
            QCOMPARE(f.presenter->passedTime(), passed);
        }
        at(firstTick + eps);
        QCOMPARE(f.presenter->passedTime(), passed + 1);
        at(firstTick + 1 + eps);
        QCOMPARE(f.presenter->passedTime(), passed + 2);
        if (video > 0) {
            at(video - eps);
            QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateStart));
            at(video + eps);
            QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideo));
        }
        at(closeButton - eps);
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideo));
        at(closeButton + eps);
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideoCloseButton));
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

    // A soft show waits for the first-start delay and, without a key window, for an activation.
    void softShow_data()
    {
        QTest::addColumn<qint64>("delay");
        QTest::addColumn<bool>("key");
        QTest::addColumn<double>("showAt");
        QTest::addColumn<bool>("shown");
        QTest::addColumn<bool>("kept"); // for the next activation
        QTest::newRow("before the first-start delay: refused") << qint64(30) << true << 29.9 << false << false;
        QTest::newRow("after the first-start delay") << qint64(30) << true << 30.0 << true << false;
        QTest::newRow("without a key window: kept") << qint64(0) << false << 1.0 << false << true;
    }

    void softShow()
    {
        QFETCH(qint64, delay);
        QFETCH(bool, key);
        QFETCH(double, showAt);
        QFETCH(bool, shown);
        QFETCH(bool, kept);
        f.presenter->setDelayForFirstStart(delay);
        f.addWindow(key);
        f.clock->advance(showAt);
        f.presenter->showSplashScreens();
        QCOMPARE(f.presenter->isShow(), shown);
        QCOMPARE(f.presenter->isNeedShow(), kept);
        QCOMPARE(f.posted.contains(name(VLMsplashScreenWillShow)), shown);
        // A showing uses the readiness up; a refused or kept one leaves it as it was.
        QCOMPARE(f.presenter->isAdsReady(), !shown && showAt >= double(delay));
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
        f.download(kVideo, kInterstitial);
        f.presenter->setLoadTime(8);
        RecordingController *first = f.showOnNewWindow();
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
        f.download(downloaded);
        f.presenter->setDefaultVideoWithURL(fallback, kFallbackLink);
        RecordingController *c = f.showOnNewWindow();
        f.clock->advance(5);
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateVideo));
        QCOMPARE(f.posted.last(), name(VLMadsVideoDidStart));
        const QStringList sinceStart = c->calls.mid(c->calls.lastIndexOf(QStringLiteral("pauseShow")));
        if (played.isEmpty()) {
            QVERIFY(!c->calls.contains(QStringLiteral("showVideo")));
            QVERIFY(sinceStart.contains(QStringLiteral("startTimerViewFromSec 5 10")));
        } else {
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
        f.download(video, QUrl(), link, info);
        f.presenter->setDefaultVideoWithURL(kFallbackVideo, fallbackLink);
        // The store lookup runs off the main thread; a click carries its answer once it came.
        if (video.isEmpty())
            QTRY_COMPARE(f.presenter->defaultVideoName(), QStringLiteral("null"));
        RecordingController *c = f.showOnNewWindow();
        f.clock->advance(6);
        const qint64 state = f.presenter->stateSplashScreen();
        const QStringList before = f.posted;
        c->output->didClickOnVideo();
        QCOMPARE(f.presenter->stateSplashScreen(), state);
        if (opened.isEmpty()) {
            QVERIFY(m_opened.isEmpty());
            QCOMPARE(f.posted, before);
            return;
        }
        QCOMPARE(m_opened, QList<QUrl> { opened });
        QCOMPARE(f.posted.last(), name(VLMclickForVideo));
        QTEST(f.postedObjects.last(), "object");
    }

    // The delay runs from the first registration; removing every window stops no timer.
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
        QVERIFY(f.presenter->isAdsReady());
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
        f.makeKey(a);
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
        f.makeKey(b);
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
        f.makeKey(a);
        QVERIFY(f.presenter->isFocus());
        QVERIFY(!f.presenter->needsResumeSplashScreen());
        f.clock->advance(0.51);
        QCOMPARE(f.presenter->passedTime(), qint64(2));
    }

    // Without a factory the presenter makes the framework's own splash screens and is
    // their output: their buttons reach it. The options reach them under the keys that
    // hosts and the facade use, the scaling's spelt so.
    void defaultControllersAreTheFrameworksSplashScreens()
    {
        SplashScreenPresenter presenter;
        presenter.setSplashScreenOption(QStringLiteral("backgoundImageScaling"), 3u);
        QWidget *a = f.newWindow();
        QWidget *b = f.newWindow();
        f.makeKey(a);
        QVERIFY(presenter.addSplashScreenForWindow(a, false));
        QVERIFY(presenter.addSplashScreenForWindow(b, true));
        auto *first = dynamic_cast<SplashScreenController *>(presenter.SSControllers().value(0));
        auto *second = dynamic_cast<SplashScreenController *>(presenter.SSControllers().value(1));
        QVERIFY(first && second);
        QCOMPARE(first->window(), a);
        QCOMPARE(second->backgroundImageScaling(), 3u);

        presenter.needForceShowSplashScreens();
        QVERIFY(presenter.isShow());
        second->soundButton()->click();
        QCOMPARE(first->isMuted(), second->soundButton()->isChecked());
        QCOMPARE(presenter.isMuted(), second->soundButton()->isChecked());
        // Remove ads only asks the host; the showing goes on.
        first->removeAdsButton()->click();
        QCOMPARE(f.posted.last(), name(VLMtryRemoveAds));
        QVERIFY(presenter.isShow());
        QCOMPARE(presenter.stateSplashScreen(), qint64(P::SplashScreenStateStart));
        first->closeButton()->click();
        QVERIFY(!presenter.isShow());
        QCOMPARE(presenter.stateSplashScreen(), qint64(P::SplashScreenStateClosed));
    }

private:
    PresenterFixture f;
    QList<QUrl> m_opened;
};

VELMORA_TEST_MAIN(PresenterTest)
#include "tst_presenter.moc"
