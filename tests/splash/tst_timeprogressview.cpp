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

    void paintsDrawTheStepWithoutMovingIt_data()
    {
        QTest::addColumn<QColor>("track");
        QTest::addColumn<QColor>("progress");
        QTest::addColumn<double>("widthBorder");
        QTest::addColumn<double>("widthProgress");
        QTest::newRow("grey track, dark progress") << QColor(128, 128, 128) << QColor(85, 85, 85) << 6.0 << 8.0;
        QTest::newRow("thick red track, thin blue progress")
            << QColor(220, 30, 30) << QColor(20, 60, 230) << 14.0 << 6.0;
    }

    // Started from 5 of 10 the ring holds step 50, and paints show it (180°) until a tick.
    void paintsDrawTheStepWithoutMovingIt()
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

        ring.grab();
        const QImage image = ring.grab().toImage();
        QCOMPARE(ring.val1(), qint64(50));
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

    void ticksAHundredTimesPerCountdownAndStopsWhenFull()
    {
        TimeProgressView ring;
        ring.resize(60, 60);
        showAndSettle(ring);
        ring.startTimerFromSec(0, 10);
        QVERIFY(ring.timer());

        QCoreApplication::processEvents();
        const qint64 before = ring.val1();
        for (int tick = 0; tick < 10; ++tick) {
            m_clock.advance(0.1);
            QCoreApplication::processEvents();
        }
        QCOMPARE(ring.val1(), before + 10);

        ring.setVal1(98);
        for (int tick = 0; tick < 2; ++tick) {
            m_clock.advance(0.1);
            QCoreApplication::processEvents();
        }
        QCOMPARE(ring.val1(), qint64(100));
        QVERIFY(!ring.timer());
        QVERIFY(!ring.isTicking());
        m_clock.advance(1.0);
        QCoreApplication::processEvents();
        QCOMPARE(ring.val1(), qint64(100));
    }

    void stopThenCompliteContinuesFromTheSameStep()
    {
        TimeProgressView ring;
        ring.resize(60, 60);
        showAndSettle(ring);
        ring.startTimerFromSec(4, 8);
        ring.stop();
        QVERIFY(!ring.timer());
        QCoreApplication::processEvents();
        QCOMPARE(ring.val1(), qint64(50));
        m_clock.advance(5);
        QCoreApplication::processEvents();
        QCOMPARE(ring.val1(), qint64(50));

        ring.complite();
        QCOMPARE(ring.val1(), qint64(50));
        m_clock.advance(0.08);
        QCoreApplication::processEvents();
        QCOMPARE(ring.val1(), qint64(51));
    }

    // An end of 0 divides by zero; the ring must survive it and keep ticking at once.
    void zeroLengthCountdownsDoNotBreakTheRing_data()
    {
        QTest::addColumn<bool>("viaStart");
        QTest::newRow("start 0 of 0") << true;
        QTest::newRow("complite without a start") << false;
    }

    void zeroLengthCountdownsDoNotBreakTheRing()
    {
        QFETCH(bool, viaStart);
        TimeProgressView ring;
        ring.resize(40, 40);
        showAndSettle(ring);
        if (viaStart)
            ring.startTimerFromSec(0, 0);
        else
            ring.complite();
        QVERIFY(ring.timer());
        QVERIFY(ring.timer()->timeInterval() < 0.001);
        const QImage image = ring.grab().toImage();
        QCOMPARE(image.size(), QSize(40, 40));
        // A hundred ticks fill a ring that counts from 0; one started at 0 of 0 never fills.
        m_clock.advance(0.01);
        QCoreApplication::processEvents();
        QCOMPARE(bool(ring.timer()), viaStart);
        QCOMPARE(ring.val1() == 100, !viaStart);
    }

    // A restart replaces the running timer; one started past the end never stops.
    void aRestartReplacesTheRunningTimer()
    {
        TimeProgressView ring;
        showAndSettle(ring);
        ring.startTimerFromSec(0, 10);
        QPointer<Timer> first = ring.timer();
        ring.startTimerFromSec(30, 20);
        QVERIFY(first.isNull() || !first->isValid());
        QCOMPARE(ring.val1(), qint64(150));
        ring.grab();
        m_clock.advance(0.2);
        QCoreApplication::processEvents();
        QCOMPARE(ring.val1(), qint64(151));
        QVERIFY(ring.timer());
    }

    void doesNotTickWhileHidden()
    {
        QWidget window;
        auto *ring = new TimeProgressView(&window);
        ring->resize(60, 60);
        ring->startTimerFromSec(0, 10);
        QVERIFY2(!ring->timer(), "a ring that was never shown must not tick");

        showAndSettle(window);
        QVERIFY(ring->timer());
        window.hide();
        QVERIFY(!ring->timer());
        QVERIFY(ring->isTicking());
        const qint64 step = ring->val1();
        m_clock.advance(2);
        QCoreApplication::processEvents();
        QCOMPARE(ring->val1(), step);

        showAndSettle(window);
        QVERIFY(ring->timer());
        ring->stop();
        window.hide();
        showAndSettle(window);
        QVERIFY2(!ring->timer(), "showing a stopped ring must not start it");
    }

    // The countdown text sits over its ring.
    void countdownTextSitsOverItsRing()
    {
        QWidget root;
        root.resize(400, 300);
        auto *labels = new SplashScreenLabelsView(&root);
        labels->setFrame(QRect(0, 40, 400, 150));
        labels->timeLabel()->setText(QStringLiteral("5"));
        showAndSettle(root);
        QVERIFY(labels->timeProgressView()->geometry().contains(labels->timeLabel()->geometry().center()));
    }

private:
    static void showAndSettle(QWidget &widget)
    {
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QCoreApplication::processEvents();
    }

    ManualClock m_clock;
};

VELMORA_TEST_MAIN(TimeProgressViewTest)
#include "tst_timeprogressview.moc"
