#pragma once

#include "controls/FadeOpacity.h"

#include <QColor>
#include <QWidget>

namespace velmora {

// A view filled with one colour: square top corners, bottom corners rounded by 6 points.
class ColoredView : public QWidget, public FadeOpacity {
    Q_OBJECT
    Q_PROPERTY(QColor color READ color WRITE setColor)
    // Fades paint the colour with it; the view's children take care of their own.
    Q_PROPERTY(qreal opacity READ opacity WRITE setOpacity)

public:
    static constexpr double kCornerRadius = 6.0;

    explicit ColoredView(QWidget *parent = nullptr);

    QColor color() const;
    // An invalid colour draws nothing.
    void setColor(const QColor &color);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QColor m_color;
};

} // namespace velmora
