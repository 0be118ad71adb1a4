// velmora-media: plays one ad video at a time for a Velmora host, out of the host's
// process and, on Linux, sandboxed. See media/MediaProtocol.h for the channel.
#include "MediaHelper.h"

#include "BuildConfig.h"
#include "media/FrameRing.h"
#if !VELMORA_PORTABLE
#include "Sandbox.h"

#include <sys/prctl.h>

#include <csignal>
#include <unistd.h>
#endif

#include <QGuiApplication>

#include <cstdio>

using namespace velmora::media;

int main(int argc, char **argv)
{
#if !VELMORA_PORTABLE
    // Dies with its host, also when the host is killed (and the host may have gone before
    // this line ran).
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const QByteArray parent = qgetenv("VELMORA_MEDIA_PARENT");
    if (!parent.isEmpty() && getppid() != parent.toInt())
        return 0;
#endif
    // Decoding needs no screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    const std::unique_ptr<FrameRing> ring = FrameRing::attach();
    if (!ring) {
        std::fprintf(stderr, "velmora-media: no frame ring from the host\n");
        return 2;
    }
    MediaHelper helper(ring->data());
#if VELMORA_PORTABLE
    std::fprintf(stderr, "velmora-media: portable build: no sandbox\n");
#else
    // Folders the media may come from: the arguments.
    const QStringList readable = app.arguments().mid(1);
    for (const QString &line : Sandbox::apply(readable))
        std::fprintf(stderr, "velmora-media: %s\n", qPrintable(line));
#endif
    std::fflush(stderr);
    helper.start();
    return app.exec();
}
