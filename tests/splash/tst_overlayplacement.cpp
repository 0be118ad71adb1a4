// Overlays must cover a host's content without becoming part of its layout.
#include "TestEnvironment.h"

#include "controls/ColoredView.h"
#include "splash/SplashScreenController.h"
#include "support/HostContent.h"

#include <velmora/BannerController.h>

#include <QMainWindow>
#include <QSplitter>
#include <QTextEdit>
#include <QToolBar>

using namespace velmora;

class OverlayPlacementTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void overlaysStayOutOfTheHostsLayout_data()
    {
        QTest::addColumn<bool>("splitter");
        QTest::newRow("splitter as central widget") << true;
        QTest::newRow("plain central widget") << false;
    }

    void overlaysStayOutOfTheHostsLayout()
    {
        QFETCH(bool, splitter);
        QMainWindow window;
        auto *central = splitter ? static_cast<QWidget *>(new QSplitter) : new QWidget;
        if (auto *panes = qobject_cast<QSplitter *>(central)) {
            panes->addWidget(new QTextEdit);
            panes->addWidget(new QTextEdit);
        }
        window.setCentralWidget(central);
        window.addToolBar(QStringLiteral("tools"))->addAction(QStringLiteral("x"));
        window.resize(800, 600);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        const auto splash = SplashScreenController::initSplashScreenWithWindow(&window, false);
        splash->setTopInset(0);
        BannerController *banner = BannerController::addBannerToWindow(&window);
        QVERIFY(banner);
        QCoreApplication::processEvents();

        if (auto *panes = qobject_cast<QSplitter *>(central))
            QCOMPARE(panes->count(), 2);
        QCOMPARE(splash->view()->geometry(), HostContent::contentRect(central));
        QCOMPARE(splash->view()->parentWidget(), HostContent::overlayParent(central));

        // Follows the content when the window changes size.
        window.resize(900, 700);
        QCoreApplication::processEvents();
        QCOMPARE(splash->view()->geometry(), HostContent::contentRect(central));
    }
};

VELMORA_TEST_MAIN(OverlayPlacementTest)
#include "tst_overlayplacement.moc"
