#include "DemoInspectorWindow.h"

#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

DemoInspectorWindow::DemoInspectorWindow(QWidget *parent)
    : QWidget(parent)
    , m_panel(new QWidget)
{
    setWindowTitle(QStringLiteral("Inspector"));
    auto *form = new QFormLayout;
    form->addRow(QStringLiteral("Words:"), new QLabel(QStringLiteral("214")));
    form->addRow(QStringLiteral("Modified:"), new QLabel(QStringLiteral("today, 09:41")));
    form->addRow(QStringLiteral("Tags:"), new QLabel(QStringLiteral("work, release")));
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    // The banner lives at the bottom of this panel.
    m_panel->setMinimumHeight(160);
    m_panel->setAutoFillBackground(true);
    layout->addWidget(m_panel, 1);
}
