#include "support/BackgroundPriority.h"

#if defined(Q_OS_LINUX)
#include <dirent.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace velmora {

namespace {

// The process's threads, sorted; empty where unknown.
std::vector<qint64> tasksOfProcess()
{
    std::vector<qint64> tasks;
#if defined(Q_OS_LINUX)
    if (DIR *folder = opendir("/proc/self/task")) {
        while (const dirent *entry = readdir(folder)) {
            if (entry->d_name[0] != '.')
                tasks.push_back(std::strtoll(entry->d_name, nullptr, 10));
        }
        closedir(folder);
    }
    std::sort(tasks.begin(), tasks.end());
#endif
    return tasks;
}

// Whether `task` may run on exactly the cores the calling thread may.
bool hasMyCores(qint64 task)
{
#if defined(Q_OS_LINUX)
    cpu_set_t mine, its;
    return sched_getaffinity(0, sizeof mine, &mine) == 0 && sched_getaffinity(pid_t(task), sizeof its, &its) == 0
        && CPU_EQUAL(&mine, &its);
#else
    Q_UNUSED(task);
    return false;
#endif
}

} // namespace

int BackgroundPriority::niceness()
{
#if defined(Q_OS_LINUX)
    // On Linux the niceness is a thread's own, which is what PRIO_PROCESS 0 reads.
    return std::min(getpriority(PRIO_PROCESS, 0) + kBelowHost, 19);
#else
    return kBelowHost;
#endif
}

void BackgroundPriority::apply(qint64 task, int niceness)
{
#if defined(Q_OS_LINUX)
    if (task >= 0)
        setpriority(PRIO_PROCESS, id_t(task), niceness);
#else
    Q_UNUSED(task);
    Q_UNUSED(niceness);
#endif
}

int BackgroundPriority::currentCore()
{
#if defined(Q_OS_LINUX)
    return sched_getcpu();
#else
    return -1;
#endif
}

bool BackgroundPriority::keepOffCore(qint64 task, int core)
{
#if defined(Q_OS_LINUX)
    cpu_set_t cores;
    CPU_ZERO(&cores);
    if (task < 0 || core < 0 || core >= CPU_SETSIZE || sched_getaffinity(pid_t(task), sizeof cores, &cores) != 0
        || !CPU_ISSET(core, &cores) || CPU_COUNT(&cores) < 2)
        return false;
    CPU_CLR(core, &cores);
    return sched_setaffinity(pid_t(task), sizeof cores, &cores) == 0;
#else
    Q_UNUSED(task);
    Q_UNUSED(core);
    return false;
#endif
}

void BackgroundPriority::allowHostCores(qint64 task)
{
#if defined(Q_OS_LINUX)
    // The main thread's task id is the process id.
    cpu_set_t cores;
    if (task >= 0 && sched_getaffinity(getpid(), sizeof cores, &cores) == 0)
        sched_setaffinity(pid_t(task), sizeof cores, &cores);
#else
    Q_UNUSED(task);
#endif
}

std::function<void()> BackgroundPriority::offCallersCore(std::function<void()> work)
{
    return [callerCore = currentCore(), work = std::move(work)] {
        if (!keepOffCore(0, callerCore)) {
            work();
            return;
        }
        const std::vector<qint64> before = tasksOfProcess();
        work();
        // Only the threads started meanwhile that took their cores from this one.
        for (const qint64 task : tasksOfProcess()) {
            if (!std::binary_search(before.begin(), before.end(), task) && hasMyCores(task))
                allowHostCores(task);
        }
        allowHostCores(0);
    };
}

std::function<void()> BackgroundPriority::awayFromCaller(std::function<void()> work)
{
    return [niceness = niceness(), work = offCallersCore(std::move(work))] {
        apply(0, niceness);
        work();
    };
}

} // namespace velmora
