#pragma once

#include <QString>

#include <sys/types.h>

#include <ctime>

namespace velmora {

// A file as it was when read: another write (a new file renamed over it, or more bytes, or a
// later time of change) gives another stamp. A missing file has the empty stamp.
struct FileStamp {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t bytes = 0;
    time_t modifiedSeconds = 0;
    long modifiedNanoseconds = 0;

    bool operator==(const FileStamp &) const = default;
    // One stat(): cheap, but still a system call, so not in a loop on the host's main thread.
    static FileStamp of(const QString &path);
};

} // namespace velmora
