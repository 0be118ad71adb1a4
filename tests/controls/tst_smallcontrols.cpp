#include "TestEnvironment.h"

#include "ControlsTestSupport.h"
#include "controls/BezierPath.h"
#include "controls/CloseButtonCell.h"
#include "controls/ColoredButtonCell.h"
#include "controls/ColoredView.h"

#include <QPainter>

using namespace velmora;
using velmora::test::Backdrop;

namespace {

const QColor kBlack(Qt::black);
const QColor kFace(30, 120, 220);
const QColor kPressed(20, 80, 160);
const QColor kDisabled(120, 120, 120);

int countNear(const QImage &image, const QColor &colour)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += velmora::test::near(image.pixelColor(x, y), colour, 1) ? 1 : 0;
    return count;
}

class PaintCounter : public QObject {
public:
    int paints = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

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
        PaintCounter counter;
        view.installEventFilter(&counter);
        view.setColor(Qt::blue);
        QTRY_VERIFY(counter.paints > 0);
    }

    // Bezel and title take the colours of the button's state; a circle clips the corners.
    void coloredButtonColours_data()
    {
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("down");
        QTest::addColumn<bool>("circle");
        QTest::addColumn<QColor>("bezel"); // beside the title
        QTest::addColumn<QColor>("corner");
        QTest::addColumn<QColor>("title");
        QTest::newRow("default") << true << false << false << kFace << kFace << QColor(Qt::yellow);
        QTest::newRow("highlighted") << true << true << false << kPressed << kPressed << QColor(Qt::cyan);
        QTest::newRow("disabled wins over highlighted")
            << false << true << false << kDisabled << kDisabled << QColor(Qt::magenta);
        QTest::newRow("circle cuts the corners") << true << false << true << kFace << kBlack << QColor(Qt::yellow);
    }

    void coloredButtonColours()
    {
        QFETCH(bool, enabled);
        QFETCH(bool, down);
        QFETCH(bool, circle);
        QFETCH(QColor, bezel);
        QFETCH(QColor, corner);
        QFETCH(QColor, title);
        Backdrop backdrop;
        auto *button = new ColoredButtonCell(QStringLiteral("HHHH"), &backdrop);
        QFont font = button->font();
        font.setPixelSize(24);
        font.setBold(true);
        button->setFont(font);
        button->setGeometry(0, 0, 160, 40);
        button->setCornerRadius(0);
        button->setCircle(circle);
        button->setDefaultColor(kFace);
        button->setHighlightedColor(kPressed);
        button->setDisabledColor(kDisabled);
        button->setTitleDefaultColor(Qt::yellow);
        button->setTitleHighlightedColor(Qt::cyan);
        button->setTitleDisabledColor(Qt::magenta);
        button->setDown(down);
        button->setEnabled(enabled);
        const QImage image = backdrop.render();
        VERIFY_NEAR(image.pixelColor(8, 20), bezel);
        VERIFY_NEAR(image.pixelColor(1, 1), corner);
        for (const QColor &colour : { QColor(Qt::yellow), QColor(Qt::cyan), QColor(Qt::magenta) }) {
            const int count = countNear(image, colour);
            if (colour == title)
                QVERIFY2(count > 20, qPrintable(QString::number(count)));
            else
                QCOMPARE(count, 0);
        }
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
