#include "support/PicturePool.h"

#include "support/PoolTask.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QImage>
#include <QImageReader>
#include <QThreadPool>
#include <QTimer>

#include <mutex>

namespace velmora {

QThreadPool *PicturePool::instance()
{
    static QThreadPool pool;
    static std::once_flag once;
    std::call_once(once, [] {
        pool.setMaxThreadCount(1);
        pool.setThreadPriority(QThread::IdlePriority);
        // A thread that stays lets later pictures skip the thread's start-up.
        pool.setExpiryTimeout(-1);
        // A host that quits while a picture is read: Qt's plugins and the application must
        // outlive the task, so it ends before the application goes.
        qAddPostRoutine([] {
            pool.clear();
            pool.waitForDone();
        });
    });
    return &pool;
}

void PicturePool::warmUp()
{
    static std::once_flag once;
    // From the host's next turn on, as the network's warm-up: loading plugins holds the
    // dynamic linker's lock, which the turn of the first facade call would wait for.
    std::call_once(once, [] {
        QTimer::singleShot(0, QCoreApplication::instance(), [] {
            PoolTask::start(instance(), [] {
                // A picture read without a format hint asks every image plugin whether it can
                // read it, which loads them all; then the formats the framework reads are decoded
                // once, loading their libraries.
                QImage probe(2, 2, QImage::Format_RGB32);
                probe.fill(Qt::white);
                QList<QByteArray> samples;
                for (const char *format : { "PNG", "JPEG" }) {
                    QBuffer buffer(&samples.emplace_back());
                    buffer.open(QIODevice::WriteOnly);
                    probe.save(&buffer, format);
                }
                // Qt writes no GIF: a 1×1 one, by hand.
                samples.append(QByteArray::fromBase64("R0lGODlhAQABAIAAAP///wAAACH5BAEAAAAALAAAAAABAAEAAAICRAEAOw=="));
                for (QByteArray &sample : samples) {
                    QBuffer buffer(&sample);
                    buffer.open(QIODevice::ReadOnly);
                    QImageReader(&buffer).read();
                }
            });
        });
    });
}

} // namespace velmora
