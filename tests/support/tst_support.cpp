#include "ChildProcesses.h"
#include "TestEnvironment.h"

#include "support/ManualClock.h"
#include "support/PicturePool.h"
#include "support/PropertyList.h"
#include "support/StandardNames.h"
#include "support/Switches.h"
#include "support/SystemClock.h"

#include <velmora/Bundle.h>
#include <velmora/Support.h>
#include <velmora/Timer.h>

#include <QDir>
#include <QImage>
#include <QTemporaryDir>

#include <memory>
#include <sched.h>
#include <semaphore>
#include <sys/resource.h>

using namespace velmora;

namespace {

QByteArray utf16le(const QString &text, bool bom = true)
{
    QByteArray bytes = bom ? QByteArray("\xFF\xFE", 2) : QByteArray();
    for (QChar c : text) {
        bytes.append(char(c.unicode() & 0xFF));
        bytes.append(char(c.unicode() >> 8));
    }
    return bytes;
}

QByteArray utf16be(const QString &text)
{
    QByteArray bytes;
    for (QChar c : text) {
        bytes.append(char(c.unicode() >> 8));
        bytes.append(char(c.unicode() & 0xFF));
    }
    return bytes;
}

QStringList capturedLog;
void captureLog(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    if (qstrcmp(context.category, "velmora") == 0)
        capturedLog << message;
}

using Table = QHash<QString, QString>;

} // namespace

class SupportTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parseStrings_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<Table>("expected");
        const Table ax { { QStringLiteral("A"), QStringLiteral("x") } };
        QTest::newRow("comment, blank line and one entry")
            << utf16le(QStringLiteral("/* header */\n\n\"A\" = \"x\";\n")) << ax;
        QTest::newRow("value holding the separator is skipped")
            << utf16le(QStringLiteral("\"B\" = \"y = \"z\";\n\"A\" = \"x\";")) << ax;
        QTest::newRow("later line wins") << utf16le(QStringLiteral("\"A\" = \"old\";\n\"A\" = \"x\";")) << ax;
        QTest::newRow("value shorter than its closing quote and semicolon")
            << utf16le(QStringLiteral("\"B\" = \"\n\"A\" = \"x\";")) << ax;
        QTest::newRow("key piece without a closing quote")
            << utf16le(QStringLiteral("\"B = \"y\";\nB = \"y\";\n\"A\" = \"x\";")) << ax;
        QTest::newRow("empty value") << utf16le(QStringLiteral("\"A\" = \"\";"))
                                     << Table { { QStringLiteral("A"), QString() } };
        QTest::newRow("no escapes are interpreted") << utf16le(QStringLiteral("\"A\" = \"a\\nb\";"))
                                                    << Table { { QStringLiteral("A"), QStringLiteral("a\\nb") } };
        QTest::newRow("little endian without mark") << utf16le(QStringLiteral("\"A\" = \"x\";"), false) << ax;
        QTest::newRow("big endian without mark") << utf16be(QStringLiteral("\"A\" = \"x\";")) << ax;
        QTest::newRow("non-ASCII text") << utf16le(QStringLiteral("\"A\" = \"Удалить рекламу\";"))
                                        << Table { { QStringLiteral("A"), QStringLiteral("Удалить рекламу") } };
        // A file that is not whole UTF-16 is refused, even where a line would read.
        QTest::newRow("odd byte count") << utf16le(QStringLiteral("\"A\" = \"x\";\n")) + 'x' << Table {};
        QTest::newRow("empty file") << QByteArray() << Table {};
    }

    void parseStrings()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(Table, expected);
        QCOMPARE(StandardNames::parseStrings(bytes), expected);
    }

    void getInfoFromURLReadsFilesAndToleratesMissingOnes()
    {
        QTemporaryDir dir;
        QFile file(dir.filePath(QStringLiteral("Localizable.strings")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(utf16le(QStringLiteral("\"RemoveAdsText\" = \"Remove ads\";\n")));
        file.close();
        QCOMPARE(
            StandardNames::getInfoFromURL(QUrl::fromLocalFile(file.fileName())).value(QStringLiteral("RemoveAdsText")),
            QStringLiteral("Remove ads"));
        QVERIFY(StandardNames::getInfoFromURL(QUrl::fromLocalFile(dir.filePath(QStringLiteral("none")))).isEmpty());
        QVERIFY(StandardNames::getInfoFromURL(QUrl(QStringLiteral("https://host/x.strings"))).isEmpty());
    }

    void curentLocaleIdentifier_data()
    {
        QTest::addColumn<QStringList>("preferred");
        QTest::addColumn<QString>("expected");
        QTest::newRow("fr-CA,en-US") << QStringList { "fr-CA", "en-US" } << "fr";
        QTest::newRow("pt-BR") << QStringList { "pt-BR" } << "pt-PT";
        QTest::newRow("zh-Hant-TW") << QStringList { "zh-Hant-TW" } << "zh-Hans";
        QTest::newRow("sv-SE,nl-NL") << QStringList { "sv-SE", "nl-NL" } << "en";
        QTest::newRow("sv-SE,ja-JP") << QStringList { "sv-SE", "ja-JP" } << "ja";
        QTest::newRow("en-GB") << QStringList { "en-GB" } << "en";
        QTest::newRow("case matters") << QStringList { "DE-de", "ko" } << "ko";
        QTest::newRow("none") << QStringList {} << "en";
    }

    void curentLocaleIdentifier()
    {
        QFETCH(QStringList, preferred);
        QFETCH(QString, expected);
        QCOMPARE(StandardNames::curentLocaleIdentifier(preferred), expected);
    }

    // Every language the chooser can return must have a complete table.
    void everyShippedTableHasTheThreeKeys_data()
    {
        QTest::addColumn<QString>("language");
        for (const char *language : { "en", "ru", "de", "es", "fr", "it", "ko", "pt-PT", "ja", "zh-Hans" })
            QTest::newRow(language) << QString::fromLatin1(language);
    }

    void everyShippedTableHasTheThreeKeys()
    {
        QFETCH(QString, language);
        const Bundle framework = Bundle::resourseBundleForClass();
        const QString path
            = framework.resourcePath() + QLatin1Char('/') + language + QStringLiteral(".lproj/Localizable.strings");
        const Table table = StandardNames::getInfoFromURL(QUrl(QStringLiteral("qrc") + path));
        for (const char *key :
             { "ApplicationWillBeLaunchedTextFirst", "ApplicationWillBeLaunchedTextSecond", "RemoveAdsText" }) {
            const QString value = table.value(QString::fromLatin1(key));
            QVERIFY2(!value.trimmed().isEmpty(), key);
            QVERIFY2(!value.contains(QLatin1Char('"')), key);
        }
    }

    void stringFromKey()
    {
        QCOMPARE(VLMStringFromKey(QStringLiteral("RemoveAdsText")), QStringLiteral("Remove ads"));
        QCOMPARE(VLMStringFromKey(QStringLiteral("NoSuchKey")), QStringLiteral("NoSuchKey"));
    }

    void logIsGatedByDebugModeAndAdsOff()
    {
        capturedLog.clear();
        const auto previous = qInstallMessageHandler(captureLog);
        Switches::setADSRemoved(false);
        LOG(QStringLiteral("before debug mode"));
        Switches::activateDebugMode();
        LOG(QStringLiteral("in debug mode"));
        Switches::setADSRemoved(true);
        LOG(QStringLiteral("ads removed"));
        Switches::setADSRemoved(false);
        qInstallMessageHandler(previous);
        QCOMPARE(capturedLog, QStringList { QStringLiteral("in debug mode") });
    }

    void settingsWritesFromManyThreads()
    {
        QList<QThread *> threads;
        for (int t = 0; t < 4; ++t) {
            threads << QThread::create([t] {
                for (int i = 0; i < 20; ++i)
                    VLMSetObjForKey(i, QStringLiteral("thread%1").arg(t));
            });
            threads.last()->start();
        }
        for (QThread *thread : threads) {
            QVERIFY(thread->wait(30000));
            delete thread;
        }
        for (int t = 0; t < 4; ++t)
            QCOMPARE(VLMObjForKey(QStringLiteral("thread%1").arg(t)).toInt(), 19);
    }

    // A picture decodes off the core of the thread that asked for it. Afterwards every thread
    // of the process may use every core, at the host's priority: also the threads of Qt's
    // global pool, which a large scale on the picture thread starts from there.
    void picturesDecodeOffTheAskingCore()
    {
        cpu_set_t every;
        QCOMPARE(sched_getaffinity(0, sizeof every, &every), 0);
        if (CPU_COUNT(&every) < 2)
            QSKIP("one core only");
        // Shared with the tasks, which may still be leaving a semaphore when this returns.
        struct Handover {
            std::binary_semaphore ran { 0 }, unpinned { 0 };
            qint64 worker = 0;
            cpu_set_t during;
        };
        const auto handover = std::make_shared<Handover>();
        PicturePool::start([handover] {
            handover->worker = gettid();
            handover->ran.release();
        });
        handover->ran.acquire();
        // The picture thread exists and, its task wrapped up, has every core again: pinned
        // before that, this thread would hand it only the one core.
        const auto everyCore = [&] {
            cpu_set_t cores;
            return sched_getaffinity(pid_t(handover->worker), sizeof cores, &cores) == 0 && CPU_EQUAL(&cores, &every);
        };
        QTRY_VERIFY(everyCore());
        int core = 0;
        while (!CPU_ISSET(core, &every))
            ++core;
        cpu_set_t only;
        CPU_ZERO(&only);
        CPU_SET(core, &only);
        QCOMPARE(sched_setaffinity(0, sizeof only, &only), 0);
        PicturePool::start([handover] {
            sched_getaffinity(0, sizeof handover->during, &handover->during);
            (void)QImage(1280, 720, QImage::Format_RGB32)
                .scaled(640, 360, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            handover->unpinned.acquire();
            handover->ran.release();
        });
        sched_setaffinity(0, sizeof every, &every);
        handover->unpinned.release();
        handover->ran.acquire();
        const cpu_set_t during = handover->during;
        QVERIFY(!CPU_ISSET(core, &during));
        QCOMPARE(CPU_COUNT(&during), CPU_COUNT(&every) - 1);
        const int niceness = getpriority(PRIO_PROCESS, 0);
        const auto asTheHost = [&] {
            const QStringList tasks
                = QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
            return tasks.size() > 2 && test::threadsBelowTheMainThread().isEmpty()
                && std::all_of(tasks.begin(), tasks.end(), [&](const QString &task) {
                       return getpriority(PRIO_PROCESS, id_t(task.toInt())) == niceness;
                   });
        };
        QTRY_VERIFY(asTheHost());
    }

    void hostBundleReadsInfoPlistAndResources()
    {
        QTemporaryDir dir;
        QDir(dir.path()).mkpath(QStringLiteral("Resources"));
        QVERIFY(QFile::copy(velmora::test::TestEnvironment::sourcePath(QStringLiteral("tests/data/Info.plist")),
                            dir.filePath(QStringLiteral("Resources/Info.plist"))));
        for (const QString &name :
             { QStringLiteral("both.mp4"), QStringLiteral("Resources/both.mp4"), QStringLiteral("top.mp4") }) {
            QFile file(dir.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        Bundle::setMainAppBundlePath(dir.path());
        const Bundle host = VLMMainAppBundle();
        Bundle::setMainAppBundlePath(QString());

        QCOMPARE(host.objectForInfoDictionaryKey(QStringLiteral("MetrivoAppId")).toString(),
                 QStringLiteral("mac.123456.mac-store"));
        QCOMPARE(host.objectForInfoDictionaryKey(QStringLiteral("Count")).toInt(), 3);
        QCOMPARE(host.objectForInfoDictionaryKey(QStringLiteral("Flags")).toList(),
                 (QVariantList { true, false, 1.5 }));
        QCOMPARE(host.pathForResource(QStringLiteral("both"), QStringLiteral("mp4")),
                 dir.filePath(QStringLiteral("Resources/both.mp4")));
        QCOMPARE(host.pathForResource(QStringLiteral("top"), QStringLiteral("mp4")),
                 dir.filePath(QStringLiteral("top.mp4")));
        QVERIFY(host.pathForResource(QStringLiteral("absent"), QStringLiteral("mp4")).isEmpty());
        QVERIFY(host.URLForResource(QStringLiteral("absent"), QStringLiteral("mp4")).isEmpty());
    }

    void propertyListRejectsMalformedInput_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::newRow("not xml") << QByteArray("hello");
        QTest::newRow("unclosed") << QByteArray("<plist><dict><key>a</key><string>b</string>");
        QTest::newRow("value without key") << QByteArray("<plist><dict><string>b</string></dict></plist>");
        QTest::newRow("bad integer") << QByteArray("<plist><integer>12x</integer></plist>");
        QTest::newRow("unknown element") << QByteArray("<plist><blob/></plist>");
        QTest::newRow("too deep") << QByteArray("<plist>") + QByteArray("<array>").repeated(200)
                + QByteArray("</array>").repeated(200) + QByteArray("</plist>");
    }

    void propertyListRejectsMalformedInput()
    {
        QFETCH(QByteArray, xml);
        QVERIFY(!PropertyList::parse(xml).isValid());
    }

    // Timers run on the virtual clock unless a test installs another.
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

VELMORA_TEST_MAIN(SupportTest)

#include "tst_support.moc"
