#include "TestEnvironment.h"

#include "ControlsTestSupport.h"
#include "controls/BezierPath.h"
#include "controls/CloseButtonCell.h"
#include "controls/ColoredView.h"

#include <QPainter>

using namespace velmora;
using velmora::test::Backdrop;
using velmora::test::PaintCounter;

namespace {

const QColor kBlack(Qt::black);

} // namespace

class SmallControlsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void coloredViewSquareTopRoundedBottom_data()
    {
        QTest::addColumn<QColor>("colour");
        QTest::addColumn<QPoint>("pixel");
        QTest::addColumn<QColor>("expected");
        const QColor red(Qt::red);
        QTest::newRow("top left square") << red << QPoint(0, 0) << red;
        QTest::newRow("top right square") << red << QPoint(99, 0) << red;
        QTest::newRow("bottom left rounded off") << red << QPoint(0, 59) << kBlack;
        QTest::newRow("bottom right rounded off") << red << QPoint(99, 59) << kBlack;
        QTest::newRow("just inside the bottom left curve") << red << QPoint(3, 56) << red;
        QTest::newRow("bottom edge middle") << red << QPoint(50, 59) << red;
        QTest::newRow("left edge above the curve") << red << QPoint(0, 52) << red;
        QTest::newRow("no colour draws nothing") << QColor() << QPoint(50, 30) << kBlack;
    }

    void coloredViewSquareTopRoundedBottom()
    {
        QFETCH(QColor, colour);
        QFETCH(QPoint, pixel);
        QFETCH(QColor, expected);
        Backdrop backdrop;
        auto *view = new ColoredView(&backdrop);
        view->setGeometry(0, 0, 100, 60);
        view->setColor(colour);
        VERIFY_NEAR(backdrop.render().pixelColor(pixel), expected);
    }

    void coloredViewRepaintsWhenItsColourChanges()
    {
        ColoredView view;
        view.resize(40, 30);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QCoreApplication::processEvents();
        PaintCounter counter(&view);
        view.setColor(Qt::blue);
        QTRY_VERIFY(counter.count > 0);
    }

    void closeButtonDrawsItsImageInACircle()
    {
        QPixmap red(32, 32);
        red.fill(Qt::red);
        Backdrop backdrop;
        auto *button = new CloseButtonCell(&backdrop);
        button->setIcon(QIcon(red));
        button->setIconSize(QSize(32, 32));
        button->setGeometry(0, 0, 32, 32);
        const QImage image = backdrop.render();
        VERIFY_NEAR(image.pixelColor(16, 16), QColor(Qt::red));
        VERIFY_NEAR(image.pixelColor(16, 4), QColor(Qt::red));
        VERIFY_NEAR(image.pixelColor(1, 1), kBlack);
        VERIFY_NEAR(image.pixelColor(30, 30), kBlack);
    }

    // The layer fills a copy of its shape only, first colour at the top, at the position given.
    void gradientLayerInTheShapeOfAPath()
    {
        QPainterPath square;
        square.addRect(QRectF(0, 0, 20, 100));
        const auto layer = BezierPath::startAnimationPathGradientFill(square, QRectF(5, 5, 40, 100), QColor(Qt::white),
                                                                      QColor(Qt::blue));
        QCOMPARE(layer.frame, QRectF(0, 0, 40, 100));
        QImage image(80, 100, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::black);
        QPainter painter(&image);
        layer.paint(painter, QPointF(30, 0));
        painter.end();
        VERIFY_NEAR(image.pixelColor(40, 0), QColor(Qt::white));
        VERIFY_NEAR(image.pixelColor(40, 99), QColor(0, 0, 255));
        QVERIFY(image.pixelColor(40, 50).red() > 100 && image.pixelColor(40, 50).red() < 155);
        VERIFY_NEAR(image.pixelColor(10, 50), kBlack); // left of the moved layer
        VERIFY_NEAR(image.pixelColor(60, 50), kBlack); // inside the frame, outside the shape
    }
};

VELMORA_TEST_MAIN(SmallControlsTest)
#include "tst_smallcontrols.moc"
