#include "NotificationLog.h"

#include <velmora/Velmora.h>

#include <QDateTime>

#include <cstdio>

NotificationLog::NotificationLog(const QString &path, QObject *parent)
    : QObject(parent)
    , m_start(QDateTime::currentMSecsSinceEpoch())
{
    if (!path.isEmpty()) {
        m_file.setFileName(path);
        m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text);
    }
    connect(velmora::NotificationCenter::defaultCenter(), &velmora::NotificationCenter::notificationPosted, this,
            [this](const QString &name, const QVariant &object) {
                const QString detail = object.canConvert<QString>() ? object.toString() : QString();
                note(detail.isEmpty() ? name : QStringLiteral("%1 (%2)").arg(name, detail));
            });
}

void NotificationLog::note(const QString &line)
{
    const double seconds = double(QDateTime::currentMSecsSinceEpoch() - m_start) / 1000.0;
    const QByteArray text = QStringLiteral("[%1 s] %2\n").arg(seconds, 6, 'f', 2).arg(line).toUtf8();
    std::fputs(text.constData(), stdout);
    std::fflush(stdout);
    if (m_file.isOpen()) {
        m_file.write(text);
        m_file.flush();
    }
}
