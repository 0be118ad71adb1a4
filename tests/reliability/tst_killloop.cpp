// Crash safety of the persisted state. A writer process (this executable again) rewrites,
// as fast as it can, the offline ad table ("savedAds", through AdsCacheInfoStorage), the
// event queue ("eventStackData", through AdsEventLogger) and a media file (through the
// downloader's cache download from the ad server), one generation after another, and
// prints "GEN n" once all three hold generation n. The test kills it with SIGKILL at
// random moments. After every kill each file must decode cleanly and hold either the
// generation that was last reported or the one being written; the media file is absent
// or complete; nothing else is left in the cache folder. A last, unkilled run must start
// from what the killed ones left and finish cleanly.
//
// VELMORA_KILL_COUNT (default 300) and VELMORA_KILL_SECONDS (default 45) bound the loop.
#include "TestEnvironment.h"

#include "AdServerProcess.h"
#include "ChildRun.h"
#include "content/AdsCacheInfoStorage.h"
#include "content/AdsDownloader.h"
#include "content/AdsEventLogger.h"

#include <velmora/Support.h>

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QUrlQuery>

#include <cstdio>

using namespace velmora;
using velmora::test::AdServerProcess;
using velmora::test::TestEnvironment;

namespace {

const QString stackKey = QStringLiteral("eventStackData");
const QString mediaName = QStringLiteral("blob.bin");

// ---- What generation n looks like ----------------------------------------------------------

QVariantMap tableFor(qint64 generation)
{
    QVariantList banners;
    for (qint64 i = 0; i <= generation % 7; ++i) {
        banners.append(QVariantMap { { QStringLiteral("banner_id"), generation * 10 + i },
                                     { QStringLiteral("priority"), 1 },
                                     { QStringLiteral("image_728x90"), QStringLiteral("/media/b%1.gif").arg(i) } });
    }
    return { { QStringLiteral("standard"), banners },
             { QStringLiteral("video"), QVariantList() },
             { QStringLiteral("generation"), generation },
             // Large enough that a write takes a while and a kill can land inside it.
             { QStringLiteral("padding"), QString(100000 + int(generation % 1000), QLatin1Char('p')) } };
}

// The generation a table holds, or -1 when it is not one of ours, complete.
qint64 generationOf(const QVariantMap &table)
{
    const qint64 generation = table.value(QStringLiteral("generation"), -1).toLongLong();
    if (generation < 0)
        return -1;
    return table == tableFor(generation) ? generation : -1;
}

QList<QUrl> stackFor(qint64 generation)
{
    QList<QUrl> stack;
    for (qint64 i = 0; i <= generation % 5; ++i)
        stack.append(QUrl(QStringLiteral("http://127.0.0.1/event?g=%1&i=%2").arg(generation).arg(i)));
    return stack;
}

qint64 generationOf(const QList<QUrl> &stack)
{
    if (stack.isEmpty())
        return -1;
    const qint64 generation = QUrlQuery(stack.constFirst()).queryItemValue(QStringLiteral("g")).toLongLong();
    return stack == stackFor(generation) ? generation : -1;
}

// ---- The writer ------------------------------------------------------------------------------

int writerMain()
{
    const QUrl media(qEnvironmentVariable("VELMORA_KILL_MEDIA_URL"));
    const qint64 stopAfter = qEnvironmentVariableIntValue("VELMORA_KILL_GENERATIONS");
    AdsCacheInfoStorage storage; // loads what the previous run left
    AdsEventLogger *logger = AdsEventLogger::sharedInstance();
    const bool fileThere = QFile::exists(AdsCacheInfoStorage::storageURL().toLocalFile());
    const qint64 start = std::max<qint64>(generationOf(storage.infoDictionary()), 0);
    // A file that exists but does not load is a corrupt leftover.
    AdsDownloader *downloader = AdsDownloader::sharedInstance();
    // What a start left behind of the killed run's unfinished writes: nothing.
    const QStringList left = QDir(AdsDownloader::cacheDirectory()).entryList(QDir::Files | QDir::Hidden);
    const QStringList unfinished = left.filter(QRegularExpression(QStringLiteral("\\.[A-Za-z0-9]{6}$")));
    std::printf("START %lld %s %s\n", static_cast<long long>(start),
                fileThere && storage.infoDictionary().isEmpty() ? "unloadable" : "loaded",
                unfinished.isEmpty() ? "clean" : qPrintable(unfinished.join(QLatin1Char(','))));
    std::fflush(stdout);
    const QString local = AdsDownloader::cacheDirectory() + QLatin1Char('/') + mediaName;
    for (qint64 generation = start + 1; generation <= start + 100000; ++generation) {
        storage.setInfoDictionary(tableFor(generation));
        storage.save();

        logger->setEventStack(stackFor(generation));
        logger->addEventURL(QUrl()); // persists the whole queue on the main thread
        QCoreApplication::sendPostedEvents(logger);

        QFile::remove(local);
        bool done = false;
        bool ok = false;
        QEventLoop loop;
        downloader->downloadDataToCacheDirectoryFromURL(media, [&](const QUrl &file) {
            done = true;
            ok = !file.isEmpty();
            loop.quit();
        });
        if (!done)
            loop.exec();
        if (!ok) {
            std::printf("MEDIA FAILED\n");
            return 2;
        }
        std::printf("GEN %lld\n", static_cast<long long>(generation));
        std::fflush(stdout);
        if (stopAfter > 0 && generation - start >= stopAfter)
            return 0;
    }
    return 0;
}

// ---- Checking what a killed writer left ----------------------------------------------------

struct State {
    qint64 saved = -1; // -1: no file yet
    qint64 events = -1;
};

// What a writer printed: where it started, what it found there, the last generation done.
struct WriterReport {
    bool started = false;
    qint64 start = -1;
    qint64 acked = -1;
    QByteArray found; // "loaded clean", "unloadable clean", "loaded <leftovers>", ...
};

WriterReport readReport(const QByteArray &output)
{
    WriterReport report;
    for (const QByteArray &line : output.split('\n')) {
        if (line.startsWith("START ")) {
            report.started = true;
            report.start = report.acked = line.split(' ').value(1).toLongLong();
            report.found = line.mid(line.indexOf(' ', 6) + 1);
        } else if (line.startsWith("GEN ")) {
            report.acked = line.mid(4).toLongLong();
        }
    }
    return report;
}

} // namespace

class KillLoopTest : public QObject {
    Q_OBJECT

private:
    AdServerProcess m_server;
    QTemporaryDir m_ads;
    QByteArray m_media;
    QString m_cache;

    QList<std::pair<QString, QString>> writerVariables(int generations) const
    {
        return { { "VELMORA_KILL_WRITER", "1" },
                 { "VELMORA_KILL_MEDIA_URL", m_server.url("/media/" + mediaName).toString() },
                 { "VELMORA_KILL_GENERATIONS", QString::number(generations) } };
    }

    // Problems with the files, given what the writer reported.
    QStringList check(State *state, bool started, qint64 start, qint64 acked) const
    {
        QStringList problems;
        const auto allowed = [&](qint64 previous) {
            if (!started)
                return QList<qint64> { previous };
            if (acked == start)
                return QList<qint64> { previous, start, start + 1 };
            return QList<qint64> { acked, acked + 1 };
        };

        QFile saved(AdsCacheInfoStorage::storageURL().toLocalFile());
        if (saved.exists()) {
            const std::optional<QVariantMap> table
                = saved.open(QIODevice::ReadOnly) ? AdsCacheInfoStorage::decode(saved.readAll()) : std::nullopt;
            const qint64 generation = table ? generationOf(*table) : -2;
            if (generation < 0 || !allowed(state->saved).contains(generation))
                problems
                    << QStringLiteral("savedAds holds generation %1 (last reported %2)").arg(generation).arg(acked);
            else
                state->saved = generation;
        } else if (state->saved >= 0) {
            problems << QStringLiteral("savedAds vanished");
        }

        const auto settings = VLMUserDefaults();
        settings->sync();
        if (settings->status() != QSettings::NoError)
            problems << QStringLiteral("settings file unreadable (status %1)").arg(settings->status());
        if (settings->contains(stackKey)) {
            const QList<QUrl> stack = AdsEventLogger::unarchive(settings->value(stackKey).toByteArray());
            const qint64 generation = generationOf(stack);
            if (generation < 0 || !allowed(state->events).contains(generation))
                problems << QStringLiteral("eventStackData holds generation %1").arg(generation);
            else
                state->events = generation;
        } else if (state->events >= 0) {
            problems << QStringLiteral("eventStackData vanished");
        }

        QFile media(m_cache + QLatin1Char('/') + mediaName);
        if (media.exists()) {
            if (!media.open(QIODevice::ReadOnly) || media.readAll() != m_media)
                problems
                    << QStringLiteral("media file incomplete (%1 of %2 bytes)").arg(media.size()).arg(m_media.size());
        }
        const QStringList entries
            = QDir(m_cache).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        for (const QString &entry : entries) {
            // A kill between writing and renaming leaves the atomic writer's temporary
            // ("<name>.XXXXXX"); the old file stays whole, and the next start removes it.
            const bool saveTemporary
                = entry.startsWith(QLatin1String("savedAds.")) || entry.startsWith(mediaName + QLatin1Char('.'));
            if (entry != mediaName && entry != QLatin1String("savedAds") && !saveTemporary)
                problems << QStringLiteral("stray file in the cache folder: %1").arg(entry);
        }
        return problems;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_ads.isValid());
        QDir().mkpath(m_ads.filePath(QStringLiteral("media")));
        QFile manifest(m_ads.filePath(QStringLiteral("manifest.json")));
        QVERIFY(manifest.open(QIODevice::WriteOnly));
        manifest.write("{}");
        manifest.close();
        // 2 MiB that differ everywhere, so a partial file cannot pass for a whole one.
        for (int i = 0; m_media.size() < 2 * 1024 * 1024; ++i)
            m_media += QCryptographicHash::hash(QByteArray::number(i), QCryptographicHash::Sha256);
        QFile media(m_ads.filePath(QStringLiteral("media/") + mediaName));
        QVERIFY(media.open(QIODevice::WriteOnly));
        media.write(m_media);
        media.close();
        QVERIFY2(m_server.start(m_ads.path()), qPrintable(m_server.errorString()));
        m_cache = AdsDownloader::cacheDirectory();
    }

    void killAtRandomMoments()
    {
        const int maxKills = qEnvironmentVariableIsSet("VELMORA_KILL_COUNT")
            ? qEnvironmentVariableIntValue("VELMORA_KILL_COUNT")
            : 300;
        const int budgetSeconds = qEnvironmentVariableIsSet("VELMORA_KILL_SECONDS")
            ? qEnvironmentVariableIntValue("VELMORA_KILL_SECONDS")
            : 45;
        // A kill rarely lands between a media write and its rename; one such leftover is laid
        // down here, so the first start must clear it.
        QFile planted(m_cache + QLatin1Char('/') + mediaName + QStringLiteral(".Zq7Xw2"));
        QVERIFY(planted.open(QIODevice::WriteOnly));
        planted.write(m_media.left(100));
        planted.close();
        QRandomGenerator random(quint32(QDateTime::currentMSecsSinceEpoch()));
        QElapsedTimer clock;
        clock.start();
        State state;
        int kills = 0;
        int corrupt = 0;
        int unloadable = 0;
        int mediaKills = 0;
        qint64 generations = 0;
        QStringList findings;
        while (kills < maxKills && clock.elapsed() < qint64(budgetSeconds) * 1000) {
            QProcess writer;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            for (const auto &[name, value] : writerVariables(0))
                env.insert(name, value);
            writer.setProcessEnvironment(env);
            writer.start(QCoreApplication::applicationFilePath());
            QVERIFY(writer.waitForStarted(10000));
            // Anywhere from start-up to well into the write loop.
            const int delay = random.bounded(10, 300);
            writer.waitForFinished(delay);
            if (writer.state() != QProcess::NotRunning) {
                writer.kill(); // SIGKILL
                QVERIFY(writer.waitForFinished(10000));
                ++kills;
            } else {
                findings << QStringLiteral("writer ended by itself: %1")
                                .arg(QString::fromLocal8Bit(writer.readAllStandardError().right(2000)));
            }
            const WriterReport report = readReport(writer.readAllStandardOutput());
            if (report.found.startsWith("unloadable"))
                ++unloadable;
            if (report.started && !report.found.endsWith(" clean"))
                findings
                    << QStringLiteral("a start kept unfinished writes: %1").arg(QString::fromLocal8Bit(report.found));
            if (report.started)
                generations += report.acked - report.start;
            if (!QFile::exists(m_cache + QLatin1Char('/') + mediaName))
                ++mediaKills;
            const QStringList problems = check(&state, report.started, report.start, report.acked);
            if (!problems.isEmpty()) {
                ++corrupt;
                findings << QStringLiteral("after kill %1 (%2 ms): %3")
                                .arg(kills)
                                .arg(delay)
                                .arg(problems.join(QStringLiteral("; ")));
            }
        }

        // The next run starts from what the killed ones left and completes.
        const test::ChildResult last = test::runChild(writerVariables(3));
        const WriterReport lastReport = readReport(last.out);
        const QStringList lastProblems = check(&state, lastReport.started, lastReport.start, lastReport.acked);
        findings << lastProblems;
        const bool cleanStart = last.ok() && lastReport.found == "loaded clean"
            && lastReport.acked == lastReport.start + 3 && lastProblems.isEmpty() && state.saved == lastReport.acked
            && state.events == lastReport.acked;

        std::printf("\nkill loop: %d kills in %.1f s, %lld generations written, %d kills left no media file, "
                    "%d corrupt states, %d unloadable starts, last run %s\n",
                    kills, double(clock.elapsed()) / 1000, static_cast<long long>(generations), mediaKills, corrupt,
                    unloadable, cleanStart ? "started cleanly" : "FAILED");
        for (const QString &finding : findings.mid(0, 20))
            std::printf("  %s\n", qPrintable(finding));
        std::fflush(stdout);

        QVERIFY2(kills >= 20, "too few kills to say anything");
        QVERIFY2(generations > 0, "the writer never completed a generation");
        QCOMPARE(corrupt, 0);
        QCOMPARE(unloadable, 0);
        QVERIFY2(findings.filter(QStringLiteral("unfinished writes")).isEmpty(), "a start kept unfinished writes");
        QVERIFY2(cleanStart, last.out.constData());
    }
};

VELMORA_TEST_MAIN_WITH_CHILD(KillLoopTest, "VELMORA_KILL_WRITER", writerMain())

#include "tst_killloop.moc"
