#include "AdServerProcess.h"
#include "GifWriter.h"
#include "TestEnvironment.h"

#include "banners/BannerShadowEffect.h"
#include "content/AdsDownloader.h"
#include "controls/BannerImageView.h"
#include "support/ManualClock.h"
#include "support/StandardNames.h"
#include "support/Switches.h"

#include <velmora/BannerController.h>
#include <velmora/Bundle.h>
#include <velmora/NotificationCenter.h>
#include <velmora/Notifications.h>
#include <velmora/Timer.h>

#include <QAbstractButton>
#include <QDesktopServices>
#include <QDir>
#include <QLabel>
#include <QMainWindow>
#include <QMultiHash>
#include <QRandomGenerator>
#include <QTemporaryDir>

using namespace velmora;
using velmora::test::TestEnvironment;

namespace {

const QString kStoreScheme = QStringLiteral("macappstores");
const QColor kHostBackground(0xf2, 0xf2, 0xf5);

// A shown host window: a main window whose central widget (the host's content) is the banner's
// container, else a plain window that is its own. Null when it never comes on screen.
std::unique_ptr<QWidget> hostWindow(QSize size, bool mainWindow = true)
{
    std::unique_ptr<QWidget> window(mainWindow ? new QMainWindow : new QWidget);
    if (auto *main = qobject_cast<QMainWindow *>(window.get())) {
        auto *content = new QLabel(QStringLiteral("Host application content"));
        content->setAlignment(Qt::AlignCenter);
        content->setAutoFillBackground(true);
        QPalette palette = content->palette();
        palette.setColor(QPalette::Window, kHostBackground);
        content->setPalette(palette);
        main->setCentralWidget(content);
    }
    window->resize(size);
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get()))
        return nullptr;
    return window;
}

} // namespace

class BannerControllerTest : public QObject {
    Q_OBJECT

public Q_SLOTS:
    // Receives the URLs the framework asks the desktop to open.
    void openUrl(const QUrl &url) { m_opened << url; }

private:
    ManualClock m_clock;
    QTemporaryDir m_dir;
    test::AdServerProcess m_server;
    QList<QUrl> m_opened;
    QMultiHash<QString, QVariant> m_posted; // notification name to object
    AdsDownloader *m_downloader = nullptr;

    QString media(const QString &name) const { return m_dir.filePath(QStringLiteral("ads/media/") + name); }

    // A two-frame 728×90 banner picture.
    QString bannerGif()
    {
        const QString path = media(QStringLiteral("downloaded.gif"));
        if (!QFile::exists(path))
            test::writeSolidGif(path, QSize(728, 90), { QColor(0x2a, 0x6f, 0xdb), QColor(0xff, 0xc8, 0x3d) });
        return path;
    }

    // Puts a downloaded banner in place, as a finished download leaves it.
    void setDownloadedBanner(const QUrl &file, const QVariantMap &info, const QUrl &link)
    {
        m_downloader->setBannerURL(file);
        m_downloader->setBannerInfo(info);
        m_downloader->setLinkBannerURL(link);
    }

    // The objects of the notifications named `name` posted during this test.
    QVariantList objectsPosted(const char *name) const { return m_posted.values(QString::fromLatin1(name)); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QDir().mkpath(m_dir.filePath(QStringLiteral("ads/media")));
        QFile manifest(m_dir.filePath(QStringLiteral("ads/manifest.json")));
        QVERIFY(manifest.open(QIODevice::WriteOnly));
        manifest.write(R"({"standard": [], "video": []})");
        manifest.close();
        QVERIFY2(m_server.start(m_dir.filePath(QStringLiteral("ads"))), qPrintable(m_server.errorString()));
        qputenv("VELMORA_AD_SERVER_URL", m_server.baseUrl().toString().toUtf8());

        QVERIFY(TestEnvironment::writeInfoPlist(m_dir.filePath(QStringLiteral("host")),
                                                QStringLiteral("mac.000000.mac-store")));
        Bundle::setMainAppBundlePath(m_dir.filePath(QStringLiteral("host")));
        Clock::install(&m_clock);
        QDesktopServices::setUrlHandler(kStoreScheme, this, "openUrl");
        connect(NotificationCenter::defaultCenter(), &NotificationCenter::notificationPosted, this,
                [this](const QString &name, const QVariant &object) { m_posted.insert(name, object); });

        // The first banner starts the process's one ad-table request; once that cycle has
        // ended, later banners start none and each test drives the cycle itself.
        auto window = hostWindow(QSize(900, 300));
        QVERIFY(window);
        BannerController *banner = BannerController::addBannerToWindow(window.get());
        QSignalSpy firstCycle(banner, &BannerController::bannerChanged);
        QVERIFY(firstCycle.wait(10000));
        m_downloader = AdsDownloader::sharedInstance();
        QVERIFY(m_downloader->isUpdateAdsCurrentSession());
    }

    void cleanupTestCase()
    {
        QDesktopServices::unsetUrlHandler(kStoreScheme);
        Clock::install(nullptr);
    }

    void init()
    {
        // No ad table: a pull keeps whatever banner the test put in place.
        m_downloader->setReplyJSON(std::nullopt);
        setDownloadedBanner(QUrl(), {}, QUrl());
        Bundle::setMainAppBundlePath(m_dir.filePath(QStringLiteral("host")));
        m_opened.clear();
        m_posted.clear();
    }

    // Not before its fifteen seconds: that it swaps again after each is checked swap after swap
    // by houseBannersNeverShowTheHostsOwn.
    void swapsEveryFifteenSecondsOnlyWhileVisible()
    {
        auto window = hostWindow(QSize(1000, 300));
        QVERIFY(window);
        BannerController *banner = BannerController::addBannerToWindow(window.get());
        QSignalSpy changed(banner, &BannerController::bannerChanged);
        // The process's cycle ended before this banner came: the downloader tells it once.
        QTRY_COMPARE(changed.count(), 1);
        m_clock.advance(14.9);
        QCOMPARE(changed.count(), 1);
        m_clock.advance(0.1);
        QTRY_COMPARE(changed.count(), 2);

        // Hidden at the moment of a swap: the chain ends and does not resume on its own.
        window->hide();
        m_clock.advance(15);
        QVERIFY(!banner->bannerSwapTimer());
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        m_clock.advance(60);
        QTest::qWait(20);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(m_clock.pendingTimers(), 0);

        // The next end of a download cycle starts it again.
        m_downloader->downloadBanner();
        QTRY_COMPARE(changed.count(), 3);
        m_clock.advance(15);
        QTRY_COMPARE(changed.count(), 4);

        // Minimised counts as hidden.
        window->setWindowState(Qt::WindowMinimized);
        m_clock.advance(15);
        QTest::qWait(20);
        QCOMPARE(changed.count(), 4);
        QVERIFY(!banner->bannerSwapTimer());
    }

    // House banners are drawn from the table without the host's own row, each with its own
    // store link, and every one comes up in turn.
    void houseBannersNeverShowTheHostsOwn_data()
    {
        QTest::addColumn<int>("ownRow");
        QTest::newRow("host owns no house banner") << -1;
        QTest::newRow("host is the first house app") << 0;
        QTest::newRow("host is the last house app") << 3;
    }

    void houseBannersNeverShowTheHostsOwn()
    {
        QFETCH(int, ownRow);
        const QMap<QString, QString> table = StandardNames::standardBanners();
        const QString own = ownRow < 0 ? QStringLiteral("mac.000000.mac-store") : table.keys().at(ownRow);
        const QString hostFolder = m_dir.filePath(QStringLiteral("host-%1").arg(ownRow + 1));
        QVERIFY(TestEnvironment::writeInfoPlist(hostFolder, own));
        Bundle::setMainAppBundlePath(hostFolder);
        auto window = hostWindow(QSize(1000, 300));
        QVERIFY(window);
        BannerController *banner = BannerController::addBannerToWindow(window.get());
        QRandomGenerator random(4242);
        banner->setRandomGenerator(&random);
        QCOMPARE(banner->standardBanners().size(), ownRow < 0 ? 4 : 3);
        QVERIFY(!banner->standardBanners().contains(own));

        QSignalSpy changed(banner, &BannerController::bannerChanged);
        banner->endDownloadСonfiguration();
        QSet<QString> seen;
        for (int swap = 1; swap <= 40; ++swap) {
            QTRY_COMPARE(changed.count(), swap);
            const QString shown = banner->selectBanner();
            QVERIFY2(shown != own, qPrintable(shown));
            QVERIFY2(table.contains(shown), qPrintable(shown));
            QCOMPARE(banner->currentURL(), QUrl(table.value(shown)));
            QVERIFY(banner->view()->isVisible());
            seen << shown;
            m_clock.advance(15);
        }
        QCOMPARE(seen.size(), int(banner->standardBanners().size()));
    }

    // A downloaded banner shows, and a click opens its link and names it. A path built from a
    // missing file name, a stored error page or a missing file is no banner: a house banner
    // stands in, and a click opens and names that. The close button asks the host to remove
    // the ads; the host's removeADS then fades the banner out and ends its rotation.
    void bannerOpensItsLinkAndClosesOnRequest_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QVariantMap>("info");
        QTest::addColumn<QString>("posted"); // empty: a house banner stands in
        const QString gif = bannerGif();
        const QString errorPage = media(QStringLiteral("error-page.gif"));
        QVERIFY(test::writeErrorPage(errorPage));
        const QVariantMap named { { QStringLiteral("name"), QStringLiteral("Photo Editor") } };
        QTest::newRow("named ad") << gif << named << QStringLiteral("Photo Editor");
        QTest::newRow("ad without a name")
            << gif << QVariantMap { { QStringLiteral("banner_id"), 7 } } << QStringLiteral("Web Banner");
        QTest::newRow("empty name") << gif << QVariantMap { { QStringLiteral("name"), QString() } }
                                    << QStringLiteral("Web Banner");
        QTest::newRow("path from a missing name")
            << m_dir.filePath(QStringLiteral("ads/media/(null)")) << named << QString();
        QTest::newRow("HTML error page stored as media") << errorPage << named << QString();
        QTest::newRow("file that does not exist")
            << media(QStringLiteral("never-downloaded.gif")) << named << QString();
    }

    void bannerOpensItsLinkAndClosesOnRequest()
    {
        QFETCH(QString, file);
        QFETCH(QVariantMap, info);
        QFETCH(QString, posted);
        QUrl link(QStringLiteral("macappstores://apps.velmora.example/app/id1000000042"));
        setDownloadedBanner(QUrl::fromLocalFile(file), info, link);
        auto window = hostWindow(QSize(1000, 300));
        QVERIFY(window);
        BannerController *banner = BannerController::addBannerToWindow(window.get());
        QSignalSpy changed(banner, &BannerController::bannerChanged);
        banner->endDownloadСonfiguration();
        QTRY_COMPARE(changed.count(), 1);
        QVERIFY(banner->view()->isVisible());
        if (posted.isEmpty()) {
            posted = banner->selectBanner();
            QVERIFY2(StandardNames::standardBanners().contains(posted), qPrintable(posted));
            link = QUrl(StandardNames::standardBanners().value(posted));
            QCOMPARE(banner->currentURL(), link);
            QVERIFY(banner->bannerImage()->hasImage());
        } else {
            QCOMPARE(banner->bannerImage()->imageSize(), QSize(728, 90));
            QCOMPARE(banner->bannerInfo(), info);
        }

        QTest::mouseClick(banner->bannerImage(), Qt::LeftButton);
        QVERIFY(banner->closeButton()->isVisible());
        QTest::mouseClick(banner->closeButton(), Qt::LeftButton);
        QCOMPARE(m_opened, QList<QUrl> { link });
        QCOMPARE(objectsPosted(VLMclickForBanner), QVariantList { posted });
        QCOMPARE(objectsPosted(VLMtryRemoveAds), QVariantList { QVariant() });
        QVERIFY(banner->view()->isVisible());

        banner->removeADS();
        QVERIFY(!banner->bannerSwapTimer());
        QVERIFY2(banner->view(), "the view fades before it goes");
        QTRY_VERIFY(!banner->view());
        m_downloader->downloadBanner();
        m_clock.advance(30);
        QTest::qWait(20);
        QCOMPARE(changed.count(), 1);
        banner->setHeight(60);
        banner->setBannerHidden(false);
    }

    // Where the banner sits in its container, also after the host resized the window.
    void placement_data()
    {
        QTest::addColumn<bool>("mainWindow"); // else a plain window is the container
        QTest::addColumn<QSize>("shownAt"); // then resized to `container`; invalid: shown at it
        QTest::addColumn<QSize>("container");
        QTest::addColumn<double>("height");
        QTest::addColumn<double>("bottomInset");
        QTest::addColumn<double>("centerXInset");
        QTest::addColumn<QRectF>("frame");
        const double large = 100.0 * 728 / 90; // 808.9
        const double small = 60.0 * 728 / 90;
        const QSize none;
        QTest::newRow("728x90 at 100 is 808.9 wide, one shadow depth up")
            << true << none << QSize(1000, 600) << 100.0 << 0.0 << 0.0
            << QRectF((1000 - large) / 2, 600 - 4 - 100, large, 100);
        QTest::newRow("bottom inset 10 over a shadow of 4") << true << none << QSize(1000, 600) << 100.0 << 10.0 << 0.0
                                                            << QRectF((1000 - large) / 2, 600 - 14 - 100, large, 100);
        QTest::newRow("small banner") << true << none << QSize(1000, 600) << 60.0 << 0.0 << 0.0
                                      << QRectF((1000 - small) / 2, 600 - 4 - 60, small, 60);
        QTest::newRow("positive centre inset moves right") << true << none << QSize(1000, 600) << 100.0 << 0.0 << 50.0
                                                           << QRectF((1000 - large) / 2 + 50, 496, large, 100);
        QTest::newRow("offset past the trailing edge stops at it")
            << true << none << QSize(1000, 600) << 100.0 << 0.0 << 400.0 << QRectF(1000 - large, 496, large, 100);
        QTest::newRow("container narrower than the banner keeps the trailing edge")
            << true << none << QSize(600, 400) << 100.0 << 0.0 << 0.0 << QRectF(600 - large, 296, large, 100);
        QTest::newRow("main window grown: the central widget is followed")
            << true << QSize(1000, 400) << QSize(1400, 700) << 100.0 << 10.0 << 0.0
            << QRectF((1400 - large) / 2, 700 - 14 - 100, large, 100);
        QTest::newRow("plain window grown") << false << QSize(1000, 400) << QSize(1400, 700) << 100.0 << 10.0 << 0.0
                                            << QRectF((1400 - large) / 2, 700 - 14 - 100, large, 100);
        QTest::newRow("plain window shrunk under the banner's width")
            << false << QSize(1400, 700) << QSize(500, 300) << 100.0 << 10.0 << 0.0
            << QRectF(500 - large, 300 - 14 - 100, large, 100);
    }

    void placement()
    {
        QFETCH(bool, mainWindow);
        QFETCH(QSize, shownAt);
        QFETCH(QSize, container);
        QFETCH(double, height);
        QFETCH(double, bottomInset);
        QFETCH(double, centerXInset);
        QFETCH(QRectF, frame);
        const auto window = hostWindow(shownAt.isValid() ? shownAt : container, mainWindow);
        QVERIFY(window);
        BannerController *banner = BannerController::addBannerToWindow(window.get());
        if (auto *main = qobject_cast<QMainWindow *>(window.get()))
            QCOMPARE(banner->view()->parentWidget(), main->centralWidget());
        banner->setHeight(height);
        banner->setBottomInset(bottomInset);
        banner->setCenterXInset(centerXInset);
        banner->setBannerGifImageWithURL(QUrl::fromLocalFile(bannerGif()));
        window->resize(container);
        QTRY_COMPARE(banner->view()->parentWidget()->size(), container);

        QTRY_COMPARE(banner->bannerFrame(), frame);
        const QRect geometry = banner->view()->geometry();
        QVERIFY(qAbs(geometry.x() - frame.x()) <= 0.5);
        QVERIFY(qAbs(geometry.width() - frame.width()) <= 0.5);
        QCOMPARE(geometry.y() + geometry.height(), qRound(frame.bottom()));
        QVERIFY(geometry.right() < container.width());
    }

    void viewControllerOutsideAnyWindowGetsTheBanner()
    {
        QWidget viewController;
        auto *view = new QWidget(&viewController);
        BannerController *banner = BannerController::addBannerToViewController(&viewController, view);
        QCOMPARE(banner->view()->parentWidget(), view);
        QCOMPARE(banner->parent(), &viewController);
        QSignalSpy changed(banner, &BannerController::bannerChanged);
        banner->endDownloadСonfiguration();
        QTest::qWait(20);
        QCOMPARE(changed.count(), 0);
        QVERIFY(!banner->bannerSwapTimer());
    }

    void adsRemovedBeforeLoadingKeepsBannerHidden()
    {
        Switches::setADSRemoved(true);
        auto window = hostWindow(QSize(1000, 300));
        QVERIFY(window);
        BannerController *banner = BannerController::addBannerToWindow(window.get());
        Switches::setADSRemoved(false);
        QVERIFY(!banner->view()->isVisible());
        QVERIFY(!banner->view()->parentWidget());
        QVERIFY(banner->bannerFrame().isNull());
        QVERIFY(!banner->bannerSwapTimer());

        // Ads back on: pictures still arrive, but the never-placed view does not pop up as
        // a window of its own.
        QSignalSpy changed(banner, &BannerController::bannerChanged);
        QTRY_COMPARE(changed.count(), 1);
        QVERIFY(!banner->view()->isVisible());
    }

    // The shadow is blurred small and stretched along its straight sides; it must be the very
    // picture a blur of the whole would give.
    void shadowIsTheWholeBlur_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<double>("corner");
        QTest::addColumn<double>("blur");
        QTest::newRow("728x90") << QSize(728, 90) << 4.0 << 4.0;
        QTest::newRow("728x90 at 2x") << QSize(1456, 180) << 8.0 << 8.0;
        QTest::newRow("odd size, fractional radii") << QSize(333, 47) << 2.5 << 5.5;
        QTest::newRow("too narrow to stretch") << QSize(12, 300) << 4.0 << 4.0;
        QTest::newRow("too low to stretch") << QSize(300, 9) << 2.0 << 4.0;
    }

    void shadowIsTheWholeBlur()
    {
        QFETCH(QSize, size);
        QFETCH(double, corner);
        QFETCH(double, blur);
        const QColor color(10, 20, 30, 110);
        const QImage shadow = BannerShadowEffect::shadowImage(size, corner, blur, color);
        QCOMPARE(shadow, BannerShadowEffect::blurredShadow(size, corner, blur, color));
    }

    // Screenshots of a house banner at the bottom of a host window, large and small.
    void screenshots_data()
    {
        QTest::addColumn<double>("height");
        QTest::addColumn<QString>("file");
        QTest::newRow("large") << 100.0 << QStringLiteral("banner-large.png");
        QTest::newRow("small") << 60.0 << QStringLiteral("banner-small.png");
    }

    void screenshots()
    {
        QFETCH(double, height);
        QFETCH(QString, file);
        auto window = hostWindow(QSize(1000, 360));
        QVERIFY(window);
        BannerController *banner = BannerController::addBannerToWindow(window.get());
        banner->setHeight(height);
        banner->setBottomInset(8);
        QRandomGenerator random(7);
        banner->setRandomGenerator(&random);
        QSignalSpy changed(banner, &BannerController::bannerChanged);
        banner->endDownloadСonfiguration();
        QTRY_COMPARE(changed.count(), 1);
        QTest::qWait(150);
        const QImage shot = window->grab().toImage();
        const QRect frame = banner->view()->geometry();
        // The banner's middle shows the picture, not the host's background.
        QVERIFY(shot.pixelColor(frame.center()) != kHostBackground);
        // A soft shadow just below the banner, fading into the background within its depth.
        const int depth = int(banner->shadowBotOfset());
        const QPoint below(frame.center().x(), frame.bottom() + 2);
        QVERIFY2(shot.pixelColor(below).lightness() < kHostBackground.lightness() - 8, "no shadow below the banner");
        QVERIFY(shot.pixelColor(below).lightness() < shot.pixelColor(below + QPoint(0, 2)).lightness());
        QCOMPARE(shot.pixelColor(below + QPoint(0, 2 * depth)), kHostBackground);
        QCOMPARE(shot.pixelColor(frame.center().x(), frame.top() - 2 * depth), kHostBackground);
        const QString folder = TestEnvironment::binaryPath(QStringLiteral("screenshots"));
        QDir().mkpath(folder);
        QVERIFY(shot.save(folder + QLatin1Char('/') + file));
    }
};

VELMORA_TEST_MAIN(BannerControllerTest)
#include "tst_bannercontroller.moc"
