#pragma once

#include "ChildProcesses.h"

#include <QCoreApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QString>

#include <optional>

namespace velmora::test {

// How many audio streams of this process or its children the sound server plays right now (open and not
// corked), or nothing when there is no private server to ask (PULSE_SERVER unset, see
// tests/session/with-sound-server.sh) or it does not answer. Header-only: the facade tests
// build against the installed package and share nothing else with the suite.
inline std::optional<int> runningSoundStreams()
{
    if (qEnvironmentVariableIsEmpty("PULSE_SERVER"))
        return std::nullopt;
    QProcess pactl;
    pactl.start(QStringLiteral("pactl"), { QStringLiteral("list"), QStringLiteral("sink-inputs") });
    if (!pactl.waitForFinished(5000) || pactl.exitCode() != 0)
        return std::nullopt;
    // Ours: this process's streams and those of its children (the video helper).
    const auto ours = [](qint64 pid) {
        const std::optional<ProcessStat> stat = processStat(pid);
        return pid == QCoreApplication::applicationPid()
            || (stat && stat->parent == QCoreApplication::applicationPid());
    };
    static const QRegularExpression processId(QStringLiteral("application\\.process\\.id = \"(\\d+)\""));
    int running = 0;
    for (const QString &stream :
         QString::fromUtf8(pactl.readAllStandardOutput()).split(QStringLiteral("Sink Input #"))) {
        const QRegularExpressionMatch match = processId.match(stream);
        if (match.hasMatch() && ours(match.captured(1).toLongLong()) && stream.contains(QLatin1String("Corked: no")))
            ++running;
    }
    return running;
}

} // namespace velmora::test
