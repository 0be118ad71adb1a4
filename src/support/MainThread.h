#pragma once

#include <QCoreApplication>
#include <QObject>
#include <QThread>

namespace velmora {

// Where the framework's objects live: the application's thread, whichever thread made
// them first. Before the host made its application object the maker's thread is kept;
// the application object then adopts the same thread.
class MainThread {
public:
    static bool isCurrent()
    {
        const QCoreApplication *app = QCoreApplication::instance();
        return app && QThread::currentThread() == app->thread();
    }

    // Moves a just-made object (with its children) to the application's thread. Only the
    // object's own thread may move it, which a just-made object's always is.
    static void adopt(QObject *object)
    {
        const QCoreApplication *app = QCoreApplication::instance();
        if (app && object->thread() != app->thread() && object->thread() == QThread::currentThread())
            object->moveToThread(app->thread());
    }
};

} // namespace velmora
