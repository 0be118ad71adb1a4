#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QList>

namespace velmora::test {

// The live (not zombie) child processes of this one whose command name is `name`, read from
// /proc as anyone watching the machine would. Header-only, like SoundStreams.h.
inline QList<qint64> childProcesses(const QByteArray &name)
{
    QList<qint64> found;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool number = false;
        const qint64 pid = entry.toLongLong(&number);
        QFile stat(QStringLiteral("/proc/%1/stat").arg(entry));
        if (!number || !stat.open(QIODevice::ReadOnly))
            continue;
        const QByteArray line = stat.readAll();
        const qsizetype open = line.indexOf('('), close = line.lastIndexOf(')');
        const QList<QByteArray> fields = line.mid(close + 2).split(' ');
        if (line.mid(open + 1, close - open - 1) == name.left(15) && fields.value(0) != "Z"
            && fields.value(1).toLongLong() == QCoreApplication::applicationPid())
            found << pid;
    }
    return found;
}

} // namespace velmora::test
