#include "Sandbox.h"

#include <QDir>
#include <QFile>

#include <linux/landlock.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace velmora::media {

namespace {

// Landlock rights by the kernel ABI that brought them; the system headers may predate some.
constexpr quint64 fsAbi1 = (1ULL << 13) - 1; // execute .. make symlink
constexpr quint64 fsRefer = 1ULL << 13; // ABI 2: link or rename across folders
constexpr quint64 fsTruncate = 1ULL << 14; // ABI 3
constexpr quint64 fsIoctlDev = 1ULL << 15; // ABI 5
constexpr quint64 fsExecute = 1ULL << 0;
constexpr quint64 fsWriteFile = 1ULL << 1;
constexpr quint64 fsReadFile = 1ULL << 2;
constexpr quint64 fsReadDir = 1ULL << 3;
constexpr quint64 netBindTcp = 1ULL << 0; // ABI 4
constexpr quint64 netConnectTcp = 1ULL << 1;
constexpr quint64 scopeAbstractUnix = 1ULL << 0; // ABI 6
constexpr quint64 scopeSignal = 1ULL << 1;

struct RulesetAttr {
    quint64 handledAccessFs;
    quint64 handledAccessNet;
    quint64 scoped;
};

struct PathBeneath {
    quint64 allowedAccess;
    qint32 parentFd;
} __attribute__((packed));

int landlockAbi()
{
    return int(syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION));
}

bool allow(int ruleset, const QString &path, quint64 access)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_PATH | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat info { };
    // Rights that only folders have are refused on a file.
    if (::fstat(fd, &info) == 0 && !S_ISDIR(info.st_mode))
        access &= fsExecute | fsWriteFile | fsReadFile | fsTruncate | fsIoctlDev;
    const PathBeneath rule { access, fd };
    const bool added = syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
    ::close(fd);
    return added;
}

} // namespace

QStringList Sandbox::apply(const QStringList &readableFolders)
{
    // Neither this process nor anything it starts gains privileges (set-user-ID programs);
    // both mechanisms below require it.
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return { QStringLiteral("no_new_privs refused (%1): no sandbox").arg(errno) };
    return { restrictFiles(readableFolders), filterSystemCalls() };
}

// Landlock: reads only beneath the system's folders, the sound server's and the media's;
// no writes anywhere but /dev/null (no file made, changed, removed or linked), no TCP
// bind or connect, no signals to and no abstract sockets of processes outside.
QString Sandbox::restrictFiles(const QStringList &readableFolders)
{
    const int abi = landlockAbi();
    if (abi < 1)
        return QStringLiteral("Landlock missing (%1): files and TCP not confined").arg(errno);
    RulesetAttr attributes {};
    attributes.handledAccessFs
        = fsAbi1 | (abi >= 2 ? fsRefer : 0) | (abi >= 3 ? fsTruncate : 0) | (abi >= 5 ? fsIoctlDev : 0);
    size_t size = sizeof(quint64);
    if (abi >= 4) {
        attributes.handledAccessNet = netBindTcp | netConnectTcp;
        size = 2 * sizeof(quint64);
    }
    if (abi >= 6) {
        attributes.scoped = scopeAbstractUnix | scopeSignal;
        size = sizeof attributes;
    }
    const int ruleset = int(syscall(SYS_landlock_create_ruleset, &attributes, size, 0));
    if (ruleset < 0)
        return QStringLiteral("Landlock ruleset refused (%1)").arg(errno);

    const quint64 read = fsExecute | fsReadFile | fsReadDir;
    QStringList folders { QStringLiteral("/usr"), QStringLiteral("/lib"),  QStringLiteral("/lib64"),
                          QStringLiteral("/etc"), QStringLiteral("/proc"), QStringLiteral("/sys"),
                          QStringLiteral("/dev"), QStringLiteral("/run") };
    // GStreamer's plugin registry, the sound server's cookie and socket folder.
    const QString home = QDir::homePath();
    folders << home + QStringLiteral("/.cache/gstreamer-1.0") << home + QStringLiteral("/.config/pulse")
            << qEnvironmentVariable("XDG_RUNTIME_DIR") << readableFolders;
    QStringList granted;
    for (const QString &folder : std::as_const(folders)) {
        if (!folder.isEmpty() && allow(ruleset, folder, read))
            granted << folder;
    }
    allow(ruleset, QStringLiteral("/dev/null"), fsReadFile | fsWriteFile);
    const bool restricted = syscall(SYS_landlock_restrict_self, ruleset, 0) == 0;
    ::close(ruleset);
    if (!restricted)
        return QStringLiteral("Landlock restriction refused (%1)").arg(errno);
    return QStringLiteral("Landlock ABI %1: reads beneath %2; no writes%3%4")
        .arg(abi)
        .arg(granted.join(QLatin1Char(' ')))
        .arg(abi >= 4 ? QStringLiteral(", no TCP") : QStringLiteral(", TCP left to seccomp"))
        .arg(abi >= 6 ? QStringLiteral(", signals and abstract sockets scoped") : QString());
}

// seccomp: no socket but a local one (UDP and raw sockets too, which Landlock leaves
// open), no io_uring (it can reach sockets without socket(2)), and no reaching into other
// processes' memory.
QString Sandbox::filterSystemCalls()
{
    scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    if (!filter)
        return QStringLiteral("seccomp unavailable: sockets not filtered");
    bool ok = seccomp_rule_add(filter, SCMP_ACT_ERRNO(EACCES), SCMP_SYS(socket), 1, SCMP_A0(SCMP_CMP_NE, AF_UNIX)) == 0;
    QList<int> refused { SCMP_SYS(io_uring_setup), SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev) };
#if !defined(__SANITIZE_ADDRESS__)
    // LeakSanitizer stops this process's own threads with ptrace: only sanitizer builds keep it.
    refused << SCMP_SYS(ptrace);
#endif
    for (const int call : std::as_const(refused))
        ok = ok && seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), call, 0) == 0;
    ok = ok && seccomp_load(filter) == 0;
    seccomp_release(filter);
    return ok ? QStringLiteral("seccomp: local sockets only, no io_uring, no ptrace")
              : QStringLiteral("seccomp filter refused: sockets not filtered");
}

} // namespace velmora::media
