#include "GifWriter.h"
#include "TestEnvironment.h"
#include "controls/ControlsTestSupport.h"

#include "controls/BannerImageView.h"
#include "support/StandardNames.h"

#include <QMovie>

#include <QTemporaryDir>
#include <memory>

using namespace velmora;
using velmora::test::Backdrop;
using velmora::test::writeSolidGif;

namespace {

// The colour of frame n of the three-frame pictures below.
const QList<QColor> kFrameColours { Qt::red, Qt::green, Qt::blue };

int frameShown(const QImage &pixels)
{
    const QColor centre = pixels.pixelColor(pixels.width() / 2, pixels.height() / 2);
    for (int i = 0; i < kFrameColours.size(); ++i) {
        if (qAbs(centre.red() - kFrameColours[i].red()) < 40 && qAbs(centre.green() - kFrameColours[i].green()) < 40
            && qAbs(centre.blue() - kFrameColours[i].blue()) < 40)
            return i;
    }
    return -1;
}

// A view on `window` at `geometry` that plays its frames.
BannerImageView *playingView(QWidget *window, const QRect &geometry)
{
    auto *view = new BannerImageView(window);
    view->setGeometry(geometry);
    view->setAnimates(true);
    return view;
}

} // namespace

class BannerImageViewTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString gif(const QString &name, QSize size, const QList<QColor> &frames)
    {
        const QString path = m_dir.filePath(name);
        if (!QFile::exists(path))
            writeSolidGif(path, size, frames);
        return path;
    }
    QString redGif() { return gif(QStringLiteral("red.gif"), QSize(728, 90), { Qt::red }); }

    static bool waitForImage(BannerImageView *view, const QString &path)
    {
        QSignalSpy changed(view, &BannerImageView::imageChanged);
        view->setSource(path);
        return changed.wait(5000);
    }

private Q_SLOTS:
    // The radius is 4, or 2 when 4 exceeds a tenth of the height. The pixel one row in from
    // each corner along the vertical edge lies inside a radius-2 corner and outside a radius-4
    // one. The view starts at another height, so its frames are made anew for the one checked.
    void cornerRadiusByHeight_data()
    {
        QTest::addColumn<int>("height");
        QTest::addColumn<bool>("smallRadius");
        QTest::newRow("39 high: radius 2") << 39 << true;
        QTest::newRow("40 high: radius 4 (not more than a tenth)") << 40 << false;
    }

    void cornerRadiusByHeight()
    {
        QFETCH(int, height);
        QFETCH(bool, smallRadius);
        Backdrop backdrop;
        auto *view = new BannerImageView(&backdrop);
        view->setGeometry(0, 0, 728 / 2, 90 / 2);
        backdrop.show();
        QVERIFY(QTest::qWaitForWindowExposed(&backdrop));
        QVERIFY(waitForImage(view, redGif()));
        QSignalSpy remade(view, &BannerImageView::frameChanged);
        const int width = height * 728 / 90;
        view->setGeometry(0, 0, width, height);
        backdrop.resize(width, height);
        QVERIFY(remade.wait(5000));
        const QImage pixels = backdrop.grab().toImage();

        const QColor middle = pixels.pixelColor(width / 2, height / 2);
        QVERIFY(middle.red() > 200 && middle.green() < 60 && middle.blue() < 60);
        const int right = width - 1, bottom = height - 1;
        for (const QPoint corner : { QPoint(0, 0), QPoint(right, 0), QPoint(0, bottom), QPoint(right, bottom) }) {
            // Mostly backdrop: the edge of the clip is antialiased.
            QVERIFY2(qRed(pixels.pixel(corner)) < 128, "corner pixel is clipped away");
            const QPoint edge(corner.x(), corner.y() == 0 ? 1 : bottom - 1);
            const QRgb pixel = pixels.pixel(edge);
            QVERIFY2(smallRadius ? qRed(pixel) > 200 : qRed(pixel) < 60,
                     qPrintable(
                         QStringLiteral("pixel at %1,%2 is %3").arg(edge.x()).arg(edge.y()).arg(QColor(pixel).name())));
        }
    }

    // Frames play in order, loop after loop, whether a loop fits the cache (later loops copy
    // kept frames) or not (every frame is read again, one ahead of the screen).
    void framesPlayInOrder_data()
    {
        QTest::addColumn<QSize>("viewSize");
        QTest::addColumn<bool>("cached");
        QTest::newRow("banner size: a loop is kept") << QSize(809, 100) << true;
        // 3 frames of 3236×400 pixels: 15 MiB, more than the cache takes.
        QTest::newRow("too large to keep: read again every loop") << QSize(3236, 400) << false;
    }

    void framesPlayInOrder()
    {
        QFETCH(QSize, viewSize);
        QFETCH(bool, cached);
        Backdrop window;
        window.resize(viewSize);
        BannerImageView *view = playingView(&window, QRect(QPoint(), viewSize));
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QSignalSpy frames(view, &BannerImageView::frameChanged);
        QVERIFY(waitForImage(view, gif(QStringLiteral("rgb.gif"), QSize(728, 90), kFrameColours)));
        QList<int> seen;
        QList<int> shown;
        while (seen.size() < 8 && frames.wait(5000)) {
            seen.clear();
            for (const QList<QVariant> &signal : frames)
                seen.append(signal.first().toInt());
            shown.append(frameShown(view->grab().toImage()));
        }
        QCOMPARE(seen.mid(0, 8), (QList<int> { 0, 1, 2, 0, 1, 2, 0, 1 }));
        // What is painted is the frame announced.
        QVERIFY2(!shown.contains(-1), "every frame shows one of the picture's colours");
        QCOMPARE(shown.last(), view->currentFrame());
        QCOMPARE(view->cachedFrames(), cached ? 3 : 0);
    }

    // A picture that comes back (the rotation) or shows in another view of the same height
    // plays its whole loop from memory at once; one written anew under the same name is read
    // again, and one that became an error page (a failed download over it) leaves the view
    // empty, with nothing of the picture before. Memory kept for it goes with the last view.
    void pictureShownAgainIsReadOnce_data()
    {
        QTest::addColumn<bool>("otherView");
        QTest::addColumn<QString>("rewritten"); // what the file holds when it shows again
        QTest::addColumn<int>("cached");
        QTest::addColumn<int>("frame"); // the colour shown; -1: none
        QTest::newRow("same view") << false << QString() << 3 << 0;
        QTest::newRow("another view") << true << QString() << 3 << 0;
        QTest::newRow("file written anew") << false << QStringLiteral("picture") << 1 << 2;
        QTest::newRow("file now an error page") << false << QStringLiteral("error page") << 0 << -1;
    }

    void pictureShownAgainIsReadOnce()
    {
        QFETCH(bool, otherView);
        QFETCH(QString, rewritten);
        QFETCH(int, cached);
        QFETCH(int, frame);
        const QString path = m_dir.filePath(QStringLiteral("again-%1.gif").arg(QTest::currentDataTag()));
        QVERIFY(writeSolidGif(path, QSize(728, 90), kFrameColours));
        auto window = std::make_unique<Backdrop>();
        window->resize(809, 200);
        BannerImageView *view = playingView(window.get(), QRect(0, 0, 809, 100));
        BannerImageView *other = playingView(window.get(), QRect(0, 100, 809, 100));
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        QVERIFY(waitForImage(view, path));
        QTRY_COMPARE_WITH_TIMEOUT(view->cachedFrames(), 3, 5000);
        QVERIFY(waitForImage(view, redGif()));
        if (rewritten == QLatin1String("picture"))
            QVERIFY(writeSolidGif(path, QSize(728, 90), { Qt::blue, Qt::green }));
        else if (!rewritten.isEmpty())
            QVERIFY(test::writeErrorPage(path));

        BannerImageView *again = otherView ? other : view;
        QVERIFY(waitForImage(again, path));
        QCOMPARE(again->hasImage(), frame >= 0);
        QCOMPARE(again->imageSize().isEmpty(), frame < 0);
        QCOMPARE(again->cachedFrames(), cached);
        QCOMPARE(frameShown(again->grab().toImage()), frame);
        QVERIFY(BannerFrameCache::instance().bytes() > 0);
        window.reset();
        QCOMPARE(BannerFrameCache::instance().bytes(), 0);
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
        const QString path = gif(QStringLiteral("two-frames.gif"), QSize(72, 9), { Qt::red, Qt::blue });
        Backdrop window;
        BannerImageView *view = playingView(&window, QRect(0, 0, 100, 30));
        QVERIFY(waitForImage(view, path));
        QVERIFY(!view->isAnimating());

        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(view->isAnimating());
        QSignalSpy frames(view, &BannerImageView::frameChanged);
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

    // Every house banner's picture, where the banner controller looks for it, is an
    // animated strip.
    void houseBannerPicturesAreAnimatedStrips()
    {
        const QStringList identifiers = StandardNames::standardBanners().keys();
        QVERIFY(!identifiers.isEmpty());
        for (const QString &identifier : identifiers) {
            QMovie picture(StandardNames::bannerPath(identifier));
            QVERIFY2(picture.isValid() && picture.jumpToFrame(0), qPrintable(identifier));
            const QSize first = picture.currentImage().size();
            QVERIFY2(!first.isEmpty() && first.width() >= 4 * first.height(), qPrintable(identifier));
            QVERIFY2(picture.frameCount() > 1, qPrintable(identifier));
        }
    }
};

VELMORA_TEST_MAIN(BannerImageViewTest)
#include "tst_bannerimageview.moc"
