// What careless hosts do to the framework: windows deleted in every phase, removeAdsNow from
// many threads at once, ads reset and windows registered again, hundreds of shows and closes,
// and quitting in the middle of the video. Real widgets offscreen, a real clip, virtual time.

#include "ChildRun.h"
#include "ManyThreads.h"
#include "TestEnvironment.h"
#include "splash/VideoFrameView.h"

#include "support/ManualClock.h"

#include <velmora/Velmora.h>

#include <QMainWindow>
#include <QPointer>

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

using namespace velmora;
using velmora::test::TestEnvironment;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers' allocators hold freed memory back (quarantine, shadow): resident memory says
// nothing there, and LeakSanitizer judges leaks instead.
constexpr bool kResidentMemoryTells = false;
#else
constexpr bool kResidentMemoryTells = true;
#endif
constexpr double kLoadTime = 1.0;

// No first-start delay, a short start screen and the short clip as the host's own video.
void configure()
{
    Velmora::setSplashScreenDelay(0);
    Velmora::setSplashScreenLoadTime(qint64(kLoadTime));
    Velmora::setDefaultVideoWithURL(TestEnvironment::mediaUrl(QStringLiteral("test-video-short.mp4")),
                                    QUrl(QStringLiteral("https://apps.velmora.example/app/id1")));
}

std::unique_ptr<QWidget> hostWindow(bool mainWindow)
{
    std::unique_ptr<QWidget> window(mainWindow ? new QMainWindow : new QWidget);
    if (auto *main = qobject_cast<QMainWindow *>(window.get()))
        main->setCentralWidget(new QWidget);
    window->resize(800, 500);
    window->show();
    window->activateWindow();
    QApplication::setActiveWindow(window.get());
    return window;
}

// Framework widgets that a person could see in the window.
int visibleFrameworkViews(QWidget *window)
{
    const auto children = window->findChildren<QWidget *>();
    return int(std::count_if(children.cbegin(), children.cend(), [](const QWidget *child) {
        return QByteArray(child->metaObject()->className()).startsWith("velmora::") && child->isVisible();
    }));
}

// Resident memory once the allocator has handed back what it keeps free: a leak shows, a
// freed block held for reuse does not.
double rssMB()
{
    malloc_trim(0);
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return -1;
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

// The child: a host that shows the video and quits while it plays, on the real clock.
int quitMidVideo(const QString &how)
{
    auto window = hostWindow(true);
    configure();
    Velmora::addSplashScreenToWindow(window.get());
    Velmora::addBannerForWindow(window.get());
    QObject::connect(NotificationCenter::defaultCenter(), &NotificationCenter::notificationPosted, qApp,
                     [how](const QString &name, const QVariant &) {
                         if (name != QLatin1String(VLMadsVideoDidStart))
                             return;
                         QTimer::singleShot(300, qApp, [how] {
                             if (how == QLatin1String("exit"))
                                 std::exit(0); // no unwinding: static destructors only
                             QApplication::quit();
                         });
                     });
    QTimer::singleShot(0, qApp, [] { Velmora::forceShow(); });
    QTimer::singleShot(20000, qApp, [] { QApplication::exit(3); }); // the video never started
    return QApplication::exec();
}

} // namespace

class HostMisuseTest : public QObject {
    Q_OBJECT

    ManualClock m_clock;

    SplashScreenPresenter *presenter() const { return Velmora::SSPresenter(); }

    void advance(double seconds)
    {
        for (double left = seconds; left > 0; left -= 0.25) {
            m_clock.advance(qMin(0.25, left));
            QCoreApplication::processEvents();
        }
    }

    qint64 state() const { return presenter()->stateSplashScreen(); }

    void closeAndWait()
    {
        if (presenter()->isShow())
            presenter()->didClickClose();
        advance(60.0);
    }

    // Runs the registered windows' sequence into the video, which `window` must show, then
    // closes it and lets `window` go.
    void showsTheVideo(QWidget *window)
    {
        QVERIFY(driveTo(QStringLiteral("video")));
        QTRY_VERIFY(visibleFrameworkViews(window) > 0);
        QVERIFY(presenter()->splashScreenControllerWithWindow(window));
        closeAndWait();
        Velmora::removeSplashScreenFromWindow(window);
    }

    // Runs the splash sequence of the registered windows up to a phase. The state, not the
    // show flags: a close in the video leaves the video flag set until a video ends.
    bool driveTo(const QString &phase)
    {
        if (phase == QLatin1String("registered"))
            return !presenter()->isShow();
        Velmora::forceShow();
        advance(0.5);
        if (phase == QLatin1String("start screen"))
            return presenter()->isShow() && state() == SplashScreenPresenter::SplashScreenStateStart;
        advance(kLoadTime);
        if (phase == QLatin1String("video"))
            return state() == SplashScreenPresenter::SplashScreenStateVideo;
        for (int second = 0; second < 120 && state() != SplashScreenPresenter::SplashScreenStateEnd; ++second) {
            advance(1.0);
            QTest::qWait(100); // the clip plays in real time in its helper, the timers in virtual time
        }
        if (phase == QLatin1String("end screen"))
            return state() == SplashScreenPresenter::SplashScreenStateEnd;
        presenter()->didClickClose();
        advance(0.5);
        return !presenter()->isShow();
    }

private Q_SLOTS:
    void initTestCase()
    {
        Clock::install(&m_clock);
        if (qEnvironmentVariableIsSet("VELMORA_DEBUG"))
            Velmora::activateDebugMode();
        configure();
    }

    void cleanupTestCase() { Clock::install(nullptr); }

    // A close leaves the sequence's video timers running; they run out here, not in the
    // next test's sequence.
    void cleanup() { closeAndWait(); }

    // The host deletes a registered window (with its banner) in each phase; the survivor
    // goes on showing, and nothing is left pointing at the dead one.
    void windowDeletedInEveryPhase_data()
    {
        QTest::addColumn<bool>("mainWindow");
        QTest::addColumn<QString>("phase");
        for (const bool main : { true, false }) {
            for (const char *phase : { "registered", "start screen", "video", "end screen", "closed" }) {
                QTest::addRow("%s, %s", main ? "main window" : "plain window", phase) << main << QString(phase);
            }
        }
    }

    void windowDeletedInEveryPhase()
    {
        QFETCH(bool, mainWindow);
        QFETCH(QString, phase);
        auto survivor = hostWindow(!mainWindow);
        auto doomed = hostWindow(mainWindow);
        QVERIFY(Velmora::addSplashScreenToWindow(doomed.get()));
        QVERIFY(Velmora::addSplashScreenToWindow(survivor.get()));
        Velmora::addBannerForWindow(doomed.get());
        Velmora::addBannerForWindow(survivor.get());
        const int banners = Velmora::BControllers().size();
        QVERIFY(driveTo(phase));

        doomed.reset();
        QCOMPARE(Velmora::BControllers().size(), banners - 1);
        advance(20); // banner swaps, ring ticks, the video timer: all with one window gone
        closeAndWait();
        QApplication::setActiveWindow(survivor.get());
        showsTheVideo(survivor.get());
    }

    // removeAdsNow from several threads released together, then ads back on and the
    // windows registered again, a few times over.
    void removeAdsFromManyThreadsThenReset()
    {
        for (int round = 0; round < 3 && !QTest::currentTestFailed(); ++round) {
            auto window = hostWindow(true);
            QVERIFY(Velmora::addSplashScreenToWindow(window.get()));
            Velmora::addBannerForWindow(window.get());
            QVERIFY(driveTo(QStringLiteral("video")));

            test::fromManyThreads(8, [](int) { Velmora::removeAdsNow(); });
            QTRY_VERIFY(Velmora::isADSRemoved());
            advance(1.0);
            QTRY_COMPARE(visibleFrameworkViews(window.get()), 0);
            QVERIFY(!presenter()->isShow());
            QVERIFY(!Velmora::addSplashScreenToWindow(window.get()));

            Velmora::resetAds();
            QVERIFY(Velmora::addSplashScreenToWindow(window.get()));
            showsTheVideo(window.get());
        }
    }

    // Many shows and closes, each into the video: memory must level off. A widget tree, a
    // player or a video widget's buffer kept per cycle adds megabytes over these cycles.
    // Resident memory wanders 10 MB up and down from one cycle to the next (media threads,
    // allocator arenas) around a level that 1,000 cycles do not raise, so the first and the
    // last samples are compared by their medians.
    void showCloseCyclesKeepMemoryFlat()
    {
        const int cycles = qEnvironmentVariableIntValue("VELMORA_MISUSE_CYCLES") > 0
            ? qEnvironmentVariableIntValue("VELMORA_MISUSE_CYCLES")
            : 150;
        constexpr int kWarmUp = 20;
        constexpr int kSampleEvery = 10;
        constexpr qsizetype kSamplesCompared = 5;
        constexpr double kSlackMB = 8.0;
        auto window = hostWindow(true);
        QVERIFY(Velmora::addSplashScreenToWindow(window.get()));
        QList<double> samples;
        for (int cycle = 0; cycle < kWarmUp + cycles; ++cycle) {
            if (cycle >= kWarmUp && (cycle - kWarmUp) % kSampleEvery == 0)
                samples << rssMB();
            QVERIFY2(driveTo(QStringLiteral("video")), qPrintable(QStringLiteral("cycle %1").arg(cycle)));
            QTest::qWait(5); // the helper hears of the video
            presenter()->didClickClose();
            advance(30.0);
        }
        QTest::qWait(200);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        samples << rssMB();
        QCOMPARE(window->findChildren<velmora::VideoFrameView *>().size(), 1);
        QVERIFY(samples.size() >= 2 * kSamplesCompared);
        const double first = median(samples.first(kSamplesCompared));
        const double last = median(samples.last(kSamplesCompared));
        qInfo("rss after %d warm-up cycles %.1f MB, after %d more %.1f MB (medians of %lld samples; growth %.1f MB, "
              "allowed %.1f)",
              kWarmUp, first, cycles, last, static_cast<long long>(kSamplesCompared), last - first, kSlackMB);
        if (kResidentMemoryTells)
            QVERIFY2(last - first < kSlackMB, "memory grows with every show");
        Velmora::removeSplashScreenFromWindow(window.get());
    }

    void quitInTheMiddleOfTheVideo_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("event loop ends, main returns") << QStringLiteral("quit");
        QTest::newRow("exit() from a timer") << QStringLiteral("exit");
    }

    void quitInTheMiddleOfTheVideo()
    {
        QFETCH(QString, how);
        const test::ChildResult child = test::runChild({ { "VELMORA_MISUSE_CHILD", how } });
        QVERIFY2(child.ok(), child.err.right(4000).constData());
    }
};

VELMORA_TEST_MAIN_WITH_CHILD(HostMisuseTest, "VELMORA_MISUSE_CHILD",
                             quitMidVideo(qEnvironmentVariable("VELMORA_MISUSE_CHILD")))

#include "tst_hostmisuse.moc"
