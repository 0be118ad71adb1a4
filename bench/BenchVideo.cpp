// Reference for the splash screen's video cost: a bare Qt program (no framework) that plays
// one video in a QVideoWidget and reports the time to the first frame and its RSS.
//
// Usage: velmora-bench-video [warm] FILE
//   cold (default): timed from before the process's first QMediaPlayer, backend start included
//   warm: player, audio output and video widget made and the backend running first; timed
//         from setSource(), the part that waits for a source known only at that moment

#include <QApplication>
#include <QAudioOutput>
#include <QElapsedTimer>
#include <QFile>
#include <QMediaPlayer>
#include <QTimer>
#include <QVideoFrame>
#include <QVideoSink>
#include <QVideoWidget>

#include <cstdio>

namespace {

double statusMB(const char *field)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return -1;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QWidget window;
    window.resize(900, 640);
    window.show();
    std::printf("video_ref_rss_before_mb %.6g\n", statusMB("VmRSS"));
    const bool warm = app.arguments().contains(QStringLiteral("warm"));
    const char *key = warm ? "video_ref_warm_first_frame_ms" : "video_ref_first_frame_ms";
    QElapsedTimer clock;
    clock.start();
    auto *player = new QMediaPlayer(&window);
    std::printf("video_ref_first_player_ms %.6g\n", clock.nsecsElapsed() / 1e6);
    player->setAudioOutput(new QAudioOutput(player));
    auto *video = new QVideoWidget(&window);
    video->setGeometry(window.rect());
    video->show();
    player->setVideoOutput(video);
    bool seen = false;
    QObject::connect(video->videoSink(), &QVideoSink::videoFrameChanged, &app, [&](const QVideoFrame &frame) {
        if (!seen && frame.isValid()) {
            seen = true;
            std::printf("%s %.6g\n", key, clock.nsecsElapsed() / 1e6);
        }
    });
    QObject::connect(player, &QMediaPlayer::mediaStatusChanged, &app, [&](QMediaPlayer::MediaStatus status) {
        if (status == QMediaPlayer::EndOfMedia || status == QMediaPlayer::InvalidMedia)
            QTimer::singleShot(200, &app, &QApplication::quit);
    });
    const QUrl source = QUrl::fromLocalFile(QString::fromLocal8Bit(argv[argc - 1]));
    QTimer::singleShot(warm ? 500 : 0, &app, [&] {
        clock.restart();
        player->setSource(source);
        player->play();
    });
    QTimer::singleShot(30000, &app, &QApplication::quit);
    app.exec();
    std::printf("video_ref_peak_rss_mb %.6g\n", statusMB("VmHWM"));
    std::fflush(stdout);
    return 0;
}
