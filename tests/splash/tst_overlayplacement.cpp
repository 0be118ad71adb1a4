// Overlays must cover a host's content without becoming part of its layout.
#include "TestEnvironment.h"

#include "controls/ColoredView.h"
#include "splash/SplashScreenController.h"

#include <velmora/BannerController.h>

#include <QMainWindow>
#include <QSplitter>
#include <QTextEdit>
#include <QToolBar>

using namespace velmora;

class OverlayPlacementTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // A splitter takes every child widget as a pane: the overlays must stay out of it. A
    // plain central widget is covered by the controller's and the banner's own tests.
    void overlaysStayOutOfTheHostsLayout()
    {
        QMainWindow window;
        auto *panes = new QSplitter;
        panes->addWidget(new QTextEdit);
        panes->addWidget(new QTextEdit);
        window.setCentralWidget(panes);
        window.addToolBar(QStringLiteral("tools"))->addAction(QStringLiteral("x"));
        window.resize(800, 600);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        const auto splash = SplashScreenController::initSplashScreenWithWindow(&window, false);
        splash->setTopInset(0);
        BannerController *banner = BannerController::addBannerToWindow(&window);
        QVERIFY(banner);
        QCoreApplication::processEvents();

        QCOMPARE(panes->count(), 2);
        // Over the splitter, not inside one of its panes.
        QCOMPARE(splash->view()->parentWidget(), &window);
        QCOMPARE(splash->view()->geometry(), panes->geometry());

        // Follows the content when the window changes size.
        window.resize(900, 700);
        QCoreApplication::processEvents();
        QCOMPARE(splash->view()->geometry(), panes->geometry());
    }
};

VELMORA_TEST_MAIN(OverlayPlacementTest)
#include "tst_overlayplacement.moc"
