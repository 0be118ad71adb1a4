#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QList>
#include <QStringList>

#include <algorithm>
#include <optional>

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

namespace velmora::test {

// What /proc/<pid>/stat says of a process: its command name, state letter (Z: a zombie,
// gone but not reaped) and parent. Header-only: the facade tests and the bench build
// against the installed package and share nothing else with the suite.
struct ProcessStat {
    QByteArray name;
    char state = 0;
    qint64 parent = 0;
};

inline std::optional<ProcessStat> processStat(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray line = stat.readAll();
    const qsizetype open = line.indexOf('('), close = line.lastIndexOf(')');
    if (open < 0 || close < open)
        return std::nullopt;
    const QList<QByteArray> fields = line.mid(close + 2).split(' ');
    const QByteArray state = fields.value(0);
    return ProcessStat { line.mid(open + 1, close - open - 1), state.isEmpty() ? char(0) : state.at(0),
                         fields.value(1).toLongLong() };
}

// The live child processes of this one whose command name is `name`, as anyone watching
// the machine would find them.
inline QList<qint64> childProcesses(const QByteArray &name)
{
    QList<qint64> found;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool number = false;
        const qint64 pid = entry.toLongLong(&number);
        const std::optional<ProcessStat> stat = number ? processStat(pid) : std::nullopt;
        if (stat && stat->name == name.left(15) && stat->state != 'Z'
            && stat->parent == QCoreApplication::applicationPid())
            found << pid;
    }
    return found;
}

// The task ids of this process's threads with the given name (at most 15 bytes).
inline QStringList threadsNamed(const QByteArray &name)
{
    QStringList found;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + QStringLiteral("/comm")));
        if (comm.open(QIODevice::ReadOnly) && comm.readAll().trimmed() == name)
            found << task;
    }
    return found;
}

// The task ids of this process's threads that run at the idle policy or may not use every
// core the main thread may (the main thread's task id is the process id).
inline QStringList threadsBelowTheMainThread()
{
    cpu_set_t mains;
    CPU_ZERO(&mains);
    sched_getaffinity(getpid(), sizeof mains, &mains);
    QStringList found;
    for (const QString &task : QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        cpu_set_t cores;
        if (sched_getscheduler(pid_t(task.toInt())) == SCHED_IDLE
            || sched_getaffinity(pid_t(task.toInt()), sizeof cores, &cores) != 0 || !CPU_EQUAL(&cores, &mains))
            found << task;
    }
    return found;
}

// The niceness of each of this process's threads with the given name.
inline QList<int> nicenessOfThreads(const QByteArray &name)
{
    QList<int> found;
    for (const QString &task : threadsNamed(name))
        found.append(getpriority(PRIO_PROCESS, id_t(task.toInt())));
    return found;
}

// The niceness `steps` below the calling thread's own, as far as Linux allows (19).
inline int nicenessBelowThisThread(int steps)
{
    return std::min(getpriority(PRIO_PROCESS, 0) + steps, 19);
}

} // namespace velmora::test
