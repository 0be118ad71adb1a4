#include "DemoMainWindow.h"

#include <QListWidget>
#include <QSplitter>
#include <QStatusBar>
#include <QTextEdit>
#include <QToolBar>

DemoMainWindow::DemoMainWindow(QWidget *parent)
    : QMainWindow(parent)
    , m_notes(new QListWidget)
    , m_editor(new QTextEdit)
{
    setWindowTitle(QStringLiteral("Velmora Notes"));
    QToolBar *toolbar = addToolBar(QStringLiteral("Main"));
    toolbar->setMovable(false);
    toolbar->addAction(QStringLiteral("New note"), this, [this] { addNote(QStringLiteral("Untitled"), QString()); });
    toolbar->addSeparator();
    toolbar->addAction(QStringLiteral("Show ad now"), this, &DemoMainWindow::showAdRequested);
    toolbar->addAction(QStringLiteral("Remove ads…"), this, &DemoMainWindow::removeAdsRequested);

    auto *splitter = new QSplitter;
    splitter->addWidget(m_notes);
    splitter->addWidget(m_editor);
    splitter->setStretchFactor(1, 3);
    setCentralWidget(splitter);
    statusBar()->showMessage(QStringLiteral("Ready"));

    addNote(QStringLiteral("Groceries"), QStringLiteral("Apples, oat milk, coffee beans, basil."));
    addNote(QStringLiteral("Release checklist"),
            QStringLiteral("1. Tag the build\n2. Write the changelog\n3. Upload the packages\n4. Announce"));
    addNote(QStringLiteral("Ideas"), QStringLiteral("A dark theme. Sync over the local network. Tags."));
    connect(m_notes, &QListWidget::currentRowChanged, this,
            [this](int row) { m_editor->setPlainText(m_notes->item(row)->data(Qt::UserRole).toString()); });
    m_notes->setCurrentRow(1);
}

void DemoMainWindow::addNote(const QString &title, const QString &text)
{
    auto *item = new QListWidgetItem(title, m_notes);
    item->setData(Qt::UserRole, text);
}
