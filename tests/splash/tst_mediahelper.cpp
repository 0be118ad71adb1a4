// velmora-media as the host sees it: its sandbox, and hostile media that must not take the
// host with it.
#include "ChildProcesses.h"
#include "SoundStreams.h"
#include "TestEnvironment.h"

#include "BuildConfig.h"
#include "splash/MediaProcess.h"
#include "splash/VideoFrameView.h"
#include "splash/VideoPlayback.h"
#include "support/BackgroundPriority.h"

#include <QPointer>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>

#include <linux/landlock.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace velmora;

namespace {

// Damage of the kinds a fuzzer finds in MP4 files: cut short, boxes claiming sizes past
// the end or of zero, a box type replaced, bytes flipped in the header or the payload.
QByteArray damaged(const QByteArray &clip, int kind)
{
    QByteArray bytes = clip;
    QRandomGenerator random(quint32(kind) * 7919u);
    const auto box = [&bytes](const char *type) { return bytes.indexOf(type) - 4; };
    switch (kind) {
    case 0:
        return bytes.left(bytes.size() / 2);
    case 1:
        return bytes.left(64);
    case 2:
        bytes.replace(box("moov"), 4, "\xff\xff\xff\xff", 4);
        return bytes;
    case 3:
        bytes.replace(box("moov"), 4, QByteArray(4, '\0'));
        return bytes;
    case 4:
        bytes.replace(box("mdat") + 4, 4, "free", 4);
        return bytes;
    case 5:
        bytes.replace(box("stsz"), 4, "\x7f\xff\xff\xf0", 4);
        return bytes;
    case 6:
        bytes.replace(box("trak") + 4, 4, "junk", 4);
        return bytes;
    case 7:
        for (int i = 0; i < 200; ++i)
            bytes[random.bounded(qsizetype(0), qsizetype(512))] = char(random.bounded(256));
        return bytes;
    case 8:
        for (int i = 0; i < 2000; ++i)
            bytes[random.bounded(bytes.size())] = char(random.bounded(256));
        return bytes;
    default:
        return bytes + bytes; // a second file glued on
    }
}

} // namespace

class MediaHelperTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Asked to, the helper tries what the sandbox must refuse: a TCP connection to a
    // listener of ours, and a new file in its home folder.
    void sandboxRefusesNetworkAndWrites()
    {
        if (VELMORA_PORTABLE)
            QSKIP("portable builds have no sandbox");
        // Without Landlock the helper still runs (and says so), but nothing stops its writes.
        if (syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) < 1)
            QSKIP("this kernel has no Landlock");
        qputenv("VELMORA_MEDIA_PROBE", "1");
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost));
        MediaProcess helper({});
        QSignalSpy ready(&helper, &MediaProcess::ready);
        QSignalSpy answered(&helper, &MediaProcess::probeAnswered);
        QVERIFY(ready.wait(15000));
        helper.send("probe " + QByteArray::number(listener.serverPort()));
        QVERIFY(answered.wait(10000));
        QCOMPARE(answered.first().first().toByteArray(), QByteArray("tcp=denied file=denied"));
        QTest::qWait(200);
        QVERIFY2(!listener.hasPendingConnections(), "the helper reached the listener");
        QVERIFY(!QFile::exists(QDir::homePath() + QStringLiteral("/velmora-media-probe")));
        qunsetenv("VELMORA_MEDIA_PROBE");
    }

    // A video opened ahead waits paused and silent, in a helper that holds the file open and
    // keeps off the host's core, until the load; a different load replaces it.
    void videoOpenedAheadWaitsForItsLoad_data()
    {
        QTest::addColumn<QString>("loaded");
        QTest::newRow("the video opened ahead") << QStringLiteral("test-video-short.mp4");
        QTest::newRow("another video") << QStringLiteral("test-video-blink.mp4");
    }

    void videoOpenedAheadWaitsForItsLoad()
    {
        QFETCH(QString, loaded);
        const QUrl ahead = test::TestEnvironment::mediaUrl(QStringLiteral("test-video-short.mp4"));
        VideoFrameView view;
        view.resize(320, 180);
        VideoPlayback playback;
        QSignalSpy ended(&playback, &VideoPlayback::ended);
        playback.prepare(ahead, &view);
        QVERIFY(playback.process());
        const QString helperFds = QStringLiteral("/proc/%1/fd").arg(playback.process()->processId());
        const auto holdsAhead = [&] {
            for (const QFileInfo &fd : QDir(helperFds).entryInfoList(QDir::Files | QDir::System))
                if (fd.symLinkTarget() == ahead.toLocalFile())
                    return true;
            return false;
        };
        QTRY_VERIFY_WITH_TIMEOUT(holdsAhead(), 15000);
        // Every one of its threads leaves a core to the host's main thread and yields to it.
        cpu_set_t hostCpus;
        QCOMPARE(sched_getaffinity(0, sizeof hostCpus, &hostCpus), 0);
        const QString tasks = QStringLiteral("/proc/%1/task").arg(playback.process()->processId());
        const QStringList threads = QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QVERIFY(threads.size() > 1);
        for (const QString &thread : threads) {
            cpu_set_t helperCpus;
            QCOMPARE(sched_getaffinity(pid_t(thread.toInt()), sizeof helperCpus, &helperCpus), 0);
            if (CPU_COUNT(&hostCpus) >= 2)
                QCOMPARE(CPU_COUNT(&helperCpus), CPU_COUNT(&hostCpus) - 1);
            QCOMPARE(getpriority(PRIO_PROCESS, id_t(thread.toInt())),
                     test::nicenessBelowThisThread(BackgroundPriority::kBelowHost));
        }
        QTest::qWait(500); // time enough to show or sound, were it playing
        QVERIFY(!view.hasFrame());
        QCOMPARE(test::runningSoundStreams().value_or(0), 0);
        const qint64 helper = playback.process()->processId();

        playback.load(test::TestEnvironment::mediaUrl(loaded), false, &view);
        QTRY_VERIFY_WITH_TIMEOUT(view.hasFrame(), 15000);
        QTRY_COMPARE_WITH_TIMEOUT(ended.size(), 1, 15000);
        QCOMPARE(playback.process()->processId(), helper);
    }

    void hostileFilesLeaveTheHostStanding_data()
    {
        QTest::addColumn<int>("kind");
        for (const char *name : { "cut in half", "first 64 bytes", "moov of 4 GiB", "moov of size 0", "mdat renamed",
                                  "sample sizes past the end", "trak renamed", "header scrambled", "payload scrambled",
                                  "two files glued" }) {
            static int kind = 0;
            QTest::newRow(name) << kind++;
        }
    }

    void hostileFilesLeaveTheHostStanding()
    {
        QFETCH(int, kind);
        QFile clip(test::TestEnvironment::mediaUrl(QStringLiteral("test-video-short.mp4")).toLocalFile());
        QVERIFY(clip.open(QIODevice::ReadOnly));
        QTemporaryDir folder;
        QFile hostile(folder.filePath(QStringLiteral("hostile.mp4")));
        QVERIFY(hostile.open(QIODevice::WriteOnly));
        hostile.write(damaged(clip.readAll(), kind));
        hostile.close();

        VideoFrameView view;
        view.resize(320, 180);
        VideoPlayback playback;
        QSignalSpy ended(&playback, &VideoPlayback::ended);
        playback.load(QUrl::fromLocalFile(hostile.fileName()), true, &view);
        // It plays what it can, fails, ends, or decodes forever; the host only stops it.
        const bool settled = QTest::qWaitFor(
            [&] { return playback.state() == VideoPlayback::State::Failed || !ended.isEmpty(); }, 3000);
        QVERIFY(settled || playback.state() != VideoPlayback::State::Idle);
        QVERIFY(ended.size() <= 1);
        QPointer<MediaProcess> used = playback.process();
        playback.stop();
        if (!ended.isEmpty())
            QCOMPARE(playback.process(), used.data());
        else
            QTRY_VERIFY_WITH_TIMEOUT(used.isNull(), 10000); // gone, killed if it had to be
        // The next video plays, in a helper that has not touched the hostile file.
        playback.load(test::TestEnvironment::mediaUrl(QStringLiteral("test-video-short.mp4")), true, &view);
        QTRY_VERIFY_WITH_TIMEOUT(view.hasFrame(), 15000);
    }
};

VELMORA_TEST_MAIN(MediaHelperTest)
#include "tst_mediahelper.moc"
