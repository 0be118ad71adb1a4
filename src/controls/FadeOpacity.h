#pragma once

#include <QWidget>

namespace velmora {

// The opacity a view paints itself with while the splash screen fades it: views that paint
// their own opacity need no offscreen copy of themselves, as an opacity effect makes. A
// view inherits this beside its widget class and declares
//     Q_PROPERTY(qreal opacity READ opacity WRITE setOpacity)
// so that the fades find and animate it.
class FadeOpacity {
public:
    explicit FadeOpacity(QWidget *view)
        : m_view(view)
    {
    }
    virtual ~FadeOpacity() = default;

    qreal opacity() const { return m_value; }
    // Clamped to 0…1; the view repaints when it changed.
    void setOpacity(qreal opacity)
    {
        opacity = qBound(0.0, opacity, 1.0);
        if (opacity == m_value)
            return;
        m_value = opacity;
        opacityChanged();
    }
    bool isOpaque() const { return m_value >= 1.0; }
    bool isInvisible() const { return m_value <= 0.0; }

protected:
    virtual void opacityChanged() { m_view->update(); }

private:
    QWidget *m_view;
    qreal m_value = 1.0;
};

} // namespace velmora
