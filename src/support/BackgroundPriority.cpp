#include "support/BackgroundPriority.h"

#if defined(Q_OS_LINUX)
#include <sys/resource.h>
#endif

#include <algorithm>

namespace velmora {

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

} // namespace velmora
