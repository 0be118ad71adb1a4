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
    // Receives whether the whole body now lies at the local path.
    using Done = std::function<void(bool written)>;

    // Fetches `remote` into `local`, all or nothing, giving up past `cap` bytes or after
    // `timeoutMs` without progress. `done` runs on the main thread, unless `context` is gone.
    static void fetch(const QUrl &remote, const QString &local, qint64 cap, int timeoutMs, QObject *context, Done done);
};

} // namespace velmora
