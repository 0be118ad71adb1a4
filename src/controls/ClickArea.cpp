#include "controls/ClickArea.h"

namespace velmora {

ClickArea::ClickArea(QWidget *parent)
    : QAbstractButton(parent)
{
}

void ClickArea::paintEvent(QPaintEvent *) { }

} // namespace velmora
