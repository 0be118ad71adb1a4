#pragma once

#include <QWidget>

// A second window with a panel that carries a banner of its own.
class DemoInspectorWindow : public QWidget {
    Q_OBJECT

public:
    explicit DemoInspectorWindow(QWidget *parent = nullptr);
    QWidget *panel() const { return m_panel; }

private:
    QWidget *m_panel;
};
