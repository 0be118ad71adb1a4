#include "content/MediaFetcher.h"

#include "content/ReplyOutcome.h"
#include "support/BackgroundPriority.h"
#include "support/PostCall.h"

#include <velmora/Support.h>

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QSaveFile>
#include <QThread>
#include <QTimer>

#include <memory>
#include <mutex>
#include <utility>

namespace velmora {

namespace {

constexpr qint64 kSlice = MediaFetcher::kSlice;

// One download on the fetching thread: the body is written under a temporary name as it
// arrives and takes the media's name only when the whole of it is on disk.
class Transfer : public QObject {
public:
    Transfer(QNetworkAccessManager *network, const QUrl &remote, const QString &local, qint64 cap, int timeoutMs,
             std::function<void(bool written, bool overCap)> finish)
        : QObject(network)
        , m_file(local)
        , m_cap(cap)
        , m_finish(std::move(finish))
    {
        QNetworkRequest request(remote);
        request.setTransferTimeout(timeoutMs);
        m_reply = network->get(request);
        m_reply->setParent(this);
        m_reply->setReadBufferSize(4 * kSlice);
        m_ok = m_file.open(QIODevice::WriteOnly);
        m_pace.setSingleShot(true);
        m_pace.setTimerType(Qt::PreciseTimer);
        m_pace.setInterval(MediaFetcher::kPaceMs);
        connect(&m_pace, &QTimer::timeout, this, [this] { take(kSlice); });
        connect(m_reply, &QNetworkReply::readyRead, this, [this] {
            if (!m_pace.isActive())
                take(kSlice);
        });
        connect(m_reply, &QNetworkReply::downloadProgress, this, [this](qint64, qint64 total) {
            if (total > m_cap)
                abandon();
        });
        connect(m_reply, &QNetworkReply::finished, this, &Transfer::end);
        if (!m_ok)
            m_reply->abort();
    }

private:
    // Writes what arrived, up to `most` bytes; the rest waits for the pace.
    void take(qint64 most)
    {
        const QByteArray bytes = m_reply->read(most);
        if (!m_ok)
            return;
        m_written += bytes.size();
        if (m_written > m_cap)
            abandon();
        else if (m_file.write(bytes) != bytes.size())
            fail();
        else if (m_reply->bytesAvailable() > 0 && !m_ended)
            m_pace.start();
    }
    void abandon()
    {
        if (m_ok)
            m_overCap = true;
        fail();
    }
    void fail()
    {
        m_ok = false;
        m_reply->abort();
    }
    void end()
    {
        if (std::exchange(m_ended, true))
            return;
        m_pace.stop();
        // The network is done; what it had buffered is written at once, on this thread.
        take(m_reply->bytesAvailable());
        // A file not committed is removed with its temporary name.
        const bool written = m_ok && ReplyOutcome::answeredInFull(m_reply) && m_file.commit();
        m_finish(written, m_overCap);
        deleteLater();
    }

    QSaveFile m_file;
    QTimer m_pace;
    QNetworkReply *m_reply = nullptr;
    qint64 m_cap;
    qint64 m_written = 0;
    bool m_ok = false;
    bool m_overCap = false;
    bool m_ended = false;
    std::function<void(bool, bool)> m_finish;
};

// The fetching thread and the network access it owns. Made on the first fetch, ended
// before the application goes: a transfer still under way then leaves no file.
struct Fetching {
    QThread thread;
    QObject *home = new QObject;
    QNetworkAccessManager *network = nullptr;

    Fetching()
    {
        thread.setObjectName(QStringLiteral("velmora-fetch"));
        home->moveToThread(&thread);
        QObject::connect(&thread, &QThread::finished, home, &QObject::deleteLater);
        const int niceness = BackgroundPriority::niceness();
        // The network thread Qt makes for the manager inherits the niceness.
        QObject::connect(
            &thread, &QThread::started, home,
            [this, niceness] {
                BackgroundPriority::apply(0, niceness);
                network = new QNetworkAccessManager(home);
            },
            Qt::DirectConnection);
        thread.start();
    }
    ~Fetching()
    {
        // The thread ends by its own quit, taken under a lock this side holds while posting
        // it: Qt's wake-up of the thread and its closing of the wake-up descriptor are then
        // ordered by a lock ThreadSanitizer sees, not only by Qt's own, which it cannot.
        {
            const std::lock_guard hold(stopping);
            postCall(home, [this] {
                stopping.lock();
                stopping.unlock();
                thread.quit();
            });
        }
        thread.wait();
    }

private:
    std::mutex stopping;
};

std::unique_ptr<Fetching> &fetching()
{
    static std::unique_ptr<Fetching> current;
    return current;
}

} // namespace

void MediaFetcher::fetch(const QUrl &remote, const QString &local, qint64 cap, int timeoutMs, QObject *context,
                         Done done)
{
    std::unique_ptr<Fetching> &current = fetching();
    if (!current) {
        current = std::make_unique<Fetching>();
        qAddPostRoutine([] { fetching().reset(); });
    }
    const auto finish
        = [remote, cap, context = QPointer<QObject>(context), done = std::move(done)](bool written, bool overCap) {
              QCoreApplication *app = QCoreApplication::instance();
              if (!app)
                  return;
              postCall(app, [remote, cap, context, done, written, overCap] {
                  if (overCap)
                      LOG(QStringLiteral("transfer of %1 abandoned: over %2 bytes").arg(remote.toString()).arg(cap));
                  if (context && done)
                      done(written);
              });
          };
    Fetching *state = current.get();
    postCall(state->home, [state, remote, local, cap, timeoutMs, finish] {
        new Transfer(state->network, remote, local, cap, timeoutMs, finish);
    });
}

} // namespace velmora
