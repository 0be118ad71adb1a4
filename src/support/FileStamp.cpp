#include "support/FileStamp.h"

#include <QFile>

#include <sys/stat.h>

namespace velmora {

FileStamp FileStamp::of(const QString &path)
{
    struct stat info { };
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {};
    return { true, info.st_dev, info.st_ino, info.st_size, info.st_mtim.tv_sec, info.st_mtim.tv_nsec };
}

} // namespace velmora
