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
    return generation >= 0 && table == tableFor(generation) ? generation : -1;
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
    const qint64 generation = QUrlQuery(stack.value(0)).queryItemValue(QStringLiteral("g")).toLongLong();
    return !stack.isEmpty() && stack == stackFor(generation) ? generation : -1;
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
        std::optional<bool> ok;
        QEventLoop loop;
        downloader->downloadDataToCacheDirectoryFromURL(media, [&](const QUrl &file) {
            ok = !file.isEmpty();
            loop.quit();
        });
        if (!ok.has_value())
            loop.exec();
        if (!ok.value_or(false)) {
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

    // Problems with the files, given what the writer reported; `state` keeps the generations
    // found, for the next check.
    QStringList check(State *state, const WriterReport &report) const
    {
        QStringList problems;
        // A file present holds a whole generation: the one found before when the writer never
        // started, else the one last reported or the next; one found before never vanishes.
        const auto judge = [&](const QString &name, bool present, qint64 generation, qint64 *found) {
            const QList<qint64> allowed = !report.started ? QList<qint64> { *found }
                : report.acked == report.start            ? QList<qint64> { *found, report.start, report.start + 1 }
                                                          : QList<qint64> { report.acked, report.acked + 1 };
            if (present && (generation < 0 || !allowed.contains(generation)))
                problems << QStringLiteral("%1 holds generation %2 (last reported %3)")
                                .arg(name)
                                .arg(generation)
                                .arg(report.acked);
            else if (present)
                *found = generation;
            else if (*found >= 0)
                problems << name + QStringLiteral(" vanished");
        };

        QFile saved(AdsCacheInfoStorage::storageURL().toLocalFile());
        const std::optional<QVariantMap> table
            = saved.open(QIODevice::ReadOnly) ? AdsCacheInfoStorage::decode(saved.readAll()) : std::nullopt;
        judge(QStringLiteral("savedAds"), saved.exists(), table ? generationOf(*table) : -2, &state->saved);

        const auto settings = VLMUserDefaults();
        settings->sync();
        if (settings->status() != QSettings::NoError)
            problems << QStringLiteral("settings file unreadable (status %1)").arg(settings->status());
        judge(stackKey, settings->contains(stackKey),
              generationOf(AdsEventLogger::unarchive(settings->value(stackKey).toByteArray())), &state->events);

        QFile media(m_cache + QLatin1Char('/') + mediaName);
        if (media.exists() && (!media.open(QIODevice::ReadOnly) || media.readAll() != m_media))
            problems << QStringLiteral("media file incomplete (%1 of %2 bytes)").arg(media.size()).arg(m_media.size());
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
        // 2 MiB that differ everywhere, so a partial file cannot pass for a whole one.
        for (int i = 0; m_media.size() < 2 * 1024 * 1024; ++i)
            m_media += QCryptographicHash::hash(QByteArray::number(i), QCryptographicHash::Sha256);
        const auto write = [this](const QString &name, const QByteArray &bytes) {
            QFile file(m_ads.filePath(name));
            return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
        };
        QVERIFY(write(QStringLiteral("manifest.json"), "{}"));
        QVERIFY(write(QStringLiteral("media/") + mediaName, m_media));
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
            // SIGKILL anywhere from start-up to well into the write loop.
            const int delay = random.bounded(10, 300);
            const test::ChildResult writer = test::runChild(writerVariables(0), delay);
            if (writer.finished)
                findings
                    << QStringLiteral("writer ended by itself: %1").arg(QString::fromLocal8Bit(writer.err.right(2000)));
            else
                ++kills;
            const WriterReport report = readReport(writer.out);
            if (report.found.startsWith("unloadable"))
                ++unloadable;
            if (report.started && !report.found.endsWith(" clean"))
                findings
                    << QStringLiteral("a start kept unfinished writes: %1").arg(QString::fromLocal8Bit(report.found));
            if (report.started)
                generations += report.acked - report.start;
            if (!QFile::exists(m_cache + QLatin1Char('/') + mediaName))
                ++mediaKills;
            const QStringList problems = check(&state, report);
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
        const QStringList lastProblems = check(&state, lastReport);
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
