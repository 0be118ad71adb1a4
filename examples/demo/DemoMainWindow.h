#pragma once

#include <QMainWindow>

class QListWidget;
class QTextEdit;

// The host's main window: a small notes application with a toolbar.
class DemoMainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit DemoMainWindow(QWidget *parent = nullptr);

Q_SIGNALS:
    void showAdRequested();
    void removeAdsRequested();

private:
    void addNote(const QString &title, const QString &text);

    QListWidget *m_notes;
    QTextEdit *m_editor;
};
