#pragma once

#include <QFile>
#include <QObject>
#include <QSet>
#include <QStringList>

// Writes every notification the framework posts, with the time since start and the
// constant a host would compare it with, to standard output and (when given) a file.
class NotificationLog : public QObject {
    Q_OBJECT

public:
    explicit NotificationLog(const QString &path, QObject *parent = nullptr);
    void note(const QString &line);
    QString path() const { return m_file.fileName(); }

    // The nine names a host can observe, in the order a session usually meets them.
    static QStringList hostNotifications();
    // Which of those have been posted so far.
    QStringList seen() const;

private:
    QFile m_file;
    qint64 m_start;
    QSet<QString> m_seen;
};
