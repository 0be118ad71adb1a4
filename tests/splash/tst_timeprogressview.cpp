#include "TestEnvironment.h"

#include "splash/SplashScreenLabelsView.h"
#include "splash/TimeProgressView.h"
#include "support/ManualClock.h"

#include <velmora/Timer.h>

#include <QLabel>
#include <QtMath>

using namespace velmora;

namespace {

// The pixel at `degrees` (counter-clockwise from three o'clock) and `radius` from the centre.
QColor pixelAt(const QImage &image, const QPointF &centre, double degrees, double radius)
{
    const double angle = qDegreesToRadians(degrees);
    const QPoint point(qFloor(centre.x() + radius * qCos(angle)), qFloor(centre.y() - radius * qSin(angle)));
    return image.pixelColor(point);
}

} // namespace

class TimeProgressViewTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { Clock::install(&m_clock); }
    void cleanup() { Clock::install(nullptr); }

    void paintsDrawTheStep_data()
    {
        QTest::addColumn<QColor>("track");
        QTest::addColumn<QColor>("progress");
        QTest::addColumn<double>("widthBorder");
        QTest::addColumn<double>("widthProgress");
        QTest::newRow("grey track, dark progress") << QColor(128, 128, 128) << QColor(85, 85, 85) << 6.0 << 8.0;
        QTest::newRow("thick red track, thin blue progress")
            << QColor(220, 30, 30) << QColor(20, 60, 230) << 14.0 << 6.0;
    }

    // Started from 5 of 10 the ring holds step 50, and a paint shows it (180°) and leaves it
    // there: the geometry is of the step after the paint.
    void paintsDrawTheStep()
    {
        QFETCH(QColor, track);
        QFETCH(QColor, progress);
        QFETCH(double, widthBorder);
        QFETCH(double, widthProgress);
        const QColor disc(255, 255, 240);
        TimeProgressView ring;
        ring.resize(300, 300);
        ring.setBackgroundColor(disc);
        ring.setBackgroundProgressColor(track);
        ring.setProgressColor(progress);
        ring.setWidthBorder(widthBorder);
        ring.setWidthProgress(widthProgress);
        ring.startTimerFromSec(5, 10);
        QCOMPARE(ring.val1(), qint64(50));

        const QImage image = ring.grab().toImage();
        const auto geometry = TimeProgressView::computeGeometry(ring.rect(), ring.val1(), widthBorder, widthProgress);
        QCOMPARE(geometry.sweep, qint64(180));

        const QPointF c = geometry.centre;
        const double inTrack = 150 - widthBorder / 2;
        const double inProgressOnly = 150 - widthBorder - widthProgress / 2;
        QCOMPARE(pixelAt(image, c, 0, 0), disc);
        // Elapsed: clockwise from twelve o'clock to 90 - 180 = -90 degrees.
        QCOMPARE(pixelAt(image, c, 80, inTrack), progress);
        QCOMPARE(pixelAt(image, c, -45, inTrack), progress);
        QCOMPARE(pixelAt(image, c, -88.5, inTrack), progress);
        QCOMPARE(pixelAt(image, c, -88.5, inProgressOnly), progress);
        // Not yet elapsed: the thinner track, the disc inside it.
        QCOMPARE(pixelAt(image, c, -95, inTrack), track);
        QCOMPARE(pixelAt(image, c, 135, inTrack), track);
        QCOMPARE(pixelAt(image, c, 100, inTrack), track);
        QCOMPARE(pixelAt(image, c, 135, inProgressOnly), disc);
        // Nothing outside the disc.
        QCOMPARE(image.pixelColor(2, 2).alpha(), 0);

        // A later step shows at the next paint: 75 reaches 90 - 270 = -180 degrees.
        ring.setVal1(75);
        const QImage later = ring.grab().toImage();
        QCOMPARE(pixelAt(later, c, -135, inTrack), progress);
        QCOMPARE(pixelAt(later, c, 135, inTrack), track);
    }

    // Countdowns of a 60-pixel ring in a window, written as steps: show, hide, start FROM END,
    // stop, complite, set STEP, pass SECONDS [TIMES] (that much virtual time, that many times),
    // paint; and the checks at STEP, timer 0|1 (a tick is armed), ticking 0|1 (counting down,
    // shown or not), shortest (the tick is the shortest there is).
    void countdown_data()
    {
        QTest::addColumn<QString>("steps");
        const auto row = [](const char *name, const char *steps) { QTest::newRow(name) << QString::fromLatin1(steps); };
        row("a hundred ticks a countdown, none past full",
            "show, start 0 10, timer 1, at 0, pass 0.1 10, at 10, set 98, pass 0.1 2, at 100, timer 0, ticking 0, "
            "pass 1, at 100");
        row("stop keeps the step, complite ticks on from it",
            "show, start 4 8, stop, timer 0, at 50, pass 5, at 50, complite, at 50, pass 0.08, at 51");
        // Had the first timer stayed, its ticks of 0.1 s would count too.
        row("a restart replaces the running timer; past the end it never stops",
            "show, start 0 10, start 30 20, at 150, pass 0.2, at 151, timer 1");
        // An end of 0 divides by zero; the ring must survive it and keep ticking at once. A
        // hundred ticks fill a ring that counts from 0; one started at 0 of 0 never fills.
        row("start 0 of 0", "show, start 0 0, shortest, paint, pass 0.01, timer 1");
        row("complite without a start", "show, complite, shortest, paint, pass 0.01, timer 0, at 100");
        row("no ticks while hidden",
            "start 0 10, timer 0, show, timer 1, hide, timer 0, ticking 1, pass 2, at 0, show, timer 1, stop, hide, "
            "show, timer 0");
    }

    void countdown()
    {
        QFETCH(QString, steps);
        QWidget window;
        auto *ring = new TimeProgressView(&window);
        ring->resize(60, 60);
        for (const QString &step : steps.split(QLatin1Char(','))) {
            const QStringList words = step.split(QLatin1Char(' '), Qt::SkipEmptyParts);
            const QString op = words.value(0);
            const double number = words.value(1).toDouble();
            if (op == QLatin1String("show")) {
                window.show();
                QVERIFY(QTest::qWaitForWindowExposed(&window));
                QCoreApplication::processEvents();
            } else if (op == QLatin1String("hide")) {
                window.hide();
            } else if (op == QLatin1String("start")) {
                ring->startTimerFromSec(float(number), words.value(2).toFloat());
            } else if (op == QLatin1String("stop")) {
                ring->stop();
            } else if (op == QLatin1String("complite")) {
                ring->complite();
            } else if (op == QLatin1String("set")) {
                ring->setVal1(qint64(number));
            } else if (op == QLatin1String("pass")) {
                for (int time = 0; time < qMax(1, words.value(2).toInt()); ++time) {
                    m_clock.advance(number);
                    QCoreApplication::processEvents();
                }
            } else if (op == QLatin1String("paint")) {
                QCOMPARE(ring->grab().size(), ring->size());
            } else if (op == QLatin1String("shortest")) {
                QVERIFY(ring->timer());
                QVERIFY(ring->timer()->timeInterval() < 0.001);
            } else {
                qint64 actual = 0;
                if (op == QLatin1String("at"))
                    actual = ring->val1();
                else if (op == QLatin1String("timer"))
                    actual = ring->timer() ? 1 : 0;
                else if (op == QLatin1String("ticking"))
                    actual = ring->isTicking() ? 1 : 0;
                else
                    QFAIL(qPrintable(QStringLiteral("unknown step: ") + step));
                QVERIFY2(actual == qint64(number),
                         qPrintable(QStringLiteral("%1, but %2").arg(step.trimmed()).arg(actual)));
            }
        }
    }

    // The countdown text sits over its ring.
    void countdownTextSitsOverItsRing()
    {
        QWidget root;
        root.resize(400, 300);
        auto *labels = new SplashScreenLabelsView(&root);
        labels->setFrame(QRect(0, 40, 400, 150));
        labels->timeLabel()->setText(QStringLiteral("5"));
        root.show();
        QVERIFY(QTest::qWaitForWindowExposed(&root));
        QCoreApplication::processEvents();
        QVERIFY(labels->timeProgressView()->geometry().contains(labels->timeLabel()->geometry().center()));
    }

private:
    ManualClock m_clock;
};

VELMORA_TEST_MAIN(TimeProgressViewTest)
#include "tst_timeprogressview.moc"
