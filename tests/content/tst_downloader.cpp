// The downloader against the real development ad server over loopback; HTTPS when
// VELMORA_TEST_SCHEME is "https" (with a CA this test makes).
#include "TestEnvironment.h"

#include "AdServerProcess.h"
#include "ChildProcesses.h"
#include "ChildRun.h"
#include "content/AdsCacheInfoStorage.h"
#include "content/AdsDownloader.h"
#include "content/AdsMacHelper.h"
#include "content/DownloadDelegate.h"
#include "support/BackgroundPriority.h"

#include <velmora/Bundle.h>

#include <QDirIterator>
#include <QProcess>
#include <QSslConfiguration>
#include <QTemporaryDir>
#include <QThreadPool>

using namespace velmora;
using velmora::test::AdServerProcess;
using velmora::test::TestEnvironment;

namespace {

bool online = true;

// Counts the events the main thread's objects receive.
class EventCount : public QObject {
public:
    int count = 0;
    bool eventFilter(QObject *, QEvent *) override
    {
        ++count;
        return false;
    }
};

constexpr qint64 MiB = 1024 * 1024;
// The ad-table request after its inner_id, byte for byte.
const QByteArray kRequestTail = "\"language\" : \"EN\",\"placements\" : [ \"standard\",\"video\" ]}";

void trustCertificate(const QString &pem)
{
    QSslConfiguration config = QSslConfiguration::defaultConfiguration();
    config.addCaCertificates(pem);
    QSslConfiguration::setDefaultConfiguration(config);
}

// A CA and a server certificate for 127.0.0.1; the CA becomes trusted process-wide.
bool makeCertificates(const QString &folder)
{
    QFile ext(folder + QStringLiteral("/san.ext"));
    if (!ext.open(QIODevice::WriteOnly) || ext.write("subjectAltName=IP:127.0.0.1\n") < 0)
        return false;
    ext.close();
    const QString key = QStringLiteral("-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout ");
    const QStringList commands {
        QStringLiteral("req -x509 ") + key + QStringLiteral("ca.key -out ca.pem -days 2 -subj /CN=Velmora_Test_CA"),
        QStringLiteral("req ") + key + QStringLiteral("server.key -out server.csr -subj /CN=127.0.0.1"),
        QStringLiteral("x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -out server.pem -days 2 "
                       "-extfile san.ext"),
    };
    for (const QString &arguments : commands) {
        QProcess openssl;
        openssl.setWorkingDirectory(folder);
        openssl.start(QStringLiteral("openssl"), arguments.split(QLatin1Char(' ')));
        if (!openssl.waitForFinished(60000) || openssl.exitCode() != 0)
            return false;
    }
    trustCertificate(folder + QStringLiteral("/ca.pem"));
    return true;
}

QStringList filesUnder(const QString &folder)
{
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << it.next();
    files.sort();
    return files;
}

QStringList toldDelegates;

class ObjectDelegate : public QObject, public DownloadDelegate {
public:
    explicit ObjectDelegate(QString name)
        : m_name(std::move(name))
    {
    }
    void endDownloadСonfiguration() override { toldDelegates << m_name; }

private:
    QString m_name;
};

// Not a QObject: the downloader cannot notice its end, so it must be told every time.
class PlainDelegate : public DownloadDelegate {
public:
    void endDownloadСonfiguration() override { toldDelegates << QStringLiteral("plain"); }
};

// A fresh process that shares the test's cache folder: one ad-table load, reported on stdout.
int freshRunScenario()
{
    if (const QString ca = qEnvironmentVariable("VELMORA_TEST_CA"); !ca.isEmpty())
        trustCertificate(ca);
    Bundle::setMainAppBundlePath(qEnvironmentVariable("VELMORA_TEST_HOST"));
    AdsMacHelper::setInternetProbe([] { return true; });
    AdsDownloader *downloader = AdsDownloader::sharedInstance();
    int calls = 0;
    if (qEnvironmentVariable("VELMORA_DOWNLOADER_SCENARIO") == QLatin1String("cycle")) {
        // The update cycle, asked for twice in the turn that made the downloader: neither
        // call waits for the offline table, and the server is still asked once.
        downloader->startUpdateAllAds();
        downloader->startUpdateAllAds();
        printf("waited=%d ", int(downloader->cacheStorage()->isLoaded()));
    } else {
        downloader->downloadJSONWithComplitionBlock([&calls] { ++calls; });
    }
    const int immediate = calls;
    const bool answered = QTest::qWaitFor([downloader] { return downloader->isUpdateAdsCurrentSession(); }, 20000);
    QTest::qWait(200);
    const std::optional<QVariantMap> table = downloader->replyJSON();
    const QString marker = table ? table->value(QStringLiteral("marker")).toString() : QStringLiteral("absent");
    printf("immediate=%d calls=%d fromCache=%d answered=%d table=%s\n", immediate, calls,
           int(downloader->isShowBannersFromCache()), int(answered), qPrintable(marker));
    return 0;
}

} // namespace

class DownloaderTest : public QObject {
    Q_OBJECT

private:
    // Waits until downloads started by earlier reads of videoURL() have landed.
    void settle() const
    {
        auto snapshot = [this] {
            return std::pair { filesUnder(TestEnvironment::root()), m_server.logLines().size() };
        };
        auto last = snapshot();
        for (int i = 0; i < 50; ++i) {
            QTest::qWait(150);
            const auto now = snapshot();
            if (now == last)
                return;
            last = now;
        }
    }

    AdServerProcess m_server;
    QTemporaryDir m_dir;
    AdsDownloader *m_downloader = nullptr;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString ads = m_dir.filePath(QStringLiteral("ads"));
        QDir().mkpath(ads + QStringLiteral("/media"));
        const QString samples = TestEnvironment::sourcePath(QStringLiteral("examples/sample-ads"));
        for (const QString &file : filesUnder(samples))
            QVERIFY(QFile::copy(file, ads + file.mid(samples.size())));
        QVERIFY(QFile::copy(TestEnvironment::sourcePath(QStringLiteral("tests/data/media/banner.gif")),
                            ads + QStringLiteral("/media/cut-short.gif")));

        AdServerProcess::Options options;
        if (qEnvironmentVariable("VELMORA_TEST_SCHEME") == QLatin1String("https")) {
            QVERIFY(makeCertificates(m_dir.path()));
            options.https = true;
            options.certFile = m_dir.filePath(QStringLiteral("server.pem"));
            options.keyFile = m_dir.filePath(QStringLiteral("server.key"));
        }
        QVERIFY2(m_server.start(ads, options), qPrintable(m_server.errorString()));
        qputenv("VELMORA_AD_SERVER_URL", m_server.baseUrl().toString().toUtf8());

        QVERIFY(TestEnvironment::writeInfoPlist(m_dir.filePath(QStringLiteral("host")),
                                                QStringLiteral("mac.123456.mac-store")));
        Bundle::setMainAppBundlePath(m_dir.filePath(QStringLiteral("host")));
        AdsMacHelper::setInternetProbe([] { return online; });
        m_downloader = AdsDownloader::sharedInstance();
    }

    // The sent bytes are checked in tableIsAskedForOnceOnline.
    void requestBodyBytes_data()
    {
        QTest::addColumn<QString>("innerId"); // a null string: no key in Info.plist
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("no identifier: the default") << QString() << QByteArray("mac.000000.mac-store");
        QTest::newRow("a quote goes in raw")
            << QStringLiteral("mac.1\"2.mac-store") << QByteArray("mac.1\"2.mac-store");
        QTest::newRow("non-ASCII is replaced, not refused")
            << QStringLiteral("mac.\u00fc\u4e2d.mac-store") << QByteArray("mac.??.mac-store");
    }

    void requestBodyBytes()
    {
        QFETCH(QString, innerId);
        QFETCH(QByteArray, sent);
        const QString folder = m_dir.filePath(QStringLiteral("plist-%1").arg(QTest::currentDataTag()));
        QVERIFY(TestEnvironment::writeInfoPlist(folder, innerId));
        Bundle::setMainAppBundlePath(folder);
        const QByteArray body = m_downloader->requestBody();
        Bundle::setMainAppBundlePath(m_dir.filePath(QStringLiteral("host")));
        QCOMPARE(body, QByteArray("{\"inner_id\" : \"" + sent + "\"," + kRequestTail));
    }

    // Offline the table is not asked for and the callback comes at once; the first online
    // call posts once and calls back with the reply. Must come before any other online
    // request: the server is asked once per run.
    void tableIsAskedForOnceOnline()
    {
        online = false;
        int calls = 0;
        m_downloader->downloadJSONWithComplitionBlock([&calls] { ++calls; });
        QCOMPARE(calls, 1);
        QTest::qWait(200);
        QVERIFY(m_server.requests(QStringLiteral("POST")).isEmpty());
        QVERIFY(!m_downloader->isUpdateAdsCurrentSession());
        online = true;

        calls = 0;
        m_downloader->downloadJSONWithComplitionBlock([&calls] { ++calls; });
        QCOMPARE(calls, 0);
        // A second call while the request runs does nothing.
        m_downloader->downloadJSONWithComplitionBlock([&calls] { calls += 100; });
        QTRY_COMPARE(calls, 1);
        const QList<QJsonObject> posts = m_server.requests(QStringLiteral("POST"));
        QCOMPARE(posts.size(), 1);
        const QJsonObject post = posts.first();
        QCOMPARE(post.value(QStringLiteral("path")).toString(), QStringLiteral("/api/v1/banners"));
        const QByteArray body = "{\"inner_id\" : \"mac.123456.mac-store\"," + kRequestTail; // the host's Info.plist
        QCOMPARE(QByteArray::fromBase64(post.value(QStringLiteral("bodyBase64")).toString().toLatin1()), body);
        const QJsonObject headers = post.value(QStringLiteral("headers")).toObject();
        QCOMPARE(headers.value(QStringLiteral("content-length")).toString(), QString::number(body.size()));
        QVERIFY(!headers.contains(QStringLiteral("content-type")));
        QCOMPARE(m_downloader->replyJSON()->value(QStringLiteral("standard")).toList().size(), 3);

        // After the reply nothing more is asked in this run.
        m_downloader->downloadJSONWithComplitionBlock([&calls] { ++calls; });
        QTest::qWait(200);
        QCOMPARE(calls, 1);
        QCOMPARE(m_server.requests(QStringLiteral("POST")).size(), 1);
    }

    void bannerAndVideoLandInTheCache()
    {
        bool bannerReady = false;
        m_downloader->downloadBannerWithComplitionBlock([&bannerReady] { bannerReady = true; });
        QTRY_VERIFY(bannerReady);
        const QString cache = AdsDownloader::cacheDirectory();
        const QFileInfo banner(m_downloader->bannerURL().toLocalFile());
        QCOMPARE(banner.absolutePath(), QFileInfo(cache).absoluteFilePath());
        QVERIFY(banner.fileName().startsWith(QLatin1String("banner-")) && banner.size() > 1000);
        QCOMPARE(m_downloader->linkBannerURL().scheme(), QStringLiteral("macappstores"));
        QVERIFY(m_downloader->linkBannerURL().path().startsWith(QLatin1String("/app/id")));

        QTRY_VERIFY_WITH_TIMEOUT(!m_downloader->videoURL().isEmpty(), 15000);
        QVERIFY(QFileInfo(m_downloader->videoURL().toLocalFile()).fileName().endsWith(QLatin1String(".mp4")));
        // Each read draws the next video, which clears the still until its own arrives.
        QTRY_VERIFY(QFileInfo::exists(m_downloader->interstitialVideoURL().toLocalFile()));
        QVERIFY(m_downloader->linkVideoURL().toString().startsWith(QLatin1String("macappstores://")));

        const QVariantMap saved = AdsCacheInfoStorage::cacheInfo().value_or(QVariantMap());
        QVERIFY(!saved.value(QStringLiteral("standard")).toList().isEmpty());
        QVERIFY(!saved.value(QStringLiteral("video")).toList().isEmpty());

        // Without a reply in force, the persisted table stands in while offline only.
        m_downloader->setReplyJSON(std::nullopt);
        online = false;
        const std::optional<QVariantMap> table = m_downloader->replyJSON();
        online = true;
        QVERIFY(table);
        QCOMPARE(*table, AdsCacheInfoStorage::cacheInfo().value_or(QVariantMap()));
        QVERIFY(!m_downloader->replyJSON());
    }

    // A name that would leave the cache is refused before any request; a transfer cut short
    // or over the cap leaves no file. Either way the callback hears of no media.
    void mediaDownloadFails_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QJsonObject>("fault"); // none: refused before any request
        QTest::newRow("parent folder") << "/media/.." << QJsonObject();
        QTest::newRow("hidden file") << "/media/.savedAds" << QJsonObject();
        QTest::newRow("no name") << "/media/" << QJsonObject();
        QTest::newRow("cut short") << "/media/cut-short.gif" << QJsonObject { { QStringLiteral("truncateAt"), 100 } };
        QTest::newRow("connection reset") << "/media/reset.gif" << QJsonObject { { QStringLiteral("reset"), true } };
        QTest::newRow("over 64 MiB") << "/media/huge.mp4"
                                     << QJsonObject { { QStringLiteral("repeatBody"), double(64 * MiB + 1) } };
    }

    void mediaDownloadFails()
    {
        QFETCH(QString, path);
        QFETCH(QJsonObject, fault);
        const bool refused = fault.isEmpty();
        settle();
        const QStringList before = filesUnder(TestEnvironment::root());
        const qsizetype requestsBefore = m_server.logLines().size();
        if (!refused)
            QVERIFY(m_server.setFaults(QJsonObject { { path, fault } }));
        std::optional<QUrl> delivered;
        // Concatenated, as QUrl::resolved would take "/media/.." away.
        const bool underWay = m_downloader->downloadDataToCacheDirectoryFromURL(
            QUrl(m_server.baseUrl().toString() + path), [&](const QUrl &local) { delivered = local; });
        QCOMPARE(underWay, !refused);
        QTRY_VERIFY_WITH_TIMEOUT(delivered.has_value(), 20000);
        QVERIFY(delivered->isEmpty());
        if (refused) {
            QTest::qWait(50);
            QCOMPARE(m_server.logLines().size(), requestsBefore);
        } else {
            QVERIFY(m_server.resetFaults());
            // Qt may resend a GET once when the connection drops before an answer.
            QVERIFY(!m_server.requests(QStringLiteral("GET"), path).isEmpty());
        }
        QCOMPARE(filesUnder(TestEnvironment::root()), before);
    }

    // What lands in the cache is the whole body, byte for byte, up to and including the cap.
    // It arrives on a thread of its own, nicer than the host, and the main thread only hears
    // of the end: a body taken off the network there cost it a few events per 128 KiB.
    void largeBodyArrivesWhole_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<qint64>("size");
        QTest::newRow("several slices, odd length") << "large.mp4" << 3 * MiB + 7;
        QTest::newRow("exactly 64 MiB") << "at-cap.mp4" << 64 * MiB;
    }

    void largeBodyArrivesWhole()
    {
        QFETCH(QString, name);
        QFETCH(qint64, size);
        const QString path = QStringLiteral("/media/") + name;
        QVERIFY(m_server.setFaults(
            QJsonObject { { path, QJsonObject { { QStringLiteral("repeatBody"), double(size) } } } }));
        std::optional<QUrl> delivered;
        EventCount mainThreadEvents;
        qApp->installEventFilter(&mainThreadEvents);
        m_downloader->downloadDataToCacheDirectoryFromURL(m_server.url(path),
                                                          [&](const QUrl &local) { delivered = local; });
        QTRY_VERIFY_WITH_TIMEOUT(delivered.has_value(), 60000);
        qApp->removeEventFilter(&mainThreadEvents);
        QVERIFY2(mainThreadEvents.count <= 10, qPrintable(QString::number(mainThreadEvents.count)));
        const int background = test::nicenessBelowThisThread(BackgroundPriority::kBelowHost);
        QCOMPARE(test::nicenessOfThreads("velmora-fetch"), QList<int> { background });
        QVERIFY(test::nicenessOfThreads("QNetworkAccessM").contains(background));
        QVERIFY(m_server.resetFaults());
        QFile file(delivered->toLocalFile());
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(delivered->toString()));
        const QByteArray body = file.readAll();
        QCOMPARE(body.size(), size);
        QVERIFY(body == QByteArray("velmora ").repeated(int(size / 8) + 1).left(size));
        file.remove();
    }

    // An ad without a media path downloads nothing: a failed download, with no callback, and
    // the ad in force stays. A draw that yields nothing is recorded as nothing: a click must
    // not name the old ad.
    void adWithoutMediaAndEmptyDraw()
    {
        settle();
        const qsizetype before = m_server.logLines().size();
        const auto table = [](const QVariantList &ads) {
            return QVariantMap { { QStringLiteral("standard"), ads }, { QStringLiteral("video"), ads } };
        };
        const QVariantMap bare { { QStringLiteral("priority"), 1 }, { QStringLiteral("name"), "bare" } };
        m_downloader->setReplyJSON(table({ bare }));
        bool called = false;
        m_downloader->downloadBannerWithComplitionBlock([&called] { called = true; });
        QTest::qWait(100);
        QVERIFY(!called);
        QCOMPARE(m_downloader->bannerInfo().value(QStringLiteral("name")).toString(), QStringLiteral("bare"));
        QVERIFY(!m_downloader->bannerURL().toLocalFile().endsWith(QLatin1String("(null)")));
        QCOMPARE(m_server.logLines().size(), before);
        QVERIFY(!QFile::exists(AdsDownloader::cacheDirectory() + QStringLiteral("/(null)")));
        m_downloader->downloadVideo();
        QTRY_COMPARE(m_downloader->videoInfo().value(QStringLiteral("name")).toString(), QStringLiteral("bare"));

        m_downloader->setReplyJSON(table({}));
        m_downloader->downloadBannerWithComplitionBlock([&called] { called = true; });
        m_downloader->downloadVideo();
        QTRY_VERIFY(called);
        QTRY_VERIFY(m_downloader->videoInfo().isEmpty());
        QVERIFY(m_downloader->bannerInfo().isEmpty());
    }

    void storeLookup_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("name");
        const QString photo
            = QStringLiteral("{\"resultCount\":1,\"results\":[{\"trackName\":\"Photo Editor - Filters\"}]}");
        const QString none = QStringLiteral("null");
        QTest::newRow("id and number") << "100001" << 200 << photo << "PhotoEditor";
        QTest::newRow("an error status is not examined") << "8" << 503 << photo << "PhotoEditor";
        QTest::newRow("no results") << "5" << 200 << QStringLiteral("{\"results\":[]}") << none;
        QTest::newRow("not JSON") << "6" << 200 << QStringLiteral("<html>busy</html>") << none;
    }

    // The lookup blocks, so it runs on a pool thread as the presenter runs it.
    void storeLookup()
    {
        QFETCH(QString, id);
        QFETCH(int, status);
        QFETCH(QString, answer);
        QFETCH(QString, name);
        qputenv("VELMORA_STORE_LOOKUP_URL", m_server.baseUrl().toString().toUtf8());
        QVERIFY(m_server.setFaults(
            QJsonObject { { QStringLiteral("/lookup"),
                            QJsonObject { { QStringLiteral("body"), answer },
                                          { QStringLiteral("status"), status },
                                          { QStringLiteral("contentType"), QStringLiteral("application/json") } } } }));
        const qsizetype before = m_server.requests(QStringLiteral("GET"), QStringLiteral("/lookup")).size();
        // Not QtConcurrent: waiting on its future may run the task on this (main) thread.
        auto found = std::make_shared<QString>();
        auto done = std::make_shared<QAtomicInt>(0);
        QThreadPool::globalInstance()->start([found, done, id] {
            *found = AdsDownloader::appNameFromMarketLink(QStringLiteral("/app/id") + id, false);
            done->storeRelease(1);
        });
        QTRY_VERIFY_WITH_TIMEOUT(done->loadAcquire(), 30000);
        QVERIFY(m_server.resetFaults());
        QCOMPARE(*found, name);
        const QList<QJsonObject> lookups = m_server.requests(QStringLiteral("GET"), QStringLiteral("/lookup"));
        QCOMPARE(lookups.size(), before + 1);
        QCOMPARE(lookups.last().value(QStringLiteral("query")).toString(), QStringLiteral("id=") + id);
    }

    void storeLookupRefusesTheMainThread()
    {
        qputenv("VELMORA_STORE_LOOKUP_URL", m_server.baseUrl().toString().toUtf8());
        const qsizetype before = m_server.logLines().size();
        QCOMPARE(AdsDownloader::appNameFromMarketLink(QStringLiteral("/app/id100001"), false), QStringLiteral("null"));
        QVERIFY(AdsDownloader::JSONSearchByQuery(m_server.url(QStringLiteral("/lookup?id=1")).toString()).isEmpty());
        QTest::qWait(100);
        QCOMPARE(m_server.logLines().size(), before);
    }

    // Delegates are told in the order they registered; a QObject one that is gone is skipped.
    // Once a table has been announced, one that registers later is told on the next turn of
    // the loop, exactly once, unless it is gone by then.
    void delegatesAreToldInOrderAndLateOnesOnce()
    {
        static PlainDelegate plain;
        ObjectDelegate first(QStringLiteral("first"));
        auto gone = std::make_unique<ObjectDelegate>(QStringLiteral("gone"));
        ObjectDelegate last(QStringLiteral("last"));
        m_downloader->addDelegate(&first);
        m_downloader->addDelegate(gone.get());
        m_downloader->addDelegate(&plain);
        m_downloader->addDelegate(&last);
        gone.reset();
        toldDelegates.clear();
        m_downloader->downloadBanner();
        QCOMPARE(toldDelegates, (QStringList { "first", "plain", "last" }));

        toldDelegates.clear();
        ObjectDelegate late(QStringLiteral("late"));
        auto lateAndGone = std::make_unique<ObjectDelegate>(QStringLiteral("late and gone"));
        m_downloader->addDelegate(&late);
        m_downloader->addDelegate(lateAndGone.get());
        QVERIFY2(toldDelegates.isEmpty(), "told inside addDelegate, before the caller finished");
        lateAndGone.reset();
        QTest::qWait(50);
        QCOMPARE(toldDelegates, QStringList { QStringLiteral("late") });
    }

    // Last: the cache holds both placements by now, and the big fault fills the log.
    void freshProcessWithCompleteCache_data()
    {
        QTest::addColumn<QString>("scenario");
        QTest::addColumn<QString>("replyBody");
        QTest::addColumn<QString>("report");
        const QString fresh = QStringLiteral("{\"marker\":\"fresh\"}");
        QTest::newRow("shown from the cache at once; the reply replaces the table without a second call")
            << "json" << fresh << "immediate=1 calls=1 fromCache=1 answered=1 table=fresh";
        // Valid JSON, so only the size cap can leave the table absent.
        QTest::newRow("a reply over 16 MiB is abandoned")
            << "json" << QStringLiteral("{\"marker\":\"big\",\"pad\":\"%1\"}").arg(QString(16 * MiB, QLatin1Char('x')))
            << "immediate=1 calls=1 fromCache=1 answered=1 table=absent";
        QTest::newRow("the update cycle waits for the table off the caller's turn")
            << "cycle" << fresh << "waited=0 immediate=0 calls=0 fromCache=1 answered=1 table=fresh";
    }

    void freshProcessWithCompleteCache()
    {
        QFETCH(QString, scenario);
        QFETCH(QString, replyBody);
        QFETCH(QString, report);
        const QVariantMap saved = AdsCacheInfoStorage::cacheInfo().value_or(QVariantMap());
        QVERIFY(saved.contains(QStringLiteral("standard")) && saved.contains(QStringLiteral("video")));
        QVERIFY(m_server.setFaults(QJsonObject {
            { QStringLiteral("/api/v1/banners"), QJsonObject { { QStringLiteral("body"), replyBody } } } }));
        const qsizetype before = m_server.requests(QStringLiteral("POST"), QStringLiteral("/api/v1/banners")).size();

        QList<std::pair<QString, QString>> variables { { "VELMORA_DOWNLOADER_SCENARIO", scenario },
                                                       { "VELMORA_TEST_HOST", m_dir.filePath("host") } };
        if (QFile::exists(m_dir.filePath(QStringLiteral("ca.pem"))))
            variables.append({ "VELMORA_TEST_CA", m_dir.filePath("ca.pem") });
        const test::ChildResult child = test::runChild(variables);
        QVERIFY(m_server.resetFaults());
        QVERIFY2(child.ok(), child.err.constData());
        QCOMPARE(QString::fromUtf8(child.out).trimmed(), report);
        QCOMPARE(m_server.requests(QStringLiteral("POST"), QStringLiteral("/api/v1/banners")).size(), before + 1);
    }
};

VELMORA_TEST_MAIN_WITH_CHILD(DownloaderTest, "VELMORA_DOWNLOADER_SCENARIO", freshRunScenario())
#include "tst_downloader.moc"
