#pragma once

#include <QString>
#include <QUrl>

#include <functional>

class QObject;

namespace velmora {

// Media downloads into the cache, on a thread of their own that runs nicer than the host.
// The body goes to disk as it arrives, so megabytes of video cost the host's main thread
// neither copies nor turns of its loop: it hears once, when the file is there or is not.
class MediaFetcher {
public:
    // At most kSlice bytes of a body are taken per kPaceMs: 128 MB/s, more than any link a
    // host downloads ads over. A loopback or LAN burst, unpaced, keeps the server and the
    // kernel's network and disk work busy on every core at once, and the host's main thread
    // then waits for a core whenever it wakes. A reply's small read buffer passes the pace
    // back to the server through TCP. The ad table is read at the same pace.
    static constexpr qint64 kSlice = 128 * 1024;
    static constexpr int kPaceMs = 1;

    // Receives whether the whole body now lies at the local path.
    using Done = std::function<void(bool written)>;

    // Fetches `remote` into `local`, all or nothing, giving up past `cap` bytes or after
    // `timeoutMs` without progress. `done` runs on the main thread, unless `context` is gone.
    static void fetch(const QUrl &remote, const QString &local, qint64 cap, int timeoutMs, QObject *context, Done done);
};

} // namespace velmora
