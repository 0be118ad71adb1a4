// The video length read from a container's movie header, against hand-built containers
// and against what a real player reports for the project's clips.

#include "splash/MediaDuration.h"

#include "TestEnvironment.h"

#include <QBuffer>
#include <QMediaPlayer>
#include <QSignalSpy>
#include <QtEndian>

using namespace velmora;
using velmora::test::TestEnvironment;

namespace {

QByteArray be(quint64 value, int bytes)
{
    QByteArray out(bytes, '\0');
    for (int i = bytes - 1; i >= 0; --i, value >>= 8)
        out[i] = char(value & 0xff);
    return out;
}

QByteArray box(const char *type, const QByteArray &body)
{
    return be(quint64(8 + body.size()), 4) + QByteArray(type, 4) + body;
}

// A box with the 64-bit size form.
QByteArray largeBox(const char *type, const QByteArray &body)
{
    return be(1, 4) + QByteArray(type, 4) + be(quint64(16 + body.size()), 8) + body;
}

QByteArray mvhd(int version, quint64 timescale, quint64 duration)
{
    const int field = version == 1 ? 8 : 4;
    return box("mvhd",
               be(quint64(version) << 24, 4) + be(0, field) + be(0, field) + be(timescale, 4) + be(duration, field)
                   + QByteArray(80, '\0'));
}

const QByteArray ftyp = box("ftyp", "isom" + be(0x200, 4) + "isomiso2mp41");

} // namespace

class MediaDurationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void headers_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<qint64>("seconds");

        const QByteArray trak = box("trak", box("tkhd", QByteArray(84, '\0')));
        QTest::newRow("version 0") << ftyp + box("moov", mvhd(0, 1000, 12500)) << qint64(12);
        QTest::newRow("version 1, 64-bit fields")
            << ftyp + box("moov", mvhd(1, 90000, 90000ull * 3'000'000'000)) << qint64(3'000'000'000);
        QTest::newRow("truncated toward zero") << ftyp + box("moov", mvhd(0, 600, 599)) << qint64(0);
        QTest::newRow("movie box after the media data")
            << ftyp + box("mdat", QByteArray(4096, '\x55')) + box("moov", trak + mvhd(0, 30, 95)) << qint64(3);
        QTest::newRow("64-bit size on the media data")
            << ftyp + largeBox("mdat", QByteArray(64, '\x01')) + box("moov", mvhd(0, 1, 7)) << qint64(7);
        QTest::newRow("movie box running to the end (size 0)")
            << ftyp + be(0, 4) + QByteArray("moov") + mvhd(0, 10, 40) << qint64(4);
        QTest::newRow("time scale 0") << ftyp + box("moov", mvhd(0, 0, 1000)) << qint64(0);
        QTest::newRow("no movie header") << ftyp + box("moov", trak) << qint64(0);
        QTest::newRow("header cut short") << ftyp + box("moov", mvhd(0, 1000, 5000)).left(20) << qint64(0);
        QTest::newRow("box larger than the file")
            << ftyp + be(1'000'000, 4) + QByteArray("moov") + mvhd(0, 1, 9) << qint64(0);
        QTest::newRow("box smaller than its header")
            << be(4, 4) + QByteArray("ftyp") + box("moov", mvhd(0, 1, 9)) << qint64(0);
        QTest::newRow("not a container (GIF)") << QByteArray("GIF89a\x01\x00\x01\x00\x00\x00\x00;", 14) << qint64(0);
        QTest::newRow("empty") << QByteArray() << qint64(0);
    }

    void headers()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(qint64, seconds);
        QBuffer buffer(&bytes);
        QVERIFY(buffer.open(QIODevice::ReadOnly));
        QCOMPARE(MediaDuration::seconds(buffer), seconds);
    }

    void nonLocalAndMissing_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::newRow("remote") << QUrl(QStringLiteral("http://127.0.0.1:9/video.mp4"));
        QTest::newRow("missing file") << QUrl::fromLocalFile(QStringLiteral("/nonexistent/video.mp4"));
        QTest::newRow("empty") << QUrl();
    }

    void nonLocalAndMissing()
    {
        QFETCH(QUrl, url);
        QCOMPARE(MediaDuration::seconds(url), qint64(0));
    }

    // What the header says must be what a player finds when it loads the same file.
    void agreesWithThePlayer_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("test clip") << QStringLiteral("tests/data/media/test-video.mp4");
        QTest::newRow("short test clip") << QStringLiteral("tests/data/media/test-video-short.mp4");
        QTest::newRow("sample ad") << QStringLiteral("examples/sample-ads/media/video-cascade.mp4");
    }

    void agreesWithThePlayer()
    {
        QFETCH(QString, file);
        const QUrl url = QUrl::fromLocalFile(TestEnvironment::sourcePath(file));
        QMediaPlayer player;
        QSignalSpy loaded(&player, &QMediaPlayer::mediaStatusChanged);
        player.setSource(url);
        QTRY_VERIFY_WITH_TIMEOUT(player.mediaStatus() == QMediaPlayer::LoadedMedia, 10000);
        QVERIFY(player.duration() > 0);
        QCOMPARE(MediaDuration::seconds(url), player.duration() / 1000);
    }
};

VELMORA_TEST_MAIN(MediaDurationTest)
#include "tst_mediaduration.moc"
