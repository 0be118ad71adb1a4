// The host's view of Velmora: only the installed public headers and library.
#include <velmora/Velmora.h>

#include "ChildProcesses.h"
#include "ChildRun.h"
#include "SoundStreams.h"

#include <velmora/Notifications.h>
#include <velmora/Support.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QMainWindow>
#include <QProcessEnvironment>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <limits>
#include <memory>

using velmora::Velmora;

namespace {

// What Velmora logs while `call` runs.
QStringList logOf(const std::function<void()> &call)
{
    static QStringList lines;
    lines.clear();
    const auto previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &context, const QString &line) {
        if (qstrcmp(context.category, "velmora") == 0)
            lines << line;
    });
    call();
    qInstallMessageHandler(previous);
    return lines;
}

// Runs this executable again in one of its child modes and returns what it printed.
QString runChild(const QString &mode, const QString &home = QString())
{
    QList<std::pair<QString, QString>> variables { { "VELMORA_FACADE_CHILD", mode } };
    if (!home.isEmpty())
        variables.append({ "VELMORA_FACADE_HOME", home });
    return QString::fromUtf8(velmora::test::runChild(variables).out).trimmed();
}

// One value of every property-list type, written by one process and read by another.
QList<std::pair<QString, QVariant>> typedSettings()
{
    const QDateTime when(QDate(2026, 11, 25), QTime(15, 32, 33, 250), Qt::UTC);
    return {
        { QStringLiteral("string"), QStringLiteral("text, with a comma") },
        { QStringLiteral("bool"), true },
        { QStringLiteral("integer"), 42 },
        { QStringLiteral("big integer"), qint64(1) << 40 },
        { QStringLiteral("double"), 2.5 },
        { QStringLiteral("date"), when },
        { QStringLiteral("data"), QByteArray::fromHex("00ff6279746573") },
        { QStringLiteral("one-element array"), QVariantList { 7 } },
        { QStringLiteral("array"), QVariantList { true, 1.5 } },
        { QStringLiteral("dictionary"),
          QVariantMap { { QStringLiteral("n"), 3 },
                        { QStringLiteral("list"), QVariantList { QStringLiteral("a") } } } },
    };
}

// A shown host window with content of its own.
std::unique_ptr<QMainWindow> hostWindow()
{
    auto window = std::make_unique<QMainWindow>();
    window->setCentralWidget(new QWidget);
    window->resize(900, 600);
    window->show();
    return window;
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).absolutePath()) && file.open(QIODevice::WriteOnly)
        && file.write(bytes) == bytes.size();
}

QWidget *rootViewOf(QWidget *window)
{
    const auto children = window->findChildren<QWidget *>();
    for (QWidget *child : children) {
        if (qstrcmp(child->metaObject()->className(), "velmora::ColoredView") == 0)
            return child;
    }
    return nullptr;
}

} // namespace

class FacadeTest : public QObject {
    Q_OBJECT

public Q_SLOTS:
    // Store pages open here, not in a browser.
    void openUrl(const QUrl &url) { openedUrls << url; }

private:
    QList<QUrl> openedUrls;

private Q_SLOTS:
    // Must run first: nothing has touched the facade yet. With the ads off every call that
    // would show an ad is refused, posts nothing and makes no presenter.
    void adsOffRefusesEverythingAndMakesNothing()
    {
        Velmora::removeAdsNow();
        QVERIFY(Velmora::isADSRemoved());
        const auto window = hostWindow();
        QStringList seen;
        QMetaObject::Connection observer = QObject::connect(
            velmora::NotificationCenter::defaultCenter(), &velmora::NotificationCenter::notificationPosted, this,
            [&seen](const QString &name, const QVariant &) { seen << name; });
        QVERIFY(!Velmora::addSplashScreenToWindow(window.get()));
        QVERIFY(!Velmora::addSplashScreenToUnityWindow(window.get()));
        Velmora::show();
        Velmora::forceShow();
        Velmora::showWithouSplash();
        Velmora::addBannerForWindow(window.get());
        Velmora::addBannerForViewController(window.get(), window.get());
        QCoreApplication::processEvents();
        QObject::disconnect(observer);
        QVERIFY(seen.isEmpty());
        QVERIFY2(Velmora::isInitializedSplashScreenWithLOG_WARNING(), "a presenter was created");
        QVERIFY(Velmora::BControllers().isEmpty());
        // The banner list now exists, so the inverted check reports false.
        QVERIFY(!Velmora::isInitializedBannerLOG_ERROR());
        Velmora::resetAds();
    }

    // The purchase is stored at once wherever it is made: on the main thread, on a worker, in
    // a host's main() before its application object exists or after it is gone. The banners
    // leave on the main thread; resetAds stores the ads back.
    void purchaseIsStoredAtOnce_data()
    {
        QTest::addColumn<QString>("where");
        QTest::newRow("main thread") << QStringLiteral("main");
        QTest::newRow("worker thread") << QStringLiteral("worker");
        QTest::newRow("before QApplication") << QStringLiteral("removeBeforeApp");
        QTest::newRow("after QApplication") << QStringLiteral("removeAfterApp");
    }

    void purchaseIsStoredAtOnce()
    {
        QFETCH(QString, where);
        QVERIFY(!Velmora::isADSRemoved());
        QCOMPARE(runChild(QStringLiteral("adsRemoved")), QStringLiteral("0"));
        const auto window = hostWindow();
        Velmora::addBannerForWindow(window.get());
        QCOMPARE(Velmora::BControllers().size(), 1);
        const bool here = where == QLatin1String("main") || where == QLatin1String("worker");
        if (where == QLatin1String("main")) {
            Velmora::removeAdsNow();
        } else if (where == QLatin1String("worker")) {
            QScopedPointer<QThread> worker(QThread::create([] { Velmora::removeAdsNow(); }));
            worker->start();
            QVERIFY(worker->wait(10000));
        } else {
            QCOMPARE(runChild(where), QStringLiteral("done"));
        }
        QVERIFY(Velmora::isADSRemoved());
        QCOMPARE(runChild(QStringLiteral("adsRemoved")), QStringLiteral("1"));
        if (here)
            QTRY_VERIFY(Velmora::BControllers().isEmpty());
        Velmora::resetAds();
    }

    void settingsKeepTheirTypeInTheNextProcess_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("value");
        for (const auto &[key, value] : typedSettings())
            QTest::newRow(qPrintable(key)) << key << value;
    }

    void settingsKeepTheirTypeInTheNextProcess()
    {
        static const QString written = runChild(QStringLiteral("writeSettings"));
        QCOMPARE(written, QStringLiteral("done"));
        QFETCH(QString, key);
        QFETCH(QVariant, value);
        const QVariant back = velmora::VLMObjForKey(key);
        QCOMPARE(back.metaType(), value.metaType());
        QCOMPARE(back, value);
    }

    // A store written by an earlier version (Qt's INI) still reads.
    void earlierStoreStillReads()
    {
        QTemporaryDir home;
        QVERIFY(writeFile(home.filePath(QStringLiteral("config/VelmoraFacadeTests/tst_facade.conf")),
                          "[General]\nadsoff=true\nlastShown=12\n"));
        QCOMPARE(runChild(QStringLiteral("adsRemoved"), home.path()), QStringLiteral("1"));
    }

    // Hosts match these exact strings; a typo must fail here. The version and the remove-ads
    // request are pinned by the install test's consumer.
    void hostVisibleStringsArePinned_data()
    {
        QTest::addColumn<QString>("actual");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const char *actual, const char *expected) {
            QTest::newRow(name) << QString::fromUtf8(actual) << QString::fromUtf8(expected);
        };
        row("clickForBanner", velmora::VLMclickForBanner, "com.tamsel.clickforbanner");
        row("clickForVideo", velmora::VLMclickForVideo, "com.tamsel.clickforvideo");
        row("videoDidStart", velmora::VLMadsVideoDidStart, "com.tamsel.videostart");
        row("videoDidStop", velmora::VLMadsVideoDidStop, "com.tamsel.videostop");
        row("showMoreOne", velmora::VLMsplashScreenShowMoreOne, "com.tamsel.splashcreensecondstart");
        row("willShow", velmora::VLMsplashScreenWillShow, "com.tamsel.splashcreenwillshow");
        row("didShow", velmora::VLMsplashScreenDidShow, "com.tamsel.splashcreendidshow");
        row("didClose", velmora::VLMsplashScreenDidClose, "com.tamsel.splashscreendidclose");
        row("versionString", velmora::VelmoraVersionString, "@(#)PROGRAM:Velmora  PROJECT:Velmora-1\n");
        QTest::newRow("versionNumber") << QString::number(velmora::VelmoraVersionNumber, 'f', 1)
                                       << QStringLiteral("1.0");
    }

    void hostVisibleStringsArePinned()
    {
        QFETCH(QString, actual);
        QFETCH(QString, expected);
        QCOMPARE(actual, expected);
    }

    void loadTimeCorrections_data()
    {
        QTest::addColumn<qint64>("requested");
        QTest::addColumn<qint64>("used");
        QTest::addColumn<bool>("warned");
        QTest::newRow("above range") << qint64(16) << qint64(5) << true;
        QTest::newRow("below range") << qint64(-1) << qint64(5) << true;
        QTest::newRow("upper bound") << qint64(15) << qint64(15) << false;
        QTest::newRow("in range") << qint64(7) << qint64(7) << false;
        QTest::newRow("zero") << qint64(0) << qint64(0) << false;
    }

    void loadTimeCorrections()
    {
        QFETCH(qint64, requested);
        QFETCH(qint64, used);
        QFETCH(bool, warned);
        Velmora::activateDebugMode();
        Velmora::SSPresenter()->setSplashScreenOptions({});
        const QStringList log = logOf([requested] { Velmora::setSplashScreenLoadTime(requested); });

        QCOMPARE(Velmora::SSPresenter()->loadTime(), used);
        QCOMPARE(log.contains(QStringLiteral("VELMORA :: WARNING :: invalid loadTime value")), warned);
        const QVariantMap options = Velmora::SSPresenter()->splashScreenOptions();
        for (const char *key :
             { "hiddenIconBeforeVideo", "hiddenBackgroundImageBeforeVideo", "hiddenButtonBeforeVideo" })
            QCOMPARE(options.value(QString::fromLatin1(key)).toBool(), used == 0);
    }

    void delayTruncation_data()
    {
        QTest::addColumn<double>("requested");
        QTest::addColumn<qint64>("used");
        QTest::newRow("fraction cut") << 4.9 << qint64(4);
        QTest::newRow("negative") << -1.0 << qint64(30);
        QTest::newRow("small negative") << -0.5 << qint64(30);
        QTest::newRow("zero") << 0.0 << qint64(0);
        QTest::newRow("whole") << 12.0 << qint64(12);
        QTest::newRow("ten years") << 315576000.0 << qint64(315576000);
        QTest::newRow("NaN") << std::numeric_limits<double>::quiet_NaN() << qint64(30);
        QTest::newRow("infinity") << std::numeric_limits<double>::infinity() << qint64(30);
        QTest::newRow("minus infinity") << -std::numeric_limits<double>::infinity() << qint64(30);
    }

    void delayTruncation()
    {
        QFETCH(double, requested);
        QFETCH(qint64, used);
        Velmora::setSplashScreenDelay(requested);
        QCOMPARE(Velmora::SSPresenter()->delayForFirstStart(), used);
    }

    void urlFromAppIDTakesAnyPrefix()
    {
        for (const char *appID : { "ID42", "42", "id42" }) {
            const QUrl url = Velmora::urlFromAppID(QString::fromLatin1(appID));
            QCOMPARE(url.scheme(), QStringLiteral("macappstores"));
            QVERIFY2(url.path().endsWith(QStringLiteral("/app/id42")), qPrintable(url.toString()));
            QCOMPARE(url, Velmora::urlFromAppID(QStringLiteral("42")));
        }
    }

    void settersReachWindowsRegisteredBeforeAndAfter()
    {
        const QColor before(200, 30, 30);
        const QColor after(20, 40, 200);
        Velmora::setSplashScreenBackgroundColor(before);
        // A ring without a border is a setting too, not a missing one.
        Velmora::setSplashScreenTimerBorderWidth(0, 6);
        const auto window = hostWindow();
        QMainWindow &first = *window;
        QVERIFY(Velmora::addSplashScreenToWindow(&first));
        QWidget *firstRoot = rootViewOf(&first);
        QVERIFY(firstRoot);
        QCOMPARE(firstRoot->property("color").value<QColor>(), before);
        const auto ring = [&first] {
            QCoreApplication::processEvents(); // the elements come a turn after the window
            return first.findChild<QWidget *>(QStringLiteral("timeProgressView"));
        };
        QVERIFY(ring());
        QCOMPARE(ring()->property("widthBorder").toDouble(), 0.0);
        QCOMPARE(ring()->property("widthProgress").toDouble(), 6.0);

        QWidget second;
        second.resize(640, 480);
        second.show();
        QVERIFY(Velmora::addSplashScreenToWindow(&second));
        // With a presenter present, an appearance setter prints one inverted warning.
        Velmora::activateDebugMode();
        QCOMPARE(logOf([&after] { Velmora::setSplashScreenBackgroundColor(after); }),
                 QStringList { QStringLiteral("VELMORA :: WARNING :: SplashScreen controller not initialized!") });
        QCOMPARE(firstRoot->property("color").value<QColor>(), after);
        QCOMPARE(rootViewOf(&second)->property("color").value<QColor>(), after);
        QCOMPARE(Velmora::SSPresenter()->splashScreenOptions().value(QStringLiteral("backgroundColor")).value<QColor>(),
                 after);

        Velmora::setSplashScreenTimerBorderWidth(3, 5);
        const QVariantMap options = Velmora::SSPresenter()->splashScreenOptions();
        QCOMPARE(options.value(QStringLiteral("timerBorderWidth")).toDouble(), 3.0);
        QCOMPARE(options.value(QStringLiteral("timerProgressWidth")).toDouble(), 5.0);
        QCOMPARE(ring()->property("widthBorder").toDouble(), 3.0);
        QCOMPARE(ring()->property("widthProgress").toDouble(), 5.0);
        Velmora::removeSplashScreenFromWindow(&first);
        Velmora::removeSplashScreenFromWindow(&second);
    }

    void bannerDefaultsReachTheFirstBanner()
    {
        // A fresh process: the defaults are set before any banner list exists.
        QCOMPARE(runChild(QStringLiteral("bannerDefaults")), QStringLiteral("height=80 inset=10 errors=0"));
    }

    void oneBannerPerWindowTwoPerViewController()
    {
        const auto window = hostWindow();
        const qsizetype start = Velmora::BControllers().size();
        Velmora::addBannerForWindow(window.get());
        Velmora::addBannerForWindow(window.get());
        QCOMPARE(Velmora::BControllers().size(), start + 1);

        auto *panel = new QWidget(window->centralWidget());
        panel->resize(400, 300);
        Velmora::addBannerForViewController(panel, panel);
        Velmora::addBannerForViewController(panel, panel);
        QCOMPARE(Velmora::BControllers().size(), start + 3);
        // Several banners in one window: the lookup finds the one added last.
        QCOMPARE(Velmora::BControllFromWindow(window.get()), Velmora::BControllers().constLast());

        Velmora::setBannerHidden(true, panel);
        QVERIFY(Velmora::BControllers().constLast()->view()->isHidden());
    }

    // A click on a store link opens what the desktop can: the store application where the
    // desktop associates one with the scheme, else the app's page of the web store in the
    // browser. A host that sets its own handler for the scheme gets the links itself. The
    // desktop's opener is a stand-in xdg-open, first on PATH, that records what it is given.
    // Runs before any test that sets a store handler of its own: that replaces Velmora's.
    void storeLinksOpenWhatTheDesktopCan()
    {
        if (QGuiApplication::platformName() == QLatin1String("offscreen"))
            QSKIP("the offscreen platform opens no URLs; this runs in the Wayland job");
        QTemporaryDir desktop;
        const QString record = desktop.filePath(QStringLiteral("opened"));
        const QString opener = desktop.filePath(QStringLiteral("bin/xdg-open"));
        QVERIFY(writeFile(opener, "#!/bin/sh\necho \"$1\" >> '" + record.toUtf8() + "'\n"));
        QVERIFY(QFile::setPermissions(opener, QFile::permissions(opener) | QFileDevice::ExeOwner));
        // The stand-in desktop lasts for this test only; the next tests find the real one.
        const auto restore = qScopeGuard([before = QProcessEnvironment::systemEnvironment()] {
            for (const char *variable :
                 { "PATH", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "XDG_DATA_HOME", "XDG_DATA_DIRS" }) {
                if (before.contains(QLatin1String(variable)))
                    qputenv(variable, before.value(QLatin1String(variable)).toLocal8Bit());
                else
                    qunsetenv(variable);
            }
        });
        qputenv("PATH", desktop.filePath(QStringLiteral("bin")).toUtf8() + ':' + qgetenv("PATH"));
        for (const char *variable : { "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "XDG_DATA_HOME", "XDG_DATA_DIRS" })
            qputenv(variable, desktop.filePath(QString::fromLatin1(variable)).toUtf8());
        const auto opened = [&record] {
            QFile file(record);
            return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts)
                                                  : QStringList();
        };

        Velmora::removeAdsNow();
        Velmora::resetAds();
        QWidget window;
        window.resize(800, 600);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        Velmora::addBannerForWindow(&window);
        QWidget *banner = Velmora::BControllFromWindow(&window)->view();
        QTRY_VERIFY(banner->isVisible() && banner->width() > 0); // a house banner, the server being away
        const auto click
            = [&] { QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {}, banner->geometry().center()); };

        // No application for the scheme: the browser gets the web store's page of the app.
        click();
        QTRY_COMPARE(opened().size(), 1);
        const QUrl web(opened().at(0));
        QCOMPARE(web.scheme(), QStringLiteral("https"));
        QVERIFY2(web.path().startsWith(QStringLiteral("/app/id")), qPrintable(web.toString()));

        // The desktop names an application for the scheme: the store link goes to it.
        QVERIFY(writeFile(desktop.filePath(QStringLiteral("XDG_CONFIG_HOME/mimeapps.list")),
                          "[Default Applications]\nx-scheme-handler/macappstores=store.desktop\n"));
        click();
        QTRY_COMPARE(opened().size(), 2);
        QCOMPARE(QUrl(opened().at(1)).scheme(), QStringLiteral("macappstores"));
        QCOMPARE(QUrl(opened().at(1)).host(), web.host());

        // The host handles the scheme itself: it gets the link, the desktop nothing.
        QDesktopServices::setUrlHandler(QStringLiteral("macappstores"), this, "openUrl");
        openedUrls.clear();
        click();
        QCOMPARE(openedUrls.size(), 1);
        QCOMPARE(openedUrls.at(0).scheme(), QStringLiteral("macappstores"));
        QTest::qWait(500); // an opener started by mistake would have written by now
        QCOMPARE(opened().size(), 2);
        QDesktopServices::unsetUrlHandler(QStringLiteral("macappstores"));
    }

    // The video plays, with its sound, in the installed helper, a child of the host; one second
    // after the user closed the ad mid-video nothing of it sounds, and the helper ends.
    void installedHelperPlaysAndEndsWithTheAd()
    {
        if (!velmora::test::runningSoundStreams())
            QSKIP("no private sound server (run through tests/session/with-sound-server.sh)");
        const QString clip
            = qEnvironmentVariable("VELMORA_SOURCE_DIR") + "/examples/sample-ads/media/video-cascade.mp4";
        QVERIFY2(QFile::exists(clip), qPrintable(clip));
        // A sequence left on screen by the tests before (its window deleted) ends here.
        Velmora::removeAdsNow();
        Velmora::resetAds();
        QStringList seen;
        const QMetaObject::Connection observer = QObject::connect(
            velmora::NotificationCenter::defaultCenter(), &velmora::NotificationCenter::notificationPosted, this,
            [&seen](const QString &name, const QVariant &) { seen << name; });

        QWidget window;
        window.resize(800, 600);
        window.show();
        window.activateWindow();
        QApplication::setActiveWindow(&window);
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QVERIFY(Velmora::addSplashScreenToWindow(&window));
        Velmora::setDefaultVideoURL(QUrl::fromLocalFile(clip), QStringLiteral("id42"));
        Velmora::setSplashScreenLoadTime(1);
        Velmora::forceShow();
        QTRY_VERIFY(seen.contains(QString::fromLatin1(velmora::VLMadsVideoDidStart)));
        QTRY_COMPARE(velmora::test::runningSoundStreams(), std::optional<int>(1));
        QCOMPARE(velmora::test::childProcesses("velmora-media").size(), 1);

        QWidget *splash = rootViewOf(&window);
        QVERIFY(splash);
        auto *close = splash->findChild<QAbstractButton *>(QStringLiteral("closeButton"));
        QVERIFY(close);
        QTRY_VERIFY_WITH_TIMEOUT(close->isVisible(), 8000);
        QTest::qWait(400); // the user sees it fade in
        QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {}, close->mapTo(&window, close->rect().center()));
        QVERIFY(seen.contains(QString::fromLatin1(velmora::VLMsplashScreenDidClose)));
        QTest::qWait(1000);
        QCOMPARE(velmora::test::runningSoundStreams(), std::optional<int>(0));
        // No helper holds memory between ads.
        QTRY_VERIFY_WITH_TIMEOUT(velmora::test::childProcesses("velmora-media").isEmpty(), 10000);
        // The host's threads keep their policy and cores: the ad's pictures were decoded on a
        // thread that works off the main thread's core, and the pool threads it started meanwhile.
        QTRY_COMPARE(velmora::test::threadsBelowTheMainThread(), QStringList());
        QObject::disconnect(observer);
        Velmora::removeSplashScreenFromWindow(&window);
    }
};

int main(int argc, char **argv)
{
    static QTemporaryDir home;
    if (qEnvironmentVariableIsEmpty("VELMORA_FACADE_HOME")) {
        qputenv("VELMORA_FACADE_HOME", home.path().toLocal8Bit());
    }
    const QByteArray root = qgetenv("VELMORA_FACADE_HOME");
    qputenv("XDG_CONFIG_HOME", root + "/config");
    qputenv("XDG_CACHE_HOME", root + "/cache");
    qputenv("LC_ALL", "C.UTF-8");
    if (const QByteArray platform = qgetenv("VELMORA_TEST_PLATFORM"); !platform.isEmpty())
        qputenv("QT_QPA_PLATFORM", platform);
    // As a host's main() would: the organisation first; the program's own name stands for
    // the application until the application object exists.
    QCoreApplication::setOrganizationName(QStringLiteral("VelmoraFacadeTests"));
    const QString child = qEnvironmentVariable("VELMORA_FACADE_CHILD");
    // A purchase restored before the application object exists, or after it is gone.
    if (child == QLatin1String("removeBeforeApp") || child == QLatin1String("removeAfterApp")) {
        if (child == QLatin1String("removeAfterApp")) {
            QApplication gone(argc, argv);
        }
        Velmora::removeAdsNow();
        printf("done\n");
        return 0;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("tst_facade"));

    if (child == QLatin1String("writeSettings")) {
        for (const auto &[key, value] : typedSettings())
            velmora::VLMSetObjForKey(value, key);
        printf("done\n");
        return 0;
    }
    if (child == QLatin1String("adsRemoved")) {
        printf("%d\n", int(Velmora::isADSRemoved()));
        return 0;
    }
    if (child == QLatin1String("bannerDefaults")) {
        Velmora::resetAds();
        Velmora::activateDebugMode();
        const int errors = int(logOf([] {
                                   Velmora::setBannersHeight(80);
                                   Velmora::setBannersBottomInset(10);
                               })
                                   .filter(QStringLiteral("Banner controller not initialized!"))
                                   .size());
        const auto window = hostWindow();
        Velmora::addBannerForWindow(window.get());
        velmora::BannerController *banner = Velmora::BControllFromWindow(window.get());
        printf("height=%g inset=%g errors=%d\n", banner ? banner->height() : -1.0,
               banner ? banner->bottomInset() : -1.0, errors);
        return 0;
    }
    FacadeTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_facade.moc"
