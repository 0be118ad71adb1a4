#include "support/HostContent.h"

#include <QMainWindow>
#include <QSplitter>

namespace velmora {

QWidget *HostContent::contentView(QWidget *window)
{
    if (auto *mainWindow = qobject_cast<QMainWindow *>(window); mainWindow && mainWindow->centralWidget())
        return mainWindow->centralWidget();
    return window;
}

QWidget *HostContent::overlayParent(QWidget *content)
{
    if (content && qobject_cast<QSplitter *>(content) && content->parentWidget())
        return content->parentWidget();
    return content;
}

QRect HostContent::contentRect(QWidget *content)
{
    if (!content)
        return {};
    return overlayParent(content) == content ? content->rect() : content->geometry();
}

} // namespace velmora
