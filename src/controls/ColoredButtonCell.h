#pragma once

#include <QColor>
#include <QPushButton>

namespace velmora {

// A push button with flat state colours: face and title each have a default, highlighted
// (pressed) and disabled colour; `circle` cuts the face to the inscribed ellipse.
class ColoredButtonCell : public QPushButton {
    Q_OBJECT
    Q_PROPERTY(double cornerRadius READ cornerRadius WRITE setCornerRadius)
    Q_PROPERTY(bool circle READ circle WRITE setCircle)
    Q_PROPERTY(QColor defaultColor READ defaultColor WRITE setDefaultColor)
    Q_PROPERTY(QColor highlightedColor READ highlightedColor WRITE setHighlightedColor)
    Q_PROPERTY(QColor disabledColor READ disabledColor WRITE setDisabledColor)
    Q_PROPERTY(QColor titleDefaultColor READ titleDefaultColor WRITE setTitleDefaultColor)
    Q_PROPERTY(QColor titleHighlightedColor READ titleHighlightedColor WRITE setTitleHighlightedColor)
    Q_PROPERTY(QColor titleDisabledColor READ titleDisabledColor WRITE setTitleDisabledColor)

public:
    explicit ColoredButtonCell(QWidget *parent = nullptr);
    explicit ColoredButtonCell(const QString &text, QWidget *parent = nullptr);

    double cornerRadius() const { return m_cornerRadius; }
    void setCornerRadius(double radius);
    bool circle() const { return m_circle; }
    void setCircle(bool circle);
    QColor defaultColor() const { return m_defaultColor; }
    void setDefaultColor(const QColor &color);
    QColor highlightedColor() const { return m_highlightedColor; }
    void setHighlightedColor(const QColor &color);
    QColor disabledColor() const { return m_disabledColor; }
    void setDisabledColor(const QColor &color);
    QColor titleDefaultColor() const { return m_titleDefaultColor; }
    void setTitleDefaultColor(const QColor &color);
    QColor titleHighlightedColor() const { return m_titleHighlightedColor; }
    void setTitleHighlightedColor(const QColor &color);
    QColor titleDisabledColor() const { return m_titleDisabledColor; }
    void setTitleDisabledColor(const QColor &color);

    // The face colour for the current state (disabled wins over highlighted).
    QColor bezelColor() const;
    QColor titleColor() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void drawBezelWithFrame(QPainter &painter, const QRectF &frame) const;
    // Draws the title (and the icon, if any) and returns the rectangle the title took.
    QRectF drawTitle(QPainter &painter, const QString &title, const QRectF &frame) const;

private:
    QColor stateColor(const QColor &normal, const QColor &highlighted, const QColor &disabled) const;
    void applyDefaults();

    double m_cornerRadius = 0;
    bool m_circle = false;
    QColor m_defaultColor;
    QColor m_highlightedColor;
    QColor m_disabledColor;
    QColor m_titleDefaultColor;
    QColor m_titleHighlightedColor;
    QColor m_titleDisabledColor;
};

} // namespace velmora
