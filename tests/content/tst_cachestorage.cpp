#include "TestEnvironment.h"

#include "ChildProcesses.h"
#include "content/AdsCacheInfoStorage.h"
#include "support/BackgroundPriority.h"

#include <sched.h>

using namespace velmora;

namespace {

QVariantMap banner(int id)
{
    return { { QStringLiteral("banner_id"), id },
             { QStringLiteral("name"), QStringLiteral("Banner %1").arg(id) },
             { QStringLiteral("priority"), 2 },
             { QStringLiteral("image_728x90"), QStringLiteral("/media/b%1.gif").arg(id) } };
}

QString storagePath()
{
    return AdsCacheInfoStorage::storageURL().toLocalFile();
}

} // namespace

class CacheStorageTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QFile::remove(storagePath()); }

    void addsPersistAndRoundTrip()
    {
        AdsCacheInfoStorage storage;
        // The read runs on the storage thread, below the host whose main thread it shares the
        // machine with; the idle thread stays a while after.
        QTRY_VERIFY(storage.isLoaded());
        const int background = test::nicenessBelowThisThread(BackgroundPriority::kBelowHost);
        QCOMPARE(test::nicenessOfThreads("velmora-savedAd"), QList<int> { background });
        // Off the asking thread's core while it read, it may use every core again after.
        const auto everyCore = [] {
            cpu_set_t own, thread;
            const QStringList tasks = test::threadsNamed("velmora-savedAd");
            return tasks.size() == 1 && sched_getaffinity(0, sizeof own, &own) == 0
                && sched_getaffinity(pid_t(tasks.first().toInt()), sizeof thread, &thread) == 0
                && CPU_EQUAL(&own, &thread);
        };
        QTRY_VERIFY(everyCore());
        storage.setInfoDictionary({ { QStringLiteral("campaign"), QStringLiteral("autumn") } });
        QVariantMap video = banner(7);
        video.insert(QStringLiteral("Rating"), 4.5);
        video.insert(QStringLiteral("votes"), QVariantList { 1, QStringLiteral("two") });
        storage.addBannerInfo(banner(1));
        storage.addVideoInfo(video);
        const AdsCacheInfoStorage reloaded;
        QCOMPARE(reloaded.infoDictionary(), storage.infoDictionary());
        QCOMPARE(reloaded.infoDictionary().value(QStringLiteral("video")).toList().first().toMap(), video);
        // Top-level keys other than the placements survive the adds.
        QCOMPARE(reloaded.infoDictionary().value(QStringLiteral("campaign")).toString(), QStringLiteral("autumn"));
    }

    // Nothing is written until an ad is stored, and an ad already stored is not written again.
    void writesOnlyNewAds()
    {
        AdsCacheInfoStorage storage;
        QVERIFY(storage.infoDictionary().isEmpty());
        storage.addBannerInfo({});
        AdsCacheInfoStorage::waitForSaves();
        QVERIFY(!QFile::exists(storagePath()));
        storage.addBannerInfo(banner(1));
        AdsCacheInfoStorage::waitForSaves();
        QVERIFY(QFile::remove(storagePath()));
        storage.addBannerInfo(banner(1));
        AdsCacheInfoStorage::waitForSaves();
        QVERIFY2(!QFile::exists(storagePath()), "an ad already stored was written again");
        storage.addBannerInfo(banner(2));
        QCOMPARE(AdsCacheInfoStorage::cacheInfo()->value(QStringLiteral("standard")).toList().size(), 2);
    }

    // Saves run behind the caller's back; none of a burst may be lost or overtaken by an
    // older one, and a table loaded right afterwards sees all of them.
    void savesLandInOrder()
    {
        const int ads = 300;
        AdsCacheInfoStorage storage;
        for (int id = 1; id <= ads; ++id)
            storage.addBannerInfo(banner(id));
        const AdsCacheInfoStorage loadedRightAfter;
        const QVariantList loaded = loadedRightAfter.infoDictionary().value(QStringLiteral("standard")).toList();
        QCOMPARE(loaded.size(), ads);
        QCOMPARE(loaded.last().toMap(), banner(ads));
        QCOMPARE(AdsCacheInfoStorage::cacheInfo()->value(QStringLiteral("standard")).toList(), loaded);
    }

    void unreadableFileMeansEmptyTable_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("garbage") << QByteArray("not a table at all");
        QTest::newRow("truncated")
            << AdsCacheInfoStorage::encode({ { QStringLiteral("standard"), QVariantList { banner(1) } } }).left(9);
        QTest::newRow("root is a list") << QByteArray("\x82\x01\x02", 3);
        QTest::newRow("empty file") << QByteArray();
    }

    void unreadableFileMeansEmptyTable()
    {
        QFETCH(QByteArray, bytes);
        QFile file(storagePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        QVERIFY(!AdsCacheInfoStorage::cacheInfo());
        QVERIFY(AdsCacheInfoStorage().infoDictionary().isEmpty());
    }
};

VELMORA_TEST_MAIN(CacheStorageTest)
#include "tst_cachestorage.moc"
