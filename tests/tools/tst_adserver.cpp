#include "AdServerProcess.h"
#include "TestEnvironment.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QtTest>

using velmora::test::AdServerProcess;
using velmora::test::TestEnvironment;

namespace {

struct Fetched {
    int status = 0;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QByteArray body;
    QByteArray contentType;
};

// The request the framework posts: one line, explicit Content-Length, nothing else.
const QByteArray kFrameworkRequest
    = R"({"inner_id" : "mac.123456.mac-store","language" : "EN","placements" : [ "standard","video" ]})";

// Deliberately not in QJsonDocument's own formatting, so any re-serialisation shows.
const QByteArray kManifest = "{ \"standard\" : [ {\"banner_id\":101, \"name\":\"Caf\xc3\xa9\", \"priority\":\"3\","
                             " \"image_728x90\":\"/media/a.gif\", \"updated\":\"2026-11-01\"} ],\n"
                             "  \"video\": [],\n  \"extra\": 1.50 }\n";

QByteArray bytesOf(int size, int seed)
{
    QByteArray data(size, '\0');
    for (int i = 0; i < size; ++i)
        data[i] = char((i * 31 + seed) & 0xff); // every byte value, zeros included
    return data;
}

void writeFile(const QString &path, const QByteArray &data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    file.write(data);
}

// Sends raw bytes and collects everything until the server closes or the time is up.
QByteArray rawExchange(quint16 port, const QByteArray &request, bool *closedByServer = nullptr)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    if (!socket.waitForConnected(5000))
        return {};
    socket.write(request);
    QByteArray received;
    QElapsedTimer timer;
    timer.start();
    bool closed = false;
    while (timer.elapsed() < 3000) {
        if (socket.waitForReadyRead(200))
            received += socket.readAll();
        if (socket.state() == QAbstractSocket::UnconnectedState) {
            received += socket.readAll();
            closed = true;
            break;
        }
    }
    if (closedByServer)
        *closedByServer = closed;
    return received;
}

int statusOf(const QByteArray &response)
{
    if (!response.startsWith("HTTP/1.1 "))
        return 0;
    return response.mid(9, 3).toInt();
}

QByteArray bodyOf(const QByteArray &response)
{
    const qsizetype end = response.indexOf("\r\n\r\n");
    return end < 0 ? QByteArray() : response.mid(end + 4);
}

} // namespace

class TestAdServer : public QObject {
    Q_OBJECT

private:
    Fetched fetch(const QUrl &url, const QByteArray &method = "GET", const QByteArray &body = {})
    {
        QNetworkRequest request(url);
        if (method == "POST") {
            // Exactly what the framework sets; Qt would otherwise invent a form content type.
            request.setHeader(QNetworkRequest::ContentLengthHeader, body.size());
            request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/octet-stream"));
        }
        Fetched result;
        QNetworkReply *reply = m_manager.sendCustomRequest(request, method, body);
        QEventLoop loop;
        connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(20000, &loop, &QEventLoop::quit);
        loop.exec();
        if (!reply->isFinished()) {
            reply->abort();
            result.error = QNetworkReply::TimeoutError;
        } else {
            result.error = reply->error();
        }
        result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        result.body = reply->readAll();
        result.contentType = reply->header(QNetworkRequest::ContentTypeHeader).toByteArray();
        delete reply;
        return result;
    }

    QNetworkAccessManager m_manager;
    AdServerProcess m_server;
    QString m_root;
    QHash<QString, QByteArray> m_media;

private slots:
    void initTestCase()
    {
        m_root = TestEnvironment::root() + QStringLiteral("/ads");
        writeFile(m_root + QStringLiteral("/manifest.json"), kManifest);
        const QStringList names { QStringLiteral("/media/a.gif"), QStringLiteral("/media/v.mp4"),
                                  QStringLiteral("/media/sub dir/c.gif") };
        for (int i = 0; i < names.size(); ++i) {
            m_media.insert(names[i], bytesOf(1000 + 517 * i, i));
            writeFile(m_root + names[i], m_media.value(names[i]));
        }
        writeFile(TestEnvironment::root() + QStringLiteral("/outside.txt"), "SECRET");
        QVERIFY(QFile::link(TestEnvironment::root() + QStringLiteral("/outside.txt"),
                            m_root + QStringLiteral("/escape.txt")));
        QVERIFY(QFile::link(m_root + QStringLiteral("/media/a.gif"), m_root + QStringLiteral("/inside.gif")));
        QVERIFY2(m_server.start(m_root), qPrintable(m_server.errorString()));
    }

    void init()
    {
        if (m_server.isRunning())
            QVERIFY2(m_server.resetFaults(), qPrintable(m_server.errorString()));
    }

    // Files of the root come whole, with the type their name says; nothing outside it comes.
    void servesOnlyWhatLiesInTheRoot_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("file"); // for 200: the file served
        QTest::addColumn<QByteArray>("contentType");
        const QString gif = QStringLiteral("/media/a.gif");
        QTest::newRow("gif") << QByteArray("/media/a.gif") << 200 << gif << QByteArray("image/gif");
        QTest::newRow("mp4") << QByteArray("/media/v.mp4") << 200 << "/media/v.mp4" << QByteArray("video/mp4");
        QTest::newRow("escaped space") << QByteArray("/media/sub%20dir/c.gif") << 200 << "/media/sub dir/c.gif"
                                       << QByteArray("image/gif");
        QTest::newRow("symlink inside") << QByteArray("/inside.gif") << 200 << gif << QByteArray("image/gif");
        // Raw targets: QUrl would normalise most of these before they left the client.
        for (const char *outside :
             { "/../outside.txt", "/media/../../outside.txt", "/%2e%2e/outside.txt", "/media/..%2F..%2Foutside.txt",
               "/%2E%2E%2Foutside.txt", "/media%5c..%5c..%5coutside.txt", "/media/a.gif%00.txt", "/escape.txt",
               "/media", "//etc/passwd" })
            QTest::newRow(outside) << QByteArray(outside) << 404 << QString() << QByteArray();
    }

    void servesOnlyWhatLiesInTheRoot()
    {
        QFETCH(QByteArray, target);
        QFETCH(int, status);
        QFETCH(QString, file);
        QFETCH(QByteArray, contentType);
        const QByteArray response
            = rawExchange(m_server.port(), "GET " + target + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
        QCOMPARE(statusOf(response), status);
        QVERIFY(!response.contains("SECRET"));
        QVERIFY(!response.contains("root:"));
        if (status == 200) {
            QVERIFY(response.left(response.indexOf("\r\n\r\n")).contains("\r\nContent-Type: " + contentType + "\r\n"));
            QCOMPARE(bodyOf(response), m_media.value(file));
        }
    }

    void malformedRequestsGet4xxAndServerSurvives_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("status");
        QTest::newRow("garbage") << QByteArray("GARBAGE\r\n\r\n") << 400;
        QTest::newRow("no version") << QByteArray("GET /media/a.gif\r\n\r\n") << 400;
        QTest::newRow("unknown version") << QByteArray("GET / HTTP/2.0\r\n\r\n") << 505;
        QTest::newRow("absolute form") << QByteArray("GET http://x/media/a.gif HTTP/1.1\r\n\r\n") << 400;
        QTest::newRow("header without colon") << QByteArray("GET / HTTP/1.1\r\nHost x\r\n\r\n") << 400;
        QTest::newRow("space before colon") << QByteArray("GET / HTTP/1.1\r\nHost : x\r\n\r\n") << 400;
        QTest::newRow("folded header") << QByteArray("GET / HTTP/1.1\r\nA: b\r\n c\r\n\r\n") << 400;
        QTest::newRow("bad length") << QByteArray("POST /api/v1/banners HTTP/1.1\r\nContent-Length: 1x\r\n\r\n") << 400;
        QTest::newRow("negative length") << QByteArray("POST /api/v1/banners HTTP/1.1\r\nContent-Length: -1\r\n\r\n")
                                         << 400;
        QTest::newRow("two lengths") << QByteArray(
            "POST /api/v1/banners HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab")
                                     << 400;
        QTest::newRow("chunked") << QByteArray("POST /x HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n")
                                 << 501;
        QTest::newRow("huge head") << "GET / HTTP/1.1\r\nX: " + QByteArray(70000, 'a') + "\r\n\r\n" << 431;
    }

    void malformedRequestsGet4xxAndServerSurvives()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        bool closed = false;
        const QByteArray response = rawExchange(m_server.port(), request, &closed);
        QCOMPARE(statusOf(response), status);
        QVERIFY2(closed, "the server must close a connection it cannot parse");
        QVERIFY(m_server.isRunning());
        QCOMPARE(fetch(m_server.url(QStringLiteral("/media/a.gif"))).status, 200);
    }

    void keepAliveAndPipelining()
    {
        // Three requests in one write: answered in order on one connection, then closed.
        bool closed = false;
        const QByteArray response = rawExchange(m_server.port(),
                                                "GET /media/a.gif HTTP/1.1\r\nHost: x\r\n\r\n"
                                                "POST /api/v1/banners HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc"
                                                "GET /missing HTTP/1.1\r\nConnection: close\r\n\r\n",
                                                &closed);
        QVERIFY(closed);
        const QByteArray gif = m_media.value(QStringLiteral("/media/a.gif"));
        const qsizetype first = response.indexOf("HTTP/1.1 200");
        const qsizetype second = response.indexOf("HTTP/1.1 200", first + 1);
        const qsizetype third = response.indexOf("HTTP/1.1 404", second + 1);
        QVERIFY(first == 0 && second > first && third > second);
        QVERIFY(response.mid(first, second - first).endsWith(gif));
        QVERIFY(response.mid(second, third - second).endsWith(kManifest));
        QCOMPARE(m_server.logLines().last().value("path").toString(), QStringLiteral("/missing"));

        // HTTP/1.0 without keep-alive gets its answer and a close.
        const QByteArray old = rawExchange(m_server.port(), "GET /media/a.gif HTTP/1.0\r\n\r\n", &closed);
        QVERIFY(closed);
        QCOMPARE(bodyOf(old), gif);
    }

    void faultsFileAppliesFromStart()
    {
        const QString faults = TestEnvironment::root() + QStringLiteral("/faults.json");
        writeFile(faults, R"({"/api/v1/banners": {"status": 502}})");
        AdServerProcess second;
        AdServerProcess::Options options;
        options.faultsFile = faults;
        QVERIFY2(second.start(m_root, options), qPrintable(second.errorString()));
        QVERIFY(second.port() != m_server.port());
        QCOMPARE(fetch(second.url(QStringLiteral("/api/v1/banners")), "POST").status, 502);
        QCOMPARE(fetch(m_server.url(QStringLiteral("/api/v1/banners")), "POST").status, 200);
    }
};

VELMORA_TEST_MAIN(TestAdServer)

#include "tst_adserver.moc"
