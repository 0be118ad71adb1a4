#pragma once

#include <QCoreApplication>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>

#include <utility>

namespace velmora::test {

struct ChildResult {
    bool finished = false; // exited by itself (not killed, not timed out)
    int exitCode = -1;
    bool crashed = false;
    QByteArray out;
    QByteArray err;
    bool ok() const { return finished && exitCode == 0; }
};

// Runs this test's own executable again with the extra environment `variables` (so in the
// same private home) and kills it after `timeoutMs`. The parent's event loop keeps running
// meanwhile: a server the parent runs stays served while the child talks to it.
// Header-only: the facade tests build against the installed package.
inline ChildResult runChild(const QList<std::pair<QString, QString>> &variables, int timeoutMs = 60000)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const auto &[name, value] : variables)
        env.insert(name, value);
    process.setProcessEnvironment(env);
    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    process.start(QCoreApplication::applicationFilePath(), {});
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
