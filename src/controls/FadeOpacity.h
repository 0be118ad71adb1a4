#pragma once

#include <QtGlobal>

namespace velmora {

// The opacity a view paints itself with while the splash screen fades it: views that paint
// their own opacity need no offscreen copy of themselves, as an opacity effect makes.
class FadeOpacity {
public:
    qreal value() const { return m_value; }
    bool isOpaque() const { return m_value >= 1.0; }
    bool isInvisible() const { return m_value <= 0.0; }
    // Clamped to 0…1; true when it changed, and the view has to repaint.
    bool set(qreal opacity)
    {
        opacity = qBound(0.0, opacity, 1.0);
        if (opacity == m_value)
            return false;
        m_value = opacity;
        return true;
    }

private:
    qreal m_value = 1.0;
};

} // namespace velmora
