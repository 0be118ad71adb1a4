#pragma once

#include <velmora/velmora_export.h>

#include <QRect>

class QWidget;

namespace velmora {

// Where the framework's overlays (splash screen, banner) go in a host's widget tree.
class VELMORA_EXPORT HostContent {
public:
    // A window's content: a QMainWindow's central widget, else the window itself.
    static QWidget *contentView(QWidget *window);
    // The parent for an overlay over `content`: the content itself, unless it turns every
    // child into a managed pane (a QSplitter does), then the content's own parent.
    static QWidget *overlayParent(QWidget *content);
    // The content's area in the coordinates of its overlay parent.
    static QRect contentRect(QWidget *content);
};

} // namespace velmora
