#pragma once

#include <QAbstractButton>

namespace velmora {

// A button that draws nothing: the click-through over a whole picture. A style sheet would
// make a push button invisible too, but builds a style for it, the costliest part of a
// splash screen's construction.
class ClickArea : public QAbstractButton {
    Q_OBJECT

public:
    explicit ClickArea(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace velmora
