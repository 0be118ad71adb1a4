#include "ChildRun.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>

namespace velmora::test {

ChildResult runChild(const QStringList &arguments, const QProcessEnvironment &extra, int timeoutMs)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(extra);
    process.setProcessEnvironment(env);
    // The parent's event loop keeps running meanwhile: a server the parent runs stays
    // served while the child talks to it.
    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    process.start(QCoreApplication::applicationFilePath(), arguments);
    deadline.start(timeoutMs);
    if (process.state() != QProcess::NotRunning)
        loop.exec();
    ChildResult result;
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
    } else {
        result.finished = process.exitStatus() == QProcess::NormalExit;
    }
    result.crashed = process.exitStatus() == QProcess::CrashExit;
    result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

} // namespace velmora::test
