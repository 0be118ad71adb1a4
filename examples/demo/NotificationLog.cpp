#include "NotificationLog.h"

#include <velmora/Velmora.h>

#include <QDateTime>

#include <cstdio>

namespace {

struct Name {
    const char *value;
    const char *constant;
};

// Compared by the exported constants, never by retyped strings: three of the values are
// spelt "splashcreen" and a host that retypes them gets it wrong.
const Name names[] = {
    { velmora::VLMsplashScreenWillShow, "VLMsplashScreenWillShow" },
    { velmora::VLMsplashScreenDidShow, "VLMsplashScreenDidShow" },
    { velmora::VLMsplashScreenShowMoreOne, "VLMsplashScreenShowMoreOne" },
    { velmora::VLMadsVideoDidStart, "VLMadsVideoDidStart" },
    { velmora::VLMadsVideoDidStop, "VLMadsVideoDidStop" },
    { velmora::VLMclickForVideo, "VLMclickForVideo" },
    { velmora::VLMclickForBanner, "VLMclickForBanner" },
    { velmora::VLMtryRemoveAds, "VLMtryRemoveAds" },
    { velmora::VLMsplashScreenDidClose, "VLMsplashScreenDidClose" },
};

QString constantFor(const QString &name)
{
    for (const Name &entry : names) {
        if (name == QLatin1String(entry.value))
            return QLatin1String(entry.constant);
    }
    return QString();
}

} // namespace

NotificationLog::NotificationLog(const QString &path, QObject *parent)
    : QObject(parent)
    , m_start(QDateTime::currentMSecsSinceEpoch())
{
    if (!path.isEmpty()) {
        m_file.setFileName(path);
        if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
            std::fprintf(stderr, "velmora-demo: cannot write %s\n", qPrintable(path));
    }
    connect(velmora::NotificationCenter::defaultCenter(), &velmora::NotificationCenter::notificationPosted, this,
            [this](const QString &name, const QVariant &object) {
                const QString constant = constantFor(name);
                if (!constant.isEmpty())
                    m_seen.insert(name);
                QString line = name;
                if (!constant.isEmpty())
                    line += QStringLiteral(" [%1]").arg(constant);
                // Only the two click notifications carry an object: the clicked ad's name.
                if (object.typeId() == QMetaType::QString)
                    line += QStringLiteral(" object: \"%1\"").arg(object.toString());
                note(line);
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

QStringList NotificationLog::hostNotifications()
{
    QStringList list;
    for (const Name &entry : names)
        list << QLatin1String(entry.value);
    return list;
}

QStringList NotificationLog::seen() const
{
    QStringList list;
    for (const QString &name : hostNotifications()) {
        if (m_seen.contains(name))
            list << name;
    }
    return list;
}
