// velmora-media: plays one ad video at a time for a Velmora host, out of the host's
// process and, on Linux, sandboxed. See media/MediaProtocol.h for the channel.
#include "MediaHelper.h"

#include "BuildConfig.h"
#if !VELMORA_PORTABLE
#include "Sandbox.h"
#endif

#include <QGuiApplication>

#include <sys/mman.h>
#include <sys/prctl.h>

#include <csignal>
#include <cstdio>
#include <unistd.h>

using namespace velmora::media;

int main(int argc, char **argv)
{
    // Dies with its host, also when the host is killed.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const QByteArray parent = qgetenv("VELMORA_MEDIA_PARENT");
    if (!parent.isEmpty() && getppid() != parent.toInt())
        return 0;
    // Decoding needs no screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    void *ring = mmap(nullptr, size_t(kRingBytes), PROT_READ | PROT_WRITE, MAP_SHARED, kFrameFd, 0);
    if (ring == MAP_FAILED) {
        std::fprintf(stderr, "velmora-media: no frame ring on fd %d\n", kFrameFd);
        return 2;
    }
    MediaHelper helper(static_cast<uchar *>(ring));
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
