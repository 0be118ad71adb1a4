#include "AdServerProcess.h"
#include "TestEnvironment.h"

#include <QTcpSocket>
#include <QtTest>

using velmora::test::AdServerProcess;
using velmora::test::TestEnvironment;

namespace {

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

// A request that asks for one answer and a close.
QByteArray once(const QByteArray &method, const QByteArray &target)
{
    return method + ' ' + target + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n";
}

// Sends raw bytes and collects everything until the server closes or stays silent for 3 s.
QByteArray rawExchange(quint16 port, const QByteArray &request, bool *closedByServer = nullptr)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    if (!socket.waitForConnected(5000))
        return {};
    socket.write(request);
    QByteArray received;
    while (socket.waitForReadyRead(3000))
        received += socket.readAll();
    received += socket.readAll();
    if (closedByServer)
        *closedByServer = socket.state() == QAbstractSocket::UnconnectedState;
    return received;
}

int statusOf(const QByteArray &response)
{
    return response.startsWith("HTTP/1.1 ") ? response.mid(9, 3).toInt() : 0;
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

    // Files of the root come whole, with the type their name says; nothing outside it comes.
    // A request the server cannot parse gets its error status and a close, and the server
    // goes on serving.
    void rawRequests_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("file"); // for 200: the file served
        QTest::addColumn<QByteArray>("contentType");
        const QString gif = QStringLiteral("/media/a.gif");
        QTest::newRow("gif") << once("GET", "/media/a.gif") << 200 << gif << QByteArray("image/gif");
        QTest::newRow("mp4") << once("GET", "/media/v.mp4") << 200 << "/media/v.mp4" << QByteArray("video/mp4");
        QTest::newRow("escaped space") << once("GET", "/media/sub%20dir/c.gif") << 200 << "/media/sub dir/c.gif"
                                       << QByteArray("image/gif");
        QTest::newRow("symlink inside") << once("GET", "/inside.gif") << 200 << gif << QByteArray("image/gif");
        // Raw targets: QUrl would normalise most of these before they left the client.
        for (const char *outside :
             { "/../outside.txt", "/media/../../outside.txt", "/%2e%2e/outside.txt", "/media/..%2F..%2Foutside.txt",
               "/%2E%2E%2Foutside.txt", "/media%5c..%5c..%5coutside.txt", "/media/a.gif%00.txt", "/escape.txt",
               "/media", "//etc/passwd" })
            QTest::newRow(outside) << once("GET", outside) << 404 << QString() << QByteArray();
        const auto malformed = [](const char *name, const QByteArray &request, int status) {
            QTest::newRow(name) << request << status << QString() << QByteArray();
        };
        malformed("garbage", "GARBAGE\r\n\r\n", 400);
        malformed("no version", "GET /media/a.gif\r\n\r\n", 400);
        malformed("unknown version", "GET / HTTP/2.0\r\n\r\n", 505);
        malformed("absolute form", "GET http://x/media/a.gif HTTP/1.1\r\n\r\n", 400);
        malformed("header without colon", "GET / HTTP/1.1\r\nHost x\r\n\r\n", 400);
        malformed("space before colon", "GET / HTTP/1.1\r\nHost : x\r\n\r\n", 400);
        malformed("folded header", "GET / HTTP/1.1\r\nA: b\r\n c\r\n\r\n", 400);
        malformed("bad length", "POST /api/v1/banners HTTP/1.1\r\nContent-Length: 1x\r\n\r\n", 400);
        malformed("negative length", "POST /api/v1/banners HTTP/1.1\r\nContent-Length: -1\r\n\r\n", 400);
        malformed("two lengths", "POST /api/v1/banners HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab",
                  400);
        malformed("chunked", "POST /x HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 501);
        malformed("huge head", "GET / HTTP/1.1\r\nX: " + QByteArray(70000, 'a') + "\r\n\r\n", 431);
    }

    void rawRequests()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        QFETCH(QString, file);
        QFETCH(QByteArray, contentType);
        bool closed = false;
        const QByteArray response = rawExchange(m_server.port(), request, &closed);
        QCOMPARE(statusOf(response), status);
        QVERIFY2(closed, "the server must close a connection that asked for it or that it cannot parse");
        QVERIFY(!response.contains("SECRET"));
        QVERIFY(!response.contains("root:"));
        if (status == 200) {
            QVERIFY(response.left(response.indexOf("\r\n\r\n")).contains("\r\nContent-Type: " + contentType + "\r\n"));
            QCOMPARE(bodyOf(response), m_media.value(file));
        }
        QCOMPARE(statusOf(rawExchange(m_server.port(), once("GET", "/media/a.gif"))), 200);
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
        QCOMPARE(statusOf(rawExchange(second.port(), once("POST", "/api/v1/banners"))), 502);
        QCOMPARE(statusOf(rawExchange(m_server.port(), once("POST", "/api/v1/banners"))), 200);
    }
};

VELMORA_TEST_MAIN(TestAdServer)

#include "tst_adserver.moc"
