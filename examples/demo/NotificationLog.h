#pragma once

#include <QFile>
#include <QObject>

// Writes every notification the framework posts, with the time since start, to standard
// output and (when given) a file.
class NotificationLog : public QObject {
    Q_OBJECT

public:
    explicit NotificationLog(const QString &path, QObject *parent = nullptr);
    void note(const QString &line);

private:
    QFile m_file;
    qint64 m_start;
};
