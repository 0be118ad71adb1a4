#pragma once

#include <QImage>
#include <QObject>
#include <QStringList>

#include <memory>

class QProcess;

namespace velmora {

namespace media {
class FrameRing;
}

// One velmora-media helper process, seen from the host: starts it with a shared frame
// ring, sends it lines, and turns its lines into signals. Whatever the helper sends is
// checked; garbage, a crash or a missing program ends in failed(), never in a stall or a
// read outside the ring. Frames arrive as images over the ring's memory (no copy); the
// slot goes back to the helper when the last copy of its image is gone.
class MediaProcess : public QObject {
    Q_OBJECT

public:
    // Starts the helper at once; it may read media beneath `readableFolders` only.
    explicit MediaProcess(const QStringList &readableFolders, QObject *parent = nullptr);
    ~MediaProcess() override;

    // $VELMORA_MEDIA_HELPER, else velmora-media beside the library or in its libexec folder.
    static QString helperPath();

    QStringList readableFolders() const { return m_folders; }
    bool hasFailed() const { return m_failed; }
    qint64 processId() const;
    void send(const QByteArray &line);
    // Asks the helper to end, and kills it if it has not after two seconds; this object
    // deletes itself once the process is gone.
    void retire();

Q_SIGNALS:
    void ready();
    void frameArrived(const QImage &frame);
    void ended();
    void failed(const QString &reason);
    // The answer to a test build's "probe" line.
    void probeAnswered(const QByteArray &answer);

private:
    void readLines();
    void handle(const QByteArray &line);
    void fail(const QString &reason);

    QProcess *m_process = nullptr;
    std::shared_ptr<media::FrameRing> m_ring;
    QStringList m_folders;
    QByteArray m_pending;
    bool m_failed = false;
    bool m_retiring = false;
};

} // namespace velmora
