// A scripted host application for the benchmarks. Built twice from this file:
// velmora-bench-host links the framework, velmora-bench-bare is the same host without it
// (the baseline: same windows, same script, GIFs shown with QMovie in QLabels).
//
// Usage: <host> session
//        <host> steady WINDOWS SECONDS [splash] [checks]
//        velmora-bench-host prepare-cache ADS [media]
// Every result is printed on stdout as one "key value" line.

#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QMovie>
#include <QPointer>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QThread>
#include <QTimer>
#include <QWidget>

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <iterator>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#ifdef BENCH_WITH_VELMORA
#include "ChildProcesses.h"
#include "content/AdsCacheInfoStorage.h"
#include "support/ManualClock.h"

#include <QAction>
#include <velmora/Velmora.h>
#endif

namespace {

double nowMs()
{
    static QElapsedTimer clock = [] {
        QElapsedTimer t;
        t.start();
        return t;
    }();
    return clock.nsecsElapsed() / 1e6;
}

void report(const char *key, double value)
{
    std::printf("%s %.6g\n", key, value);
    std::fflush(stdout);
}

double cpuSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// With BENCH_SMAPS=<prefix>, /proc/self/smaps is copied to <prefix>-<moment>, to see
// which mappings grew between two moments.
void dumpMappings(const char *moment)
{
    const QString prefix = qEnvironmentVariable("BENCH_SMAPS");
    if (prefix.isEmpty())
        return;
    QFile in(QStringLiteral("/proc/self/smaps"));
    QFile out(prefix + QLatin1Char('-') + QLatin1String(moment));
    if (in.open(QIODevice::ReadOnly) && out.open(QIODevice::WriteOnly))
        out.write(in.readAll());
}

// A field of /proc/<pid>/status in kB, in MB.
double statusMB(const char *field, const QString &pid = QStringLiteral("self"))
{
    QFile file(QStringLiteral("/proc/%1/status").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return -1;
}

// Counts paint events and notices the first frame painted by a widget the host did not
// create (the framework's views carry no "benchHost" property).
class BenchApplication : public QApplication {
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        if (QThread::currentThread() != thread()) // only the main thread is measured
            return QApplication::notify(receiver, event);
        const double start = m_depth == 0 ? nowMs() : 0;
        const ThreadUsage usageBefore = m_depth == 0 ? ThreadUsage::now() : ThreadUsage {};
        const int type = event->type();
        ++m_depth;
        if (type == QEvent::Paint && receiver->isWidgetType()) {
            ++paints;
            ++paintsByWindow[static_cast<QWidget *>(receiver)->window()->windowTitle().toUtf8()];
            if (!receiver->property("benchHost").isValid()) {
                ++foreignPaints[receiver->metaObject()->className()];
                if (paintTimesOf == receiver->metaObject()->className())
                    paintTimes.push_back(nowMs());
                paintedForeign.insert(receiver);
                if (watchForeignPaint)
                    m_foreignPainted = true;
            }
        }
        const QByteArray receiverName = m_depth == 1 ? describe(receiver) : QByteArray();
        const bool timedPaint = m_depth > 1 && type == QEvent::Paint;
        const double paintStart = timedPaint ? nowMs() : 0;
        const bool result = QApplication::notify(receiver, event);
        if (timedPaint)
            m_paintsInEvent[receiver->metaObject()->className()] += nowMs() - paintStart;
        if (m_depth == 1) {
            noteEvent(nowMs() - start, start, receiverName, type, ThreadUsage::now() - usageBefore);
            m_paintsInEvent.clear();
        }
        if (--m_depth == 0 && m_foreignPainted && watchForeignPaint) {
            // The whole event that painted it (backing-store sync and flush) is done.
            watchForeignPaint = false;
            m_foreignPainted = false;
            if (onForeignFrame)
                onForeignFrame(nowMs());
        }
        return result;
    }

    // "Class/name" of the receiver and of its two nearest ancestors: a timer or a socket
    // notifier says little, its owner says whose it is.
    static QByteArray describe(const QObject *object)
    {
        QByteArray name;
        for (int level = 0; object && level < 3; ++level, object = object->parent()) {
            if (level)
                name += " < ";
            name += QByteArray(object->metaObject()->className()) + '/' + object->objectName().toUtf8();
        }
        return name;
    }

    // Every top-level event of 2 ms or more, in order: what the main thread was doing in
    // its longest stalls, and in which phase of the session.
    // What the main thread itself did during an event: a long event with little CPU time
    // waited (for a core, a lock, the disk) rather than worked.
    struct ThreadUsage {
        double cpuMs = 0;
        long preempted = 0, waited = 0, faults = 0;
        static ThreadUsage now()
        {
            timespec ts {};
            clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
            rusage usage {};
            getrusage(RUSAGE_THREAD, &usage);
            return { ts.tv_sec * 1e3 + ts.tv_nsec / 1e6, usage.ru_nivcsw, usage.ru_nvcsw,
                     usage.ru_minflt + usage.ru_majflt };
        }
        ThreadUsage operator-(const ThreadUsage &o) const
        {
            return { cpuMs - o.cpuMs, preempted - o.preempted, waited - o.waited, faults - o.faults };
        }
    };
    struct SlowEvent {
        double ms, at;
        QByteArray receiver;
        int type;
        QByteArray paints;
        ThreadUsage usage;
    };
    void noteEvent(double ms, double at, const QByteArray &receiver, int type, const ThreadUsage &usage)
    {
        if (ms < 2.0)
            return;
        // Where an update request's time went: each class's own paint events, slowest
        // first; the rest is the backing store, effects' offscreen copies and the flush.
        std::vector<std::pair<double, QByteArray>> paints;
        for (const auto &[name, paintMs] : m_paintsInEvent)
            paints.push_back({ paintMs, name });
        std::sort(paints.begin(), paints.end(), [](auto &a, auto &b) { return a.first > b.first; });
        QByteArray breakdown;
        for (size_t i = 0; i < std::min<size_t>(paints.size(), 5); ++i)
            breakdown += ' ' + paints[i].second + '=' + QByteArray::number(paints[i].first, 'f', 2);
        slowEvents.push_back({ ms, at, receiver, type, breakdown, usage });
    }
    // The slowest events that began between `from` and `to` (ms), slowest first.
    std::vector<SlowEvent> slowestBetween(double from, double to, size_t count) const
    {
        std::vector<SlowEvent> found;
        std::copy_if(slowEvents.begin(), slowEvents.end(), std::back_inserter(found),
                     [&](const SlowEvent &e) { return e.at >= from && e.at <= to; });
        std::sort(found.begin(), found.end(), [](auto &a, auto &b) { return a.ms > b.ms; });
        found.resize(std::min(found.size(), count));
        return found;
    }
    void printSlowEvents(const char *label, double from, double to, size_t count) const
    {
        for (const SlowEvent &e : slowestBetween(from, to, count))
            std::printf("# slow%s event %.2f ms at %.0f ms (cpu %.2f ms, preempted %ld, waited %ld, faults %ld): %s "
                        "event type %d%s%s\n",
                        label, e.ms, e.at, e.usage.cpuMs, e.usage.preempted, e.usage.waited, e.usage.faults,
                        e.receiver.constData(), e.type, e.paints.isEmpty() ? "" : "; paints:", e.paints.constData());
        std::fflush(stdout);
    }
    std::vector<SlowEvent> slowEvents;
    std::map<QByteArray, long long> foreignPaints;
    std::set<QObject *> paintedForeign;
    std::map<QByteArray, long long> paintsByWindow;
    std::map<QByteArray, double> m_paintsInEvent;
    long long paints = 0;
    bool watchForeignPaint = false;
    std::function<void(double)> onForeignFrame;
    // When widgets of this class were painted.
    QByteArray paintTimesOf;
    std::vector<double> paintTimes;

private:
    int m_depth = 0;
    bool m_foreignPainted = false;
};

// CPU time of the calling thread: a step whose wall time is well above it waited.
double threadCpuMs()
{
    timespec ts {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

// A 1 ms precise timer on the main thread; every firing records how late it came, and when.
class LoopProbe {
public:
    void start()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            const double t = nowMs();
            if (m_last >= 0)
                m_samples.push_back({ t, std::max(0.0, t - m_last - 1.0) });
            m_last = t;
        });
        m_last = -1;
        m_timer.start();
    }
    void stop() { m_timer.stop(); }
    // Lateness of the firings between `from` and `to` (ms; all of them by default).
    std::vector<double> lateness(double from = 0, double to = 1e300) const
    {
        std::vector<double> found;
        for (const Sample &s : m_samples) {
            if (s.at >= from && s.at <= to)
                found.push_back(s.lateness);
        }
        std::sort(found.begin(), found.end());
        return found;
    }
    static double longest(const std::vector<double> &sorted) { return sorted.empty() ? 0 : sorted.back(); }
    // When the longest lateness ended (ms).
    double longestAt() const
    {
        const auto it = std::max_element(m_samples.begin(), m_samples.end(),
                                         [](const Sample &a, const Sample &b) { return a.lateness < b.lateness; });
        return it == m_samples.end() ? -1 : it->at;
    }
    static double percentile(const std::vector<double> &sorted, double p)
    {
        return sorted.empty() ? 0 : sorted[std::min(sorted.size() - 1, size_t(p * double(sorted.size())))];
    }

private:
    struct Sample {
        double at, lateness;
    };
    QTimer m_timer;
    double m_last = -1;
    std::vector<Sample> m_samples;
};

// Runs steps one after another on the event loop, each after its delay.
class Script {
public:
    void then(int delayMs, std::function<void()> step) { m_steps.push_back({ delayMs, std::move(step) }); }
    // A step that polls `done` every 20 ms, giving up after timeoutMs.
    void waitUntil(std::function<bool()> done, int timeoutMs)
    {
        m_steps.push_back({ -timeoutMs, {}, std::move(done) });
    }
    void run() { next(0); }

private:
    struct Step {
        int delayMs;
        std::function<void()> action;
        std::function<bool()> until;
    };
    void next(size_t i)
    {
        if (i >= m_steps.size())
            return;
        Step &step = m_steps[i];
        if (step.until) {
            const double deadline = nowMs() - step.delayMs;
            poll(i, deadline);
            return;
        }
        QTimer::singleShot(step.delayMs, [this, i] {
            m_steps[i].action();
            next(i + 1);
        });
    }
    void poll(size_t i, double deadline)
    {
        if (m_steps[i].until() || nowMs() > deadline) {
            next(i + 1);
            return;
        }
        QTimer::singleShot(20, [this, i, deadline] { poll(i, deadline); });
    }
    std::vector<Step> m_steps;
};

QWidget *makeWindow(int index, const QSize &size)
{
    auto *window = new QWidget;
    window->setProperty("benchHost", true);
    window->setWindowTitle(QStringLiteral("host window %1").arg(index));
    window->resize(size);
    auto *label = new QLabel(QStringLiteral("Host content %1").arg(index), window);
    label->setProperty("benchHost", true);
    label->move(20, 20);
    window->show();
    return window;
}

QString mediaDir()
{
    return QString::fromLocal8Bit(qgetenv("BENCH_MEDIA_DIR"));
}

#ifndef BENCH_WITH_VELMORA
// The bare host's banner: the GIF in a QLabel at the bottom of the window.
void addBareBanner(QWidget *window, int index)
{
    static const char *names[] = { "banner-harbor.gif", "banner-pixelforge.gif", "banner-metronome.gif" };
    auto *label = new QLabel(window);
    label->setProperty("benchHost", true);
    auto *movie = new QMovie(mediaDir() + QLatin1Char('/') + QLatin1String(names[index % 3]), {}, label);
    label->setMovie(movie);
    label->setGeometry((window->width() - 728) / 2, window->height() - 90, 728, 90);
    label->show();
    movie->start();
}
#endif

#ifdef BENCH_WITH_VELMORA
bool cacheHasMedia()
{
    const QString dir = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    bool video = false, gif = false, still = false;
    for (QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
        const QString name = it.next();
        video |= name.endsWith(QLatin1String(".mp4"));
        gif |= name.endsWith(QLatin1String(".gif"));
        still |= name.endsWith(QLatin1String(".jpg"));
    }
    Q_UNUSED(gif); // banner GIFs are fetched when the first banner asks for one
    return video && still;
}

// The offline ad table with `count` ads, written in the framework's own format.
int prepareCache(int count, bool withMedia)
{
    static const char *gifs[]
        = { "/media/banner-harbor.gif", "/media/banner-pixelforge.gif", "/media/banner-metronome.gif" };
    static const char *videos[] = { "/media/video-orbit.mp4", "/media/video-cascade.mp4" };
    static const char *stills[] = { "/media/video-orbit.jpg", "/media/video-cascade.jpg" };
    QVariantList standard, video;
    for (int i = 0; i < count; ++i) {
        QVariantMap ad;
        ad.insert(QStringLiteral("banner_id"), 10000 + i);
        ad.insert(QStringLiteral("priority"), 1 + i % 3);
        ad.insert(QStringLiteral("market_url"),
                  QStringLiteral("https://apps.velmora.example/app/id%1").arg(1800000000 + i));
        ad.insert(QStringLiteral("updated"),
                  QStringLiteral("2026-10-%1T09:00:00Z").arg(1 + i % 28, 2, 10, QLatin1Char('0')));
        if (i % 5 == 4) {
            ad.insert(QStringLiteral("name"), QStringLiteral("Cached video %1").arg(i));
            ad.insert(QStringLiteral("VLMAppName"), QStringLiteral("Cached %1").arg(i));
            ad.insert(QStringLiteral("title"), QStringLiteral("Cached app number %1 — a title").arg(i));
            ad.insert(QStringLiteral("votes"), 100 + i);
            ad.insert(QStringLiteral("Rating"), 3.5 + (i % 10) / 10.0);
            ad.insert(QStringLiteral("video_file_landscape"), QLatin1String(videos[i % 2]));
            ad.insert(QStringLiteral("image"), QLatin1String(stills[i % 2]));
            video.append(ad);
        } else {
            ad.insert(QStringLiteral("name"), QStringLiteral("Cached banner %1").arg(i));
            ad.insert(QStringLiteral("image_728x90"), QLatin1String(gifs[i % 3]));
            standard.append(ad);
        }
    }
    QVariantMap table;
    table.insert(QStringLiteral("standard"), standard);
    table.insert(QStringLiteral("video"), video);
    const QString path = velmora::AdsCacheInfoStorage::storageURL().toLocalFile();
    QDir().mkpath(QFileInfo(path).absolutePath());
    if (withMedia) { // a returning user: the banner GIFs of earlier sessions are cached
        for (const char *gif : gifs) {
            const QString name = QFileInfo(QLatin1String(gif)).fileName();
            QFile::copy(mediaDir() + QLatin1Char('/') + name, QFileInfo(path).absolutePath() + QLatin1Char('/') + name);
        }
    }
    if (count == 0) // no offline table at all
        return 0;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return 1;
    const QByteArray bytes = velmora::AdsCacheInfoStorage::encode(table);
    file.write(bytes);
    report("cache_file_kb", bytes.size() / 1024.0);
    return 0;
}

// Advances the framework's clock by real elapsed time times `rate`, every 5 ms.
class ClockPump {
public:
    explicit ClockPump(velmora::ManualClock &clock)
        : m_clock(clock)
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(5);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { pump(); });
        m_last = nowMs();
        m_target = clock.now();
        m_timer.start();
    }
    void setRate(double rate)
    {
        pump();
        m_rate = rate;
    }
    // Real time at which the advance now running (or the last one) began.
    double advanceStart = 0;

private:
    // One framework timer a turn, as on the system clock: timers due together (four
    // banners swapping at once) would otherwise be timed as one step of the host's loop.
    void pump()
    {
        const double t = nowMs();
        m_target += (t - m_last) / 1000.0 * m_rate;
        m_last = t;
        advanceStart = t;
        const bool fired = m_clock.fireNextDue(m_target);
        const double took = nowMs() - t;
        if (took > longestAdvance) {
            longestAdvance = took;
            longestAdvanceAt = t;
        }
        if (fired)
            QTimer::singleShot(0, &m_timer, [this] { pump(); });
    }

public:
    double longestAdvance = 0, longestAdvanceAt = 0;

private:
    velmora::ManualClock &m_clock;
    QTimer m_timer;
    double m_last = 0;
    double m_target = 0; // the clock's time once every due timer fired
    double m_rate = 1.0;
};
#endif

// ---- session: the scripted host session with the event-loop probe ---------------------

int session(BenchApplication &app)
{
    constexpr int kWindows = 4;
    constexpr double kBannerRate = 20.0; // virtual seconds per real second while banners rotate
    constexpr double kBannerVirtualSeconds = 120.0;
    std::vector<QPointer<QWidget>> windows;
    for (int i = 0; i < kWindows; ++i)
        windows.push_back(makeWindow(i, QSize(900, 640)));
    windows[0]->activateWindow();

    LoopProbe probe;
    Script script;
    double forceShowAt = -1, firstFrameAt = -1;

#ifdef BENCH_WITH_VELMORA
    auto *clock = new velmora::ManualClock();
    if (!qEnvironmentVariableIsSet("BENCH_SYSTEM_CLOCK"))
        velmora::Clock::install(clock);
    ClockPump pump(*clock);
    double videoPhaseAt = -1, videoFrameAt = -1, videoEndAt = -1;
    // The helper's own peak, read while it lives, and when the host's own RSS was highest
    // (VmHWM has no time). Sampled on a thread of its own: a scan of /proc every 100 ms on
    // the main thread would be counted as the framework's lateness. At the lowest priority:
    // a scan runs 1–2 ms, and at normal priority a waking main thread can wait behind it for
    // a core, which the bare host, without such a thread, never does. VmHWM keeps the peak,
    // so a late sample loses nothing.
    std::mutex watchMutex;
    double helperPeakMB = 0;
    double sampledPeakMB = 0, sampledPeakAt = 0;
    std::atomic<bool> watching = true;
    std::thread helperWatch([&] {
        setpriority(PRIO_PROCESS, 0, 19); // this thread's own niceness on Linux
        while (watching) {
            double helper = 0;
            for (const qint64 pid : velmora::test::childProcesses("velmora-media"))
                helper = std::max(helper, statusMB("VmHWM", QString::number(pid)));
            const double rss = statusMB("VmRSS");
            {
                const std::lock_guard lock(watchMutex);
                helperPeakMB = std::max(helperPeakMB, helper);
                if (rss > sampledPeakMB) {
                    sampledPeakMB = rss;
                    sampledPeakAt = nowMs();
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });
    const auto stopWatch = qScopeGuard([&] {
        watching = false;
        helperWatch.join();
    });
    QAction frameSeen; // relays the picture view's framePainted() to a lambda
    QObject::connect(&frameSeen, &QAction::triggered, &app, [&] {
        if (videoFrameAt < 0)
            videoFrameAt = nowMs();
    });
    QObject::connect(velmora::NotificationCenter::defaultCenter(), &velmora::NotificationCenter::notificationPosted,
                     &app, [&](const QString &name, const QVariant &) {
                         if (name == QLatin1String(velmora::VLMadsVideoDidStop) && videoEndAt < 0) {
                             videoEndAt = nowMs();
                             report("rss_at_video_end_mb", statusMB("VmRSS"));
                             dumpMappings("video-end");
                         }
                         if (name != QLatin1String(velmora::VLMadsVideoDidStart) || videoPhaseAt >= 0)
                             return;
                         videoPhaseAt = pump.advanceStart;
                         report("start_show_video_ms", nowMs() - videoPhaseAt);
                         report("video_phase_at_ms", videoPhaseAt);
                         // The picture view is a private class: found by name, heard by signature.
                         for (const auto &window : windows) {
                             for (QWidget *view : window->findChildren<QWidget *>()) {
                                 if (qstrcmp(view->metaObject()->className(), "velmora::VideoFrameView") != 0)
                                     continue;
                                 QObject::connect(view, SIGNAL(framePainted()), &frameSeen, SLOT(trigger()));
                             }
                         }
                     });
#else
    QTimer idlePump; // the same 5 ms timer the framework's host runs, doing nothing
    idlePump.setTimerType(Qt::PreciseTimer);
    idlePump.start(5);
#endif

    double probeStartAt = 0;
    script.then(400, [&] {
        probeStartAt = nowMs();
        probe.start();
    });
    double closeAt = -1, rotationFrom = -1, rotationTo = -1;
    Q_UNUSED(closeAt);
    script.then(100, [&] {
#ifdef BENCH_WITH_VELMORA
        QElapsedTimer step;
        step.start();
        const double stepCpu = threadCpuMs();
        // Printed on a later turn: writing them out is the bench's work, not the step's.
        std::vector<std::pair<const char *, double>> figures;
        QElapsedTimer timer;
        timer.start();
        velmora::Velmora::SSPresenter();
        figures.emplace_back("first_call_ms", timer.nsecsElapsed() / 1e6);
        if (qEnvironmentVariableIsSet("BENCH_DEBUG"))
            velmora::Velmora::activateDebugMode();
        velmora::Velmora::setSplashScreenDelay(0);
        velmora::Velmora::setSplashScreenLoadTime(1);
        for (int i = 0; i < kWindows; ++i) {
            timer.restart();
            velmora::Velmora::addSplashScreenToWindow(windows[i]);
            if (i < 2)
                figures.emplace_back(i == 0 ? "add_splash_ms" : "add_splash_second_ms", timer.nsecsElapsed() / 1e6);
        }
        // Banners start the ad-server cycle (the splash presenter alone only reads the ad
        // table); they rotate from here on.
        for (int i = 0; i < kWindows; ++i) {
            timer.restart();
            velmora::Velmora::addBannerForWindow(windows[i]);
            if (i == 0)
                figures.emplace_back("add_banner_ms", timer.nsecsElapsed() / 1e6);
        }
        figures.emplace_back("step_startup_ms", step.nsecsElapsed() / 1e6);
        figures.emplace_back("step_startup_cpu_ms", threadCpuMs() - stepCpu);
        QTimer::singleShot(0, [figures] {
            for (const auto &[key, value] : figures)
                report(key, value);
        });
#endif
    });
#ifdef BENCH_WITH_VELMORA
    script.waitUntil([] { return cacheHasMedia(); }, 20000);
    script.then(500, [&] { report("media_ready_s", nowMs() / 1000.0); });
#else
    script.then(1500, [] {});
#endif
    // The splash sequence: start screen (1 s), video, end screen, close.
    script.then(0, [&] { windows[0]->activateWindow(); });
    script.then(200, [&] {
#ifdef BENCH_WITH_VELMORA
        app.onForeignFrame = [&](double t) { firstFrameAt = t; };
        app.watchForeignPaint = true;
        report("rss_before_splash_mb", statusMB("VmRSS"));
        dumpMappings("before-splash");
        forceShowAt = nowMs();
        velmora::Velmora::forceShow();
#endif
    });
#ifdef BENCH_WITH_VELMORA
    script.waitUntil([&] { return videoEndAt >= 0; }, 20000);
    script.then(500, [&] {
        closeAt = nowMs();
        velmora::Velmora::SSPresenter()->didClickClose();
    });
    // What the host carries after an ad: its RSS 5 s after the close, and whether the helper
    // is gone 10 s after it.
    script.then(5000, [&] {
        report("rss_5s_after_close_mb", statusMB("VmRSS"));
        dumpMappings("5s-after-close");
    });
    script.then(5000, [&] {
        report("helpers_10s_after_close", double(velmora::test::childProcesses("velmora-media").size()));
    });
#else
    script.then(10500, [] {});
#endif
    // The banners of every window rotate on for two virtual minutes.
    script.then(1000, [&] {
#ifdef BENCH_WITH_VELMORA
        pump.setRate(kBannerRate);
        app.paintedForeign.clear();
        rotationFrom = nowMs();
#endif
    });
    script.then(int(kBannerVirtualSeconds / kBannerRate * 1000), [&] {
#ifdef BENCH_WITH_VELMORA
        pump.setRate(1.0);
        rotationTo = nowMs();
        int bannersPainted = 0;
        for (QObject *object : app.paintedForeign)
            bannersPainted += object->metaObject()->className() == QByteArray("velmora::BannerImageView");
        report("banner_views_painted", bannersPainted);
#endif
    });
    // A turn of its own, so that the rotation's row does not take in the purchase's step.
    script.then(0, [&] {
#ifdef BENCH_WITH_VELMORA
        QElapsedTimer timer;
        timer.start();
        velmora::Velmora::removeAdsNow();
        report("step_remove_ads_ms", timer.nsecsElapsed() / 1e6);
#endif
    });
    script.then(1000, [&] {
        probe.stop();
        const std::vector<double> all = probe.lateness();
        report("stall_max_ms", LoopProbe::longest(all));
        report("stall_max_at_ms", probe.longestAt());
        report("stall_p99_ms", LoopProbe::percentile(all, 0.99));
        report("probe_samples", double(all.size()));
        // The bare host has no video: its whole session is the baseline of the video phase.
        double videoFrom = 0, videoTo = 1e300;
#ifdef BENCH_WITH_VELMORA
        if (videoPhaseAt >= 0 && videoEndAt >= 0) {
            videoFrom = videoPhaseAt;
            videoTo = videoEndAt;
        }
#endif
        const std::vector<double> video = probe.lateness(videoFrom, videoTo);
        report("video_stall_max_ms", LoopProbe::longest(video));
        report("video_stall_p99_ms", LoopProbe::percentile(video, 0.99));
        const auto longestEvent = app.slowestBetween(videoFrom, videoTo, 1);
        report("video_longest_event_ms", longestEvent.empty() ? 0 : longestEvent.front().ms);
        if (forceShowAt >= 0 && firstFrameAt >= 0)
            report("force_show_to_frame_ms", firstFrameAt - forceShowAt);
#ifdef BENCH_WITH_VELMORA
        if (videoPhaseAt >= 0 && videoFrameAt >= 0)
            report("video_start_to_frame_ms", videoFrameAt - videoPhaseAt);
        // The longest main-thread event of each framework step (0: none of 2 ms or more).
        const auto longestIn = [&](const char *key, double from, double to) {
            const auto found = app.slowestBetween(from, to, 1);
            report(key, found.empty() ? 0 : found.front().ms);
        };
        if (forceShowAt >= 0 && videoPhaseAt >= 0)
            longestIn("step_start_screen_ms", forceShowAt - 1, videoPhaseAt - 1);
        if (closeAt >= 0)
            longestIn("step_close_ms", closeAt - 1, closeAt + 1000);
        if (rotationFrom >= 0 && rotationTo >= 0)
            longestIn("step_rotation_ms", rotationFrom, rotationTo);
        report("video_phase_seen", videoPhaseAt >= 0);
        report("video_end_seen", videoEndAt >= 0);
#endif
        report("peak_rss_mb", statusMB("VmHWM"));
#ifdef BENCH_WITH_VELMORA
        const std::lock_guard lock(watchMutex);
        report("helper_peak_rss_mb", helperPeakMB);
        report("sampled_peak_rss_mb", sampledPeakMB);
        report("sampled_peak_rss_at_ms", sampledPeakAt);
#endif
        report("force_show_at_ms", forceShowAt);
        report("probe_start_at_ms", probeStartAt);
#ifdef BENCH_WITH_VELMORA
        report("longest_clock_advance_ms", pump.longestAdvance);
        report("longest_clock_advance_at_ms", pump.longestAdvanceAt);
#endif
        app.printSlowEvents("", 0, 1e300, 8);
        app.printSlowEvents(" video", videoFrom, videoTo, 4);
        QApplication::quit();
    });
    script.run();
    const int rc = app.exec();
    for (const auto &window : windows)
        delete window.data();
    return rc;
}

// ---- steady: animated banners, CPU and memory ------------------------------------------

int steady(BenchApplication &app, int count, int seconds, bool splash, bool checks)
{
    std::vector<QPointer<QWidget>> windows;
    for (int i = 0; i < count; ++i)
        windows.push_back(makeWindow(i, QSize(900, 640)));
    windows[0]->activateWindow();
    Script script;
    double cpu0 = 0, t0 = 0;
    long long paints0 = 0;
    auto startMeasure = [&] {
        app.foreignPaints.clear();
        app.paintedForeign.clear();
        app.paintsByWindow.clear();
        cpu0 = cpuSeconds();
        t0 = nowMs();
        paints0 = app.paints;
    };
    auto endMeasure = [&](const char *prefix) {
        const double minutes = (nowMs() - t0) / 60000.0;
        report((QByteArray(prefix) + "_cpu_s_per_min").constData(), (cpuSeconds() - cpu0) / minutes);
        report((QByteArray(prefix) + "_paints_per_min").constData(), double(app.paints - paints0) / minutes);
        int bannersPainted = 0;
        for (QObject *object : app.paintedForeign)
            bannersPainted += object->metaObject()->className() == QByteArray("velmora::BannerImageView");
        report((QByteArray(prefix) + "_banner_views_painted").constData(), bannersPainted);
        app.paintedForeign.clear();
        for (const auto &[name, count] : app.paintsByWindow)
            std::printf("# %s paints in %s: %lld\n", prefix, name.constData(), count);
        app.paintsByWindow.clear();
        for (const auto &[name, count] : app.foreignPaints)
            std::printf("# %s paints of %s: %lld\n", prefix, name.constData(), count);
        app.foreignPaints.clear();
    };

    script.then(300, [&] {
#ifdef BENCH_WITH_VELMORA
        velmora::Velmora::SSPresenter();
        if (qEnvironmentVariableIsSet("BENCH_DEBUG"))
            velmora::Velmora::activateDebugMode();
        if (splash)
            velmora::Velmora::addSplashScreenToWindow(windows[0]);
        for (const auto &window : windows)
            velmora::Velmora::addBannerForWindow(window);
#else
        Q_UNUSED(splash);
        for (int i = 0; i < count; ++i)
            addBareBanner(windows[i], i);
#endif
    });
    // Warm-up: ad table, media, first banner and its fade-in.
    script.then(5000, startMeasure);
    script.then(seconds * 1000, [&] {
        endMeasure("visible");
        int shown = 0;
        for (const auto &window : windows) {
            for (QWidget *child : window->findChildren<QWidget *>()) {
                if (child->isVisible() && child->metaObject()->className() == QByteArray("velmora::BannerImageView"))
                    ++shown;
            }
        }
        report("banner_views_visible", shown);
        report("rss_mb", statusMB("VmRSS"));
        report("peak_rss_mb", statusMB("VmHWM"));
        if (!checks) {
            QApplication::quit();
            return;
        }
        for (const auto &window : windows)
            window->showMinimized();
    });
    const int shortMs = std::max(3000, seconds * 500);
    script.then(500, startMeasure);
    script.then(shortMs, [&] {
        endMeasure("minimized");
        for (const auto &window : windows) {
            window->showNormal();
            window->hide();
        }
    });
    script.then(500, startMeasure);
    script.then(shortMs, [&] {
        endMeasure("hidden");
        QApplication::quit();
    });
    script.run();
    const int rc = app.exec();
    for (const auto &window : windows)
        delete window.data();
    return rc;
}

#ifdef BENCH_WITH_VELMORA
// ---- start screen: what a start screen on show repaints while only its shine moves ------

int startScreen(BenchApplication &app, int seconds)
{
    QPointer<QWidget> window = makeWindow(0, QSize(900, 640));
    window->activateWindow();
    Script script;
    double from = 0;
    long long paints0 = 0;
    script.then(300, [&] {
        velmora::Velmora::setSplashScreenDelay(0);
        // The video never comes: the start screen stays for the whole measure.
        velmora::Velmora::setSplashScreenLoadTime(seconds + 30);
        velmora::Velmora::addSplashScreenToWindow(window);
    });
    script.then(500, [&] { velmora::Velmora::forceShow(); });
    script.then(2000, [&] { // past the fade-in
        app.paintTimesOf = "velmora::RemoveAdsButton";
        app.paintTimes.clear();
        from = nowMs();
        paints0 = app.paints;
    });
    script.then(seconds * 1000, [&] {
        const double elapsed = (nowMs() - from) / 1000.0;
        report("start_screen_paints_per_s", double(app.paints - paints0) / elapsed);
        report("remove_ads_paints_per_s", double(app.paintTimes.size()) / elapsed);
        // A shine cycle is a 2 s sweep and a 3 s rest: a rest that paints nothing is a pause
        // of about 3 s between two of the button's paints.
        double quiet = 0;
        for (size_t i = 1; i < app.paintTimes.size(); ++i)
            quiet = std::max(quiet, app.paintTimes[i] - app.paintTimes[i - 1]);
        report("remove_ads_longest_quiet_ms", quiet);
        QApplication::quit();
    });
    script.run();
    const int rc = app.exec();
    delete window.data();
    return rc;
}
#endif

// ---- media-arrival: the loop probe while 64 MiB of media arrive --------------------------

// The framework's first cycle against an ad server whose only video is 64 MiB: the probe's
// lateness from the banner's registration until the whole file is in the cache. The bare
// host runs the same probe for as long with its own GIF banner, and nothing arriving.
int mediaArrival(BenchApplication &app, double bareSeconds)
{
    QPointer<QWidget> window = makeWindow(0, QSize(900, 640));
    window->activateWindow();
    LoopProbe probe;
    Script script;
    double from = -1, to = -1;
    script.then(300, [&] { probe.start(); });
    script.then(200, [&] {
        from = nowMs();
#ifdef BENCH_WITH_VELMORA
        velmora::Velmora::addSplashScreenToWindow(window);
        velmora::Velmora::addBannerForWindow(window);
#endif
    });
#ifdef BENCH_WITH_VELMORA
    Q_UNUSED(bareSeconds);
    constexpr qint64 kBig = 64 * 1024 * 1024;
    script.waitUntil(
        [&] {
            const QString dir = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
            for (QDirIterator it(dir, { QStringLiteral("*.mp4") }, QDir::Files, QDirIterator::Subdirectories);
                 it.hasNext();) {
                if (QFileInfo(it.next()).size() == kBig) {
                    to = nowMs();
                    return true;
                }
            }
            return false;
        },
        60000);
    script.then(0, [&] {
        report("media_arrived", to >= 0);
        if (to < 0)
            to = nowMs();
        report("media_arrival_ms", to - from);
    });
#else
    script.then(int(bareSeconds * 1000), [&] { to = nowMs(); });
#endif
    script.then(0, [&] {
        probe.stop();
        const std::vector<double> lateness = probe.lateness(from, to);
        report("media_stall_max_ms", LoopProbe::longest(lateness));
        report("media_stall_p99_ms", LoopProbe::percentile(lateness, 0.99));
        report("media_probe_samples", double(lateness.size()));
        app.printSlowEvents(" media", from, to, 4);
        QApplication::quit();
    });
    script.run();
    const int rc = app.exec();
    delete window.data();
    return rc;
}

} // namespace

int main(int argc, char **argv)
{
    BenchApplication app(argc, argv);
    app.setOrganizationName(QStringLiteral("VelmoraBench"));
    app.setApplicationName(QStringLiteral("velmora-bench-host"));
    nowMs();
    const QStringList args = app.arguments();
    const QString mode = args.value(1);
    if (mode == QLatin1String("session"))
        return session(app);
    if (mode == QLatin1String("media-arrival"))
        return mediaArrival(app, args.value(2, QStringLiteral("1.5")).toDouble());
    if (mode == QLatin1String("steady"))
        return steady(app, args.value(2, QStringLiteral("1")).toInt(), args.value(3, QStringLiteral("20")).toInt(),
                      args.contains(QLatin1String("splash")), args.contains(QLatin1String("checks")));
#ifdef BENCH_WITH_VELMORA
    if (mode == QLatin1String("start-screen"))
        return startScreen(app, argc > 2 ? std::atoi(argv[2]) : 10);
    if (mode == QLatin1String("first-call")) { // for profiling the first facade call alone
        auto *window = makeWindow(0, QSize(900, 640));
        QElapsedTimer timer;
        timer.start();
        velmora::Velmora::SSPresenter();
        report("first_call_ms", timer.nsecsElapsed() / 1e6);
        timer.restart();
        velmora::Velmora::addSplashScreenToWindow(window);
        report("add_splash_ms", timer.nsecsElapsed() / 1e6);
        delete window;
        return 0;
    }
    if (mode == QLatin1String("prepare-cache"))
        return prepareCache(args.value(2, QStringLiteral("1000")).toInt(), args.value(3) == QLatin1String("media"));
#endif
    std::fprintf(
        stderr,
        "usage: %s session | steady WINDOWS SECONDS [splash] [checks] | media-arrival [SECONDS] | prepare-cache ADS "
        "[media]\n",
        argv[0]);
    return 2;
}
