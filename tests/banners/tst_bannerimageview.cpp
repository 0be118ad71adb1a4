#include "GifWriter.h"
#include "TestEnvironment.h"

#include "controls/BannerImageView.h"

#include <QMovie>
#include <QTemporaryDir>

using namespace velmora;
using velmora::test::writeSolidGif;

namespace {

// An opaque black window around the view, so clipped-away pixels read dark.
class Backdrop : public QWidget {
public:
    Backdrop()
    {
        QPalette black = palette();
        black.setColor(QPalette::Window, Qt::black);
        setPalette(black);
        setAutoFillBackground(true);
    }
};

bool isRed(QRgb pixel)
{
    return qRed(pixel) > 200 && qGreen(pixel) < 60 && qBlue(pixel) < 60;
}

// Mostly backdrop: the edge of the clip is antialiased.
bool isClipped(QRgb pixel)
{
    return qRed(pixel) < 128;
}

} // namespace

class BannerImageViewTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString redGif()
    {
        const QString path = m_dir.filePath(QStringLiteral("red.gif"));
        if (!QFile::exists(path))
            writeSolidGif(path, QSize(728, 90), { Qt::red });
        return path;
    }

private Q_SLOTS:
    // The radius is 4, or 2 when 4 exceeds a tenth of the height. The pixel one row below
    // the top-left corner lies inside a radius-2 corner and outside a radius-4 one.
    void cornerRadiusByHeight_data()
    {
        QTest::addColumn<int>("height");
        QTest::addColumn<bool>("smallRadius");
        QTest::newRow("30 high: radius 2") << 30 << true;
        QTest::newRow("39 high: radius 2") << 39 << true;
        QTest::newRow("40 high: radius 4 (not more than a tenth)") << 40 << false;
        QTest::newRow("100 high: radius 4") << 100 << false;
    }

    void cornerRadiusByHeight()
    {
        QFETCH(int, height);
        QFETCH(bool, smallRadius);
        QCOMPARE(BannerImageView::cornerRadius(height), smallRadius ? 2.0 : 4.0);

        Backdrop backdrop;
        auto *view = new BannerImageView(&backdrop);
        view->setImage(std::make_unique<QMovie>(redGif()));
        const int width = height * 728 / 90;
        view->setGeometry(0, 0, width, height);
        backdrop.resize(width, height);
        const QImage pixels = backdrop.grab().toImage();

        QVERIFY(isRed(pixels.pixel(width / 2, height / 2)));
        for (const QPoint corner :
             { QPoint(0, 0), QPoint(width - 1, 0), QPoint(0, height - 1), QPoint(width - 1, height - 1) })
            QVERIFY2(isClipped(pixels.pixel(corner)), "corner pixel is clipped away");
        // One pixel in from each corner along the vertical edge.
        for (const QPoint edge :
             { QPoint(0, 1), QPoint(width - 1, 1), QPoint(0, height - 2), QPoint(width - 1, height - 2) }) {
            const QRgb pixel = pixels.pixel(edge);
            QVERIFY2(smallRadius ? qRed(pixel) > 200 : qRed(pixel) < 60,
                     qPrintable(
                         QStringLiteral("pixel at %1,%2 is %3").arg(edge.x()).arg(edge.y()).arg(QColor(pixel).name())));
        }
    }

    // A minimised window keeps its children visible; the frames must stop all the same.
    void picturePlaysOnlyWhileShown_data()
    {
        QTest::addColumn<bool>("minimise");
        QTest::newRow("window hidden") << false;
        QTest::newRow("window minimised") << true;
    }

    void picturePlaysOnlyWhileShown()
    {
        QFETCH(bool, minimise);
        // xdg-shell asks the compositor to minimise and never says whether it did: Qt puts
        // the window back to normal, and the compositor throttles a hidden window instead.
        if (minimise && QGuiApplication::platformName() == QLatin1String("wayland"))
            QSKIP("a Wayland client is not told that it is minimised");
        const QString path = m_dir.filePath(QStringLiteral("two-frames.gif"));
        QVERIFY(writeSolidGif(path, QSize(72, 9), { Qt::red, Qt::blue }));
        Backdrop window;
        auto *view = new BannerImageView(&window);
        view->setAnimates(true);
        view->setImage(std::make_unique<QMovie>(path));
        QVERIFY(!view->isAnimating());

        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(view->isAnimating());
        QSignalSpy frames(view->image(), &QMovie::frameChanged);
        QVERIFY(frames.wait(2000));

        if (minimise)
            window.showMinimized();
        else
            window.hide();
        QVERIFY(!view->isAnimating());
        frames.clear();
        QTest::qWait(300);
        QCOMPARE(frames.count(), 0);

        window.showNormal();
        QVERIFY(view->isAnimating());
        view->setAnimates(false);
        QVERIFY(!view->isAnimating());
    }

    // A media file that holds an error page instead of a picture leaves the view empty.
    void unreadablePictureLeavesViewEmpty()
    {
        const QString path = m_dir.filePath(QStringLiteral("error-page.gif"));
        QFile page(path);
        QVERIFY(page.open(QIODevice::WriteOnly));
        page.write("<html><body><h1>502 Bad Gateway</h1></body></html>\n");
        page.close();

        BannerImageView view;
        view.setImage(std::make_unique<QMovie>(redGif()));
        QVERIFY(view.image());
        view.setImage(std::make_unique<QMovie>(path));
        QVERIFY(!view.image());
        QVERIFY(view.imageSize().isEmpty());
        view.resize(100, 30);
        QVERIFY(!view.grab().isNull());
    }
};

VELMORA_TEST_MAIN(BannerImageViewTest)
#include "tst_bannerimageview.moc"
