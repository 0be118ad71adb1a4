#include "TestEnvironment.h"

#include "ControlsTestSupport.h"
#include "controls/BezierPath.h"
#include "controls/CloseButtonCell.h"
#include "controls/ColoredView.h"
#include "controls/RemoveAdsButton.h"
#include "support/StandardNames.h"

#include <QDir>
#include <QPainter>
#include <QPainterPath>

using namespace velmora;
using velmora::test::Backdrop;
using velmora::test::over;
using velmora::test::PaintCounter;

namespace {

const QColor kBlack(Qt::black);

// The red of a pixel, to find the shine's bands.
int redAt(const QImage &image, int x, int y)
{
    return image.pixelColor(x, y).red();
}

} // namespace

class ControlsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Controls drawn alone on the black backdrop. The remove-ads button's face is sampled on the
    // vertical middle line near the top and bottom edges (inside the ellipse for the circle),
    // where no title or shine is drawn, and at a corner; the coloured view has square top and
    // rounded bottom corners; the close button draws its image inside its circle.
    void drawing_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<QPoint>("pixel");
        QTest::addColumn<QColor>("expected");
        const auto row = [](const char *control, QPoint pixel, const QColor &expected) {
            QTest::addRow("%s at %d,%d", control, pixel.x(), pixel.y())
                << QString::fromLatin1(control) << pixel << expected;
        };
        const QColor red(Qt::red);
        for (const QPoint pixel : { QPoint(80, 2), QPoint(80, 57), QPoint(1, 1) }) {
            row("flat button", pixel, RemoveAdsButton::green());
            row("pressed flat button: darker", pixel, over(RemoveAdsButton::green(0.8), kBlack));
        }
        row("circle button: the top colour", QPoint(80, 2), QColor(0, 200, 0));
        row("circle button: the top colour", QPoint(80, 57), QColor(0, 200, 0));
        row("circle button: corners cut", QPoint(1, 1), kBlack);
        for (const QPoint pixel : { QPoint(0, 0), QPoint(99, 0), QPoint(3, 56), QPoint(50, 59), QPoint(0, 52) })
            row("coloured view", pixel, red);
        row("coloured view: bottom rounded off", QPoint(0, 59), kBlack);
        row("coloured view: bottom rounded off", QPoint(99, 59), kBlack);
        row("uncoloured view: nothing drawn", QPoint(50, 30), kBlack);
        row("close button", QPoint(16, 16), red);
        row("close button", QPoint(16, 4), red);
        row("close button: outside the circle", QPoint(1, 1), kBlack);
        row("close button: outside the circle", QPoint(30, 30), kBlack);
    }

    void drawing()
    {
        QFETCH(QString, control);
        QFETCH(QPoint, pixel);
        QFETCH(QColor, expected);
        Backdrop backdrop;
        if (control.contains(QLatin1String("view"))) {
            auto *view = new ColoredView(&backdrop);
            view->setGeometry(0, 0, 100, 60);
            view->setColor(control.startsWith(QLatin1String("coloured")) ? QColor(Qt::red) : QColor());
        } else if (control.startsWith(QLatin1String("close"))) {
            QPixmap red(32, 32);
            red.fill(Qt::red);
            auto *button = new CloseButtonCell(&backdrop);
            button->setIcon(QIcon(red));
            button->setIconSize(QSize(32, 32));
            button->setGeometry(0, 0, 32, 32);
        } else {
            auto *button = new RemoveAdsButton(&backdrop);
            button->setGeometry(0, 0, 160, 60);
            button->setIsCircle(control.startsWith(QLatin1String("circle")));
            button->setDown(control.startsWith(QLatin1String("pressed")));
        }
        VERIFY_NEAR(backdrop.render().pixelColor(pixel), expected);
    }

    void titleColourFollowsTheState_data()
    {
        QTest::addColumn<bool>("down");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<QColor>("expected");
        QTest::newRow("normal: string colour") << false << true << QColor(Qt::white);
        QTest::newRow("disabled: string colour at 0.8")
            << false << false << over(QColor::fromRgbF(1, 1, 1, 0.8f), RemoveAdsButton::green());
        QColor control = QApplication::palette().color(QPalette::Button);
        control.setAlphaF(0.8f);
        QTest::newRow("pressed: control background at 0.8")
            << true << true << over(control, over(RemoveAdsButton::green(0.8), kBlack));
    }

    void titleColourFollowsTheState()
    {
        QFETCH(bool, down);
        QFETCH(bool, enabled);
        QFETCH(QColor, expected);
        Backdrop backdrop;
        auto *button = new RemoveAdsButton(QStringLiteral("HHHH"), &backdrop);
        QFont font = button->font();
        font.setPixelSize(30);
        button->setFont(font);
        button->setGeometry(0, 0, 200, 60);
        button->setStringColor(Qt::white);
        button->setDown(down);
        button->setEnabled(enabled);
        const QImage image = backdrop.render();
        int matching = 0;
        for (int x = 0; x < image.width(); ++x)
            matching += velmora::test::near(image.pixelColor(x, 28), expected, 2) ? 1 : 0;
        QVERIFY2(matching > 6, qPrintable(QString::number(matching)));
    }

    // Two moments of one sweep show the pale bands in two different places.
    void shineSweepsLeftToRight()
    {
        Backdrop backdrop;
        auto *button = new RemoveAdsButton(&backdrop);
        button->setGeometry(0, 0, 300, 40);
        backdrop.render();
        QVERIFY(button->isAllDraw());
        QAbstractAnimation *shine = button->animationTimer();

        const int green = RemoveAdsButton::green().red();
        const auto bandCentre = [&](int ms) {
            // The middle of the brighter band at mid height.
            const double w = 300;
            return qRound(w / 3 + w / 6 - w / 14 + RemoveAdsButton::shineOffset(w, ms));
        };
        const int early = 350, later = 800;
        QVERIFY(bandCentre(later) - bandCentre(early) > 100);
        QVERIFY(bandCentre(early) > 10 && bandCentre(later) < 290);

        shine->setCurrentTime(early);
        const QImage first = backdrop.render();
        shine->setCurrentTime(later);
        const QImage second = backdrop.render();
        QVERIFY(redAt(first, bandCentre(early), 20) > green + 60);
        QCOMPARE(redAt(first, bandCentre(later), 20), green);
        QVERIFY(redAt(second, bandCentre(later), 20) > green + 60);
        QCOMPARE(redAt(second, bandCentre(early), 20), green);
        // The bands are yellowish white fading downwards.
        QVERIFY(first.pixelColor(bandCentre(early), 20).blue() > 100);
        QVERIFY(redAt(first, bandCentre(early) + 4, 4) > redAt(first, bandCentre(early) - 4, 36));

        // Parked past the right edge for the rest of the cycle.
        shine->setCurrentTime(RemoveAdsButton::kSweepMs + 500);
        const QImage parked = backdrop.render();
        for (int x = 0; x < 300; x += 10)
            QCOMPARE(redAt(parked, x, 20), green);
    }

    void shineStartsOnceAndOnlyWhileShown()
    {
        Backdrop backdrop;
        auto *button = new RemoveAdsButton(&backdrop);
        button->setGeometry(0, 0, 200, 40);
        QAbstractAnimation *shine = button->animationTimer();
        backdrop.render();
        QVERIFY2(shine->state() != QAbstractAnimation::Running, "hidden: the shine must not run");

        backdrop.show();
        QVERIFY(QTest::qWaitForWindowExposed(&backdrop));
        QTRY_COMPARE(shine->state(), QAbstractAnimation::Running);

        // Further paints do not restart the sweep.
        shine->setCurrentTime(1200);
        button->repaint();
        QVERIFY(shine->currentTime() >= 1200);
        QCOMPARE(shine->state(), QAbstractAnimation::Running);

        // The rest after a sweep repaints nothing; the sweep repaints.
        PaintCounter paints(button);
        shine->setCurrentTime(RemoveAdsButton::kSweepMs + 50);
        QTest::qWait(50);
        paints.count = 0;
        QTest::qWait(400);
        QCOMPARE(paints.count, 0);
        shine->setCurrentTime(RemoveAdsButton::kShinePeriodMs + 300);
        QTRY_VERIFY(paints.count > 2);

        backdrop.hide();
        QVERIFY(shine->state() != QAbstractAnimation::Running);
        backdrop.show();
        QCOMPARE(shine->state(), QAbstractAnimation::Running);
    }

    // Every shipped language's title, on the round button over the video (a word a line, in
    // capitals) and on the pill of the start and end screens: no pixel of it outside the
    // face's shape, drawn without the shine's clip.
    void titleFitsTheFaceInEveryLanguage_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("circle");
        const QDir resources(test::TestEnvironment::sourcePath(QStringLiteral("src/resources")));
        const QStringList languages = resources.entryList({ QStringLiteral("*.lproj") });
        QVERIFY(languages.size() >= 10);
        for (const QString &language : languages) {
            const QUrl file
                = QUrl::fromLocalFile(resources.filePath(language + QStringLiteral("/Localizable.strings")));
            const QString text = StandardNames::getInfoFromURL(file).value(QStringLiteral("RemoveAdsText"));
            QVERIFY2(!text.isEmpty(), qPrintable(language));
            QTest::addRow("%s, circle", qPrintable(language))
                << text.split(QLatin1Char(' ')).join(QLatin1Char('\n')).toUpper() << true;
            QTest::addRow("%s, pill", qPrintable(language)) << text << false;
        }
    }

    void titleFitsTheFaceInEveryLanguage()
    {
        QFETCH(QString, title);
        QFETCH(bool, circle);
        RemoveAdsButton button(title);
        button.setIsCircle(circle);
        button.setIsAnimation(false);
        button.setBorder(0);
        button.setStringColor(Qt::white);
        button.resize(circle ? QSize(80, 80) : QSize(200, 44));
        QImage image(button.size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::black);
        button.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);

        // The title's area ends a leading from each side and cuts what passes it: a title
        // that fits leaves a column free on both sides of that area, and inside the face.
        QPainterPath face;
        const QRectF inside = QRectF(button.rect()).adjusted(1.5, 1.5, -1.5, -1.5);
        if (circle)
            face.addEllipse(inside);
        else
            face.addRoundedRect(inside, button.cornerRadius(), button.cornerRadius());
        const int first = qCeil(button.titleLeading()) + 1, last = button.width() - qCeil(button.titleLeading()) - 2;
        int titlePixels = 0, outside = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (qGray(image.pixel(x, y)) < 200) // the white title over the face's colour
                    continue;
                ++titlePixels;
                if (x < first || x > last || !face.contains(QPointF(x + 0.5, y + 0.5)))
                    ++outside;
            }
        }
        QVERIFY(titlePixels > 20);
        QCOMPARE(outside, 0);
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

VELMORA_TEST_MAIN(ControlsTest)
#include "tst_controls.moc"
