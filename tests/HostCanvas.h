#pragma once

#include <QEvent>
#include <QWidget>

namespace velmora::test {

// A host window that is its own content, as a canvas host's is: it takes and counts the
// input that reaches it, so a test can tell whether input meant for an ad fell through.
// Header-only: the facade tests build against the installed package.
class HostCanvas : public QWidget {
public:
    using QWidget::QWidget;
    int inputEvents = 0;

protected:
    bool event(QEvent *event) override
    {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::Wheel:
            ++inputEvents;
            event->accept();
            return true;
        default:
            return QWidget::event(event);
        }
    }
};

} // namespace velmora::test
