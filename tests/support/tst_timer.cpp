#include "TestEnvironment.h"

#include "support/ManualClock.h"
#include "support/SystemClock.h"

#include <velmora/Timer.h>

using namespace velmora;

class TimerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { Clock::install(&m_clock); }
    void cleanup() { Clock::install(nullptr); }

    void oneShotFiresOnceAtItsInstant()
    {
        QObject context;
        QList<double> firedAt;
        Timer *timer = Timer::scheduled(2.5, false, &context, [&] { firedAt << m_clock.now(); });
        const double start = m_clock.now();
        m_clock.advance(2.4);
        QVERIFY(firedAt.isEmpty());
        m_clock.advance(10);
        QCOMPARE(firedAt, QList<double> { start + 2.5 });
        QVERIFY(!timer->isValid());
    }

    void repeatingKeepsItsGridAndStopsOnInvalidate()
    {
        QObject context;
        QList<double> firedAt;
        const double start = m_clock.now();
        QPointer<Timer> timer = Timer::scheduled(1.0, true, &context, [&] { firedAt << m_clock.now() - start; });
        m_clock.advance(3.5);
        QCOMPARE(firedAt, (QList<double> { 1.0, 2.0, 3.0 }));
        timer->invalidate();
        m_clock.advance(5);
        QCOMPARE(firedAt.size(), 3);
    }

    void timersFireInOrderIncludingOnesScheduledWhileFiring()
    {
        QObject context;
        QStringList order;
        Timer::scheduled(2.0, false, &context, [&] { order << QStringLiteral("b"); });
        Timer::scheduled(1.0, false, &context, [&] {
            order << QStringLiteral("a");
            Timer::scheduled(0.5, false, &context, [&] { order << QStringLiteral("a+0.5"); });
        });
        m_clock.advance(5);
        QCOMPARE(order, (QStringList { QStringLiteral("a"), QStringLiteral("a+0.5"), QStringLiteral("b") }));
    }

    void timerDiesWithItsContext()
    {
        int fired = 0;
        auto *context = new QObject;
        QPointer<Timer> timer = Timer::scheduled(1.0, true, context, [&] { ++fired; });
        delete context;
        QVERIFY(timer.isNull());
        m_clock.advance(5);
        QCOMPARE(fired, 0);
        QCOMPARE(m_clock.pendingTimers(), 0);
    }

    void actionMayDestroyItsOwnContext()
    {
        auto *context = new QObject;
        QPointer<QObject> watch = context;
        Timer::scheduled(1.0, true, context, [&] { delete context; });
        m_clock.advance(3);
        QVERIFY(watch.isNull());
    }

    void systemClockFiresPreciseTimer()
    {
        Clock::install(nullptr);
        QObject context;
        QElapsedTimer elapsed;
        elapsed.start();
        bool fired = false;
        Timer::scheduled(0.05, false, &context, [&] { fired = true; });
        QTRY_VERIFY_WITH_TIMEOUT(fired, 2000);
        QVERIFY(elapsed.elapsed() >= 49);
    }

    // A QTimer's interval is an int of milliseconds: waits beyond 24.8 days must still end.
    void systemClockEndsWaitsLongerThanAQTimerCan_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::newRow("30 days") << 30 * 86400.0;
        QTest::newRow("10 years") << 10 * 365.25 * 86400.0;
    }

    void systemClockEndsWaitsLongerThanAQTimerCan()
    {
        QFETCH(double, seconds);
        SystemClock clock(0.05);
        Clock::install(&clock);
        QObject context;
        bool fired = false;
        Timer::scheduled(seconds, false, &context, [&] { fired = true; });
        Clock::install(nullptr);
        QTest::qWait(200);
        QVERIFY(!fired);
        clock.skip(seconds - 1.0);
        QTest::qWait(200);
        QVERIFY(!fired);
        clock.skip(1.0);
        QTRY_VERIFY_WITH_TIMEOUT(fired, 5000);
    }

private:
    ManualClock m_clock;
};

VELMORA_TEST_MAIN(TimerTest)
#include "tst_timer.moc"
