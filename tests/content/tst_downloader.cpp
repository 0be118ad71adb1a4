// The downloader against the real development ad server over loopback; HTTPS when
// VELMORA_TEST_SCHEME is "https" (with a CA this test makes).
#include "TestEnvironment.h"

#include "AdServerProcess.h"
#include "content/AdsCacheInfoStorage.h"
#include "content/AdsDownloader.h"
#include "content/AdsMacHelper.h"

#include <velmora/Bundle.h>

#include <QDirIterator>
#include <QJsonArray>
#include <QProcess>
#include <QSslConfiguration>
#include <QTemporaryDir>

using namespace velmora;
using velmora::test::AdServerProcess;
using velmora::test::TestEnvironment;

namespace {

bool online = true;

bool openssl(const QStringList &arguments, const QString &folder)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral("openssl"), arguments);
    return process.waitForFinished(60000) && process.exitCode() == 0;
}

// A CA and a server certificate for 127.0.0.1; the CA becomes trusted process-wide.
bool makeCertificates(const QString &folder)
{
    QFile ext(folder + QStringLiteral("/san.ext"));
    if (!ext.open(QIODevice::WriteOnly))
        return false;
    ext.write("subjectAltName=IP:127.0.0.1\n");
    ext.close();
    const QString days = QStringLiteral("2");
    if (!openssl({ "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
                   "ca.key", "-out", "ca.pem", "-days", days, "-subj", "/CN=Velmora Test CA" },
                 folder)
        || !openssl({ "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout", "server.key",
                      "-out", "server.csr", "-subj", "/CN=127.0.0.1" },
                    folder)
        || !openssl({ "x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial",
                      "-out", "server.pem", "-days", days, "-extfile", "san.ext" },
                    folder))
        return false;
    QSslConfiguration config = QSslConfiguration::defaultConfiguration();
    config.addCaCertificates(folder + QStringLiteral("/ca.pem"));
    QSslConfiguration::setDefaultConfiguration(config);
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

} // namespace

class DownloaderTest : public QObject {
    Q_OBJECT

private:
    QList<QJsonObject> requests(const QString &method, const QString &path = QString()) const
    {
        QList<QJsonObject> found;
        for (const QJsonObject &line : m_server.logLines()) {
            if (line.value(QStringLiteral("method")).toString() == method
                && (path.isEmpty() || line.value(QStringLiteral("path")).toString() == path))
                found << line;
        }
        return found;
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

        QDir().mkpath(m_dir.filePath(QStringLiteral("host")));
        QVERIFY(QFile::copy(TestEnvironment::sourcePath(QStringLiteral("tests/data/Info.plist")),
                            m_dir.filePath(QStringLiteral("host/Info.plist"))));
        Bundle::setMainAppBundlePath(m_dir.filePath(QStringLiteral("host")));
        AdsMacHelper::setInternetProbe([] { return online; });
        m_downloader = AdsDownloader::sharedInstance();
    }

    void requestBodyIsOneLineOfJson()
    {
        QCOMPARE(m_downloader->generateRequestAcs(),
                 QStringLiteral("{\"inner_id\" : \"mac.123456.mac-store\",\"language\" : \"EN\",\"placements\" : [ "
                                "\"standard\",\"video\" ]}"));
    }

    // Must come before the first online request: the server is asked once per run.
    void offlineCallsBackAtOnceAndSendsNothing()
    {
        online = false;
        int calls = 0;
        m_downloader->downloadJSONWithComplitionBlock([&calls] { ++calls; });
        QCOMPARE(calls, 1);
        QTest::qWait(200);
        QVERIFY(requests(QStringLiteral("POST")).isEmpty());
        QVERIFY(!m_downloader->isUpdateAdsCurrentSession());
        online = true;
    }

    void firstOnlineRunPostsOnceThenCallsBack()
    {
        int calls = 0;
        m_downloader->downloadJSONWithComplitionBlock([&calls] { ++calls; });
        QCOMPARE(calls, 0);
        // A second call while the request runs does nothing.
        m_downloader->downloadJSONWithComplitionBlock([&calls] { calls += 100; });
        QTRY_COMPARE(calls, 1);
        const QList<QJsonObject> posts = requests(QStringLiteral("POST"));
        QCOMPARE(posts.size(), 1);
        const QJsonObject post = posts.first();
        QCOMPARE(post.value(QStringLiteral("path")).toString(), QStringLiteral("/api/v1/banners"));
        const QByteArray body = m_downloader->generateRequestAcs().toLatin1();
        QCOMPARE(QByteArray::fromBase64(post.value(QStringLiteral("bodyBase64")).toString().toLatin1()), body);
        const QJsonObject headers = post.value(QStringLiteral("headers")).toObject();
        QCOMPARE(headers.value(QStringLiteral("content-length")).toString(), QString::number(body.size()));
        QVERIFY(!headers.contains(QStringLiteral("content-type")));
        QCOMPARE(m_downloader->replyJSON()->value(QStringLiteral("standard")).toList().size(), 3);

        // After the reply nothing more is asked in this run.
        m_downloader->downloadJSONWithComplitionBlock([&calls] { ++calls; });
        QTest::qWait(200);
        QCOMPARE(calls, 1);
        QCOMPARE(requests(QStringLiteral("POST")).size(), 1);
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
    }

    void cachedFileIsUsedWithoutARequest()
    {
        const QString name = QFileInfo(m_downloader->bannerURL().toLocalFile()).fileName();
        const QString path = QStringLiteral("/media/") + name;
        const qsizetype before = requests(QStringLiteral("GET"), path).size();
        QUrl delivered;
        QNetworkReply *task = m_downloader->downloadDataToCacheDirectoryFromURL(
            m_server.url(QStringLiteral("/media/") + name), [&delivered](const QUrl &local) { delivered = local; });
        QVERIFY(!task);
        QCOMPARE(delivered, m_downloader->bannerURL());
        QTest::qWait(100);
        QCOMPARE(requests(QStringLiteral("GET"), path).size(), before);
    }

    void unsafeNamesNeverLeaveTheCache_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("parent folder") << "/media/..";
        QTest::newRow("encoded parent folder") << "/media/%2E%2E";
        QTest::newRow("hidden file") << "/media/.savedAds";
        QTest::newRow("encoded slash") << "/media/..%2F..%2Fescape.gif";
        QTest::newRow("backslash") << "/media/..%5Cescape.gif";
        QTest::newRow("no name") << "/media/";
    }

    void unsafeNamesNeverLeaveTheCache()
    {
        QFETCH(QString, path);
        const QStringList before = filesUnder(TestEnvironment::root());
        const auto escapes = [this] {
            qsizetype count = 0;
            for (const QJsonObject &line : m_server.logLines())
                count += line.value(QStringLiteral("path")).toString().contains(QLatin1String("escape")) ? 1 : 0;
            return count;
        };
        const qsizetype requestsBefore = escapes();
        bool called = false;
        QUrl delivered(QStringLiteral("file:///unchanged"));
        QNetworkReply *task = m_downloader->downloadDataToCacheDirectoryFromURL(
            QUrl(m_server.baseUrl().toString() + path), [&](const QUrl &local) {
                called = true;
                delivered = local;
            });
        QVERIFY(!task);
        QVERIFY(called);
        QVERIFY(delivered.isEmpty());
        QTest::qWait(50);
        QCOMPARE(escapes(), requestsBefore);
        QCOMPARE(filesUnder(TestEnvironment::root()), before);
    }

    void interruptedTransferLeavesNoFile()
    {
        QVERIFY(m_server.setFaults(QJsonObject {
            { QStringLiteral("/media/cut-short.gif"), QJsonObject { { QStringLiteral("truncateAt"), 100 } } } }));
        bool called = false;
        QUrl delivered(QStringLiteral("file:///unchanged"));
        m_downloader->downloadDataToCacheDirectoryFromURL(m_server.url(QStringLiteral("/media/cut-short.gif")),
                                                          [&](const QUrl &local) {
                                                              called = true;
                                                              delivered = local;
                                                          });
        QTRY_VERIFY(called);
        QVERIFY(delivered.isEmpty());
        QVERIFY(!QFile::exists(AdsDownloader::cacheDirectory() + QStringLiteral("/cut-short.gif")));
        QVERIFY(m_server.resetFaults());
    }

    void offlineSwitchesToThePersistedTable()
    {
        m_downloader->setReplyJSON(std::nullopt);
        online = false;
        const std::optional<QVariantMap> table = m_downloader->replyJSON();
        online = true;
        QVERIFY(table);
        QCOMPARE(*table, AdsCacheInfoStorage::cacheInfo().value_or(QVariantMap()));
        QVERIFY(!m_downloader->replyJSON());
    }

    void storeLinksAreRewritten_data()
    {
        QTest::addColumn<QString>("market");
        QTest::addColumn<QString>("banner");
        QTest::addColumn<QString>("video");
        QTest::newRow("store link") << "https://apps.velmora.example/app/id42"
                                    << "macappstores://apps.velmora.example/app/id42"
                                    << "macappstores://apps.velmora.example/app/id42";
        QTest::newRow("other host: only the video rule rewrites it") << "https://www.example.org/app"
                                                                     << "https://www.example.org/app"
                                                                     << "macappstores://www.example.org/app";
    }

    void storeLinksAreRewritten()
    {
        QFETCH(QString, market);
        QFETCH(QString, banner);
        QFETCH(QString, video);
        QCOMPARE(AdsDownloader::bannerStoreLink(market).toString(), banner);
        QCOMPARE(AdsDownloader::videoStoreLink(market).toString(), video);
    }
};

VELMORA_TEST_MAIN(DownloaderTest)
#include "tst_downloader.moc"
