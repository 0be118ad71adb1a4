#include "TestEnvironment.h"
#include "tst_presenter_fixture.h"

#include "splash/SplashScreenController.h"

#include <QAbstractButton>

using namespace velmora;
using namespace velmora::test;

using P = SplashScreenPresenter;

// Focus, closing and destruction on real offscreen windows; timers on virtual time.
class PresenterWindowsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { f.setUp(); }
    void cleanup() { f.tearDown(); }

    void keyWindowMovingBetweenRegisteredWindowsDoesNotPause_data()
    {
        QTest::addColumn<bool>("resignFirst");
        QTest::newRow("Qt's order: the new window activates first") << false;
        QTest::newRow("resign first, become key in the same turn") << true;
    }

    void keyWindowMovingBetweenRegisteredWindowsDoesNotPause()
    {
        QFETCH(bool, resignFirst);
        QWidget *a = f.newWindow();
        QWidget *b = f.newWindow();
        activate(a);
        QVERIFY(f.presenter->addSplashScreenForWindow(a, false));
        QVERIFY(f.presenter->addSplashScreenForWindow(b, false));
        QVERIFY(f.presenter->isFocus());
        QCOMPARE(f.presenter->activeSplashScreenController(), f.controllers[0]);
        f.presenter->needForceShowSplashScreens();
        f.clock->advance(1.5);

        if (resignFirst) {
            QApplication::setActiveWindow(nullptr);
            QVERIFY(!f.presenter->isFocus());
        }
        activate(b);
        QVERIFY(f.presenter->isFocus());
        QVERIFY(!f.presenter->needsResumeSplashScreen());
        QCOMPARE(f.presenter->activeSplashScreenController(), f.controllers[1]);
        QVERIFY(!f.controllers[0]->calls.contains(QStringLiteral("pauseShowVideo")));
        f.clock->advance(1.0);
        QCOMPARE(f.presenter->passedTime(), qint64(2));
    }

    void unregisteredWindowPausesAndComingBackResumes()
    {
        QWidget *registered = f.newWindow();
        QWidget *other = f.newWindow();
        activate(registered);
        QVERIFY(f.presenter->addSplashScreenForWindow(registered, false));
        f.presenter->needForceShowSplashScreens();
        f.clock->advance(2.4);

        activate(other);
        QVERIFY(!f.presenter->isFocus());
        QVERIFY(f.presenter->needsResumeSplashScreen());
        QVERIFY(!f.presenter->activeSplashScreenController());
        QCOMPARE(f.controllers[0]->calls.last(), QStringLiteral("pauseShowVideo"));
        f.clock->advance(100);
        QCOMPARE(f.presenter->passedTime(), qint64(2));
        QCOMPARE(f.presenter->stateSplashScreen(), qint64(P::SplashScreenStateStart));

        // The resume is the presenter's own, whose timing the presenter test pins down.
        activate(registered);
        QVERIFY(f.presenter->isFocus());
        QVERIFY(!f.presenter->needsResumeSplashScreen());
        f.clock->advance(0.61);
        QCOMPARE(f.presenter->passedTime(), qint64(3));
    }

    // Without a factory the presenter makes the framework's own splash screens and is
    // their output: their buttons reach it.
    void defaultControllersAreTheFrameworksSplashScreens()
    {
        SplashScreenPresenter presenter;
        QWidget *a = f.newWindow();
        QWidget *b = f.newWindow();
        activate(a);
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
    void activate(QWidget *window)
    {
        PresenterFixture::activate(window);
        PresenterFixture::turnMainLoop();
        QCOMPARE(QApplication::activeWindow(), window);
    }

    PresenterFixture f;
};

VELMORA_TEST_MAIN(PresenterWindowsTest)
#include "tst_presenter_windows.moc"
