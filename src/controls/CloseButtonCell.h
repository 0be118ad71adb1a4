#pragma once

#include "controls/FadeOpacity.h"

#include <QPushButton>

namespace velmora {

// The close button: its image drawn inside the ellipse inscribed in the button.
class CloseButtonCell : public QPushButton, public FadeOpacity {
    Q_OBJECT
    Q_PROPERTY(qreal opacity READ opacity WRITE setOpacity)

public:
    explicit CloseButtonCell(QWidget *parent = nullptr);

    QSize sizeHint() const override;

    // The image frame after the old-system nudge: one point lower below version x.11.
    static QRectF imageFrame(const QRectF &frame, int systemMinorVersion);

protected:
    void paintEvent(QPaintEvent *event) override;
    void drawImage(QPainter &painter, const QRectF &frame) const;

private:
};

} // namespace velmora
