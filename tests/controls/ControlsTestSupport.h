#pragma once

#include <QColor>
#include <QEvent>
#include <QImage>
#include <QPalette>
#include <QWidget>

namespace velmora::test {

// An opaque black window to hold a control, so that translucent colours have known
// composited values: alpha a of (r, g, b) reads back as (a·r, a·g, a·b).
class Backdrop : public QWidget {
public:
    Backdrop()
    {
        QPalette black = palette();
        black.setColor(QPalette::Window, Qt::black);
        setPalette(black);
        setAutoFillBackground(true);
    }

    // Sizes the backdrop to its one child at (0, 0) and renders both.
    QImage render()
    {
        resize(childrenRect().size());
        return grab().toImage();
    }
};

// Counts the paint events a widget receives.
struct PaintCounter : QObject {
    explicit PaintCounter(QWidget *widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::Paint;
        return false;
    }
    int count = 0;
};

inline QColor over(const QColor &top, const QColor &bottom)
{
    const double a = top.alphaF();
    return QColor::fromRgbF(float(top.redF() * a + bottom.redF() * (1 - a)),
                            float(top.greenF() * a + bottom.greenF() * (1 - a)),
                            float(top.blueF() * a + bottom.blueF() * (1 - a)));
}

inline bool near(const QColor &actual, const QColor &expected, int tolerance = 3)
{
    return qAbs(actual.red() - expected.red()) <= tolerance && qAbs(actual.green() - expected.green()) <= tolerance
        && qAbs(actual.blue() - expected.blue()) <= tolerance;
}

} // namespace velmora::test

#define VERIFY_NEAR(actual, expected)                                                                                  \
    QVERIFY2(velmora::test::near((actual), (expected)),                                                                \
             qPrintable(QStringLiteral("%1 is not near %2").arg((actual).name(), (expected).name())))
