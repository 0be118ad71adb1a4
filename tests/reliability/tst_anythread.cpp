// Calls that the framework accepts from any thread: the host's, and its own completion
// handlers'. Made from several threads released together, each must land on the main thread
// and do there what the same call made there does. Under ThreadSanitizer
// (VELMORA_PRESET=tsan) these are the hand-overs it watches.

#include "TestEnvironment.h"

#include "AdServerProcess.h"
#include "ManyThreads.h"
#include "content/AdsDownloader.h"
#include "content/AdsEventLogger.h"
#include "content/AdsMacHelper.h"
#include "controls/BannerImageView.h"
#include "controls/ColoredView.h"
#include "splash/ControllerSteps.h"
#include "splash/SplashScreenController.h"

#include <velmora/BannerController.h>
#include <velmora/Bundle.h>
#include <velmora/NotificationCenter.h>
#include <velmora/Velmora.h>

#include <QMainWindow>
#include <QNetworkAccessManager>
#include <QSignalSpy>

#include <memory>

using namespace velmora;
using velmora::test::AdServerProcess;
using velmora::test::TestEnvironment;

namespace {

constexpr int kThreads = 8;

std::unique_ptr<QMainWindow> hostWindow()
{
    auto window = std::make_unique<QMainWindow>();
    window->setCentralWidget(new QWidget);
    window->resize(800, 500);
    window->show();
    return window;
}

// Which named parts of a splash screen are shown.
QStringList shownParts(const SplashScreenController &controller)
{
    QStringList shown;
    if (!controller.view()->isHidden())
        shown << QStringLiteral("root");
    const auto parts = controller.view()->findChildren<QWidget *>();
    for (const QWidget *part : parts) {
        if (!part->objectName().isEmpty() && !SplashScreenController::isElementHidden(part))
            shown << part->objectName();
    }
    shown.sort();
    return shown;
}

} // namespace

class AnyThreadTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(m_server.start(TestEnvironment::sourcePath(QStringLiteral("examples/sample-ads"))),
                 qPrintable(m_server.errorString()));
        qputenv("VELMORA_AD_SERVER_URL", m_server.baseUrl().toString().toUtf8());
        Bundle::setMainAppBundlePath(TestEnvironment::sourcePath(QStringLiteral("tests/data")));
        // The sandbox's default route says nothing about loopback.
        AdsMacHelper::setInternetProbe([] { return true; });
    }

    // First: a host whose first call comes from a worker. Everything the call makes lives on
    // the main thread, and the ad table asked for from there is served.
    void frameworkMadeFromAWorkerLivesOnTheMainThread()
    {
        SplashScreenPresenter *presenter = nullptr;
        QScopedPointer<QThread> worker(QThread::create([&presenter] {
            presenter = Velmora::SSPresenter();
            AdsDownloader::sharedInstance()->startUpdateAllAds();
        }));
        worker->start();
        QVERIFY(worker->wait(10000));
        AdsDownloader *downloader = AdsDownloader::sharedInstance();
        const auto *network = downloader->findChild<QNetworkAccessManager *>();
        QVERIFY(network);
        for (const QObject *made :
             { static_cast<const QObject *>(presenter), static_cast<const QObject *>(downloader),
               static_cast<const QObject *>(network), static_cast<const QObject *>(AdsEventLogger::sharedInstance()),
               static_cast<const QObject *>(NotificationCenter::defaultCenter()) })
            QCOMPARE(made->thread(), QThread::currentThread());
        QTRY_VERIFY_WITH_TIMEOUT(downloader->isUpdateAdsCurrentSession(), 20000);
        QVERIFY(downloader->replyJSON().has_value());
        QCOMPARE(requestedPaths(QStringLiteral("POST")), QStringList { QStringLiteral("/api/v1/banners") });
    }

    // Tracking URLs from many threads all reach the server while they all start the update
    // cycle.
    void contentCallsFromManyThreads()
    {
        AdsDownloader *downloader = AdsDownloader::sharedInstance();
        AdsEventLogger *logger = AdsEventLogger::sharedInstance();
        constexpr int kEventsEach = 4;
        test::fromManyThreads(kThreads, [&](int thread) {
            downloader->startUpdateAllAds();
            for (int i = 0; i < kEventsEach; ++i)
                logger->logEventWithURL(m_server.url(QStringLiteral("/event/t%1-%2").arg(thread).arg(i)));
        });

        QSet<QString> expected;
        for (int thread = 0; thread < kThreads; ++thread) {
            for (int i = 0; i < kEventsEach; ++i)
                expected << QStringLiteral("/event/t%1-%2").arg(thread).arg(i);
        }
        const auto eventsArrived = [&] {
            const QStringList gets = requestedPaths(QStringLiteral("GET"));
            return QSet<QString>(gets.cbegin(), gets.cend()).intersect(expected);
        };
        QTRY_COMPARE_WITH_TIMEOUT(eventsArrived(), expected, 20000);
        QVERIFY(logger->eventStack().isEmpty());
    }

    // A worker driving a splash screen through its phases leaves it as the main thread would.
    void splashScreenStepsFromAWorker_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::newRow("start screen") << QStringList { QStringLiteral("start") };
        QTest::newRow("video") << QStringList { QStringLiteral("start"), QStringLiteral("video") };
        QTest::newRow("end screen") << QStringList { QStringLiteral("start"), QStringLiteral("video"),
                                                     QStringLiteral("end") };
        QTest::newRow("video without start screen") << QStringList { QStringLiteral("startWithoutSplash") };
    }

    void splashScreenStepsFromAWorker()
    {
        QFETCH(QStringList, steps);
        auto mainWindow = hostWindow();
        auto workerWindow = hostWindow();
        auto onMain = SplashScreenController::initSplashScreenWithWindow(mainWindow.get(), false);
        auto fromWorker = SplashScreenController::initSplashScreenWithWindow(workerWindow.get(), false);
        QVERIFY(onMain && fromWorker);
        onMain->setVideoUrl(TestEnvironment::mediaUrl(QStringLiteral("test-video-short.mp4")));
        fromWorker->setVideoUrl(TestEnvironment::mediaUrl(QStringLiteral("test-video-short.mp4")));

        for (const QString &step : steps)
            QVERIFY(test::runControllerStep(*onMain, step));
        // Every thread posts the whole sequence: eight copies of each step, in order per thread.
        test::fromManyThreads(kThreads, [&](int) {
            for (const QString &step : steps)
                test::runControllerStep(*fromWorker, step);
        });
        QTRY_VERIFY(!onMain->isFading());
        QTRY_COMPARE(shownParts(*fromWorker), shownParts(*onMain));
        QVERIFY(shownParts(*onMain).contains(QStringLiteral("root")));
    }

    // Swaps and displays asked for from many threads end on the main thread; a picture asked for
    // while an earlier one is still being read takes its place, so at least one shows.
    void bannerSwapsFromManyThreads()
    {
        auto window = hostWindow();
        BannerController *banner = BannerController::addBannerToWindow(window.get());
        QVERIFY(banner);
        QSignalSpy changed(banner, &BannerController::bannerChanged);
        QTest::qWait(500); // the first banner of the window's own cycle
        changed.clear();
        QThread *mainThread = QThread::currentThread();
        QList<QThread *> emittedOn;
        connect(
            banner, &BannerController::bannerChanged, this, [&] { emittedOn << QThread::currentThread(); },
            Qt::DirectConnection);
        test::fromManyThreads(kThreads, [&](int) {
            banner->swapBanners();
            banner->displayBanner();
        });
        QTRY_VERIFY(changed.count() >= 1);
        QTest::qWait(200);
        QVERIFY(banner->bannerImage()->hasImage());
        QVERIFY(!banner->selectBanner().isEmpty());
        QVERIFY(!banner->currentURL().isEmpty());
        QCOMPARE(QSet<QThread *>(emittedOn.cbegin(), emittedOn.cend()), QSet<QThread *> { mainThread });
    }

private:
    // The paths the server was asked for with `method`, oldest first.
    QStringList requestedPaths(const QString &method) const
    {
        QStringList paths;
        for (const QJsonObject &line : m_server.requests(method))
            paths << line.value(QStringLiteral("path")).toString();
        return paths;
    }

    AdServerProcess m_server;
};

VELMORA_TEST_MAIN(AnyThreadTest)
#include "tst_anythread.moc"
