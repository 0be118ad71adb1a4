#pragma once

#include "controls/BezierPath.h"
#include "controls/FadeOpacity.h"

#include <QColor>
#include <QFont>
#include <QImage>
#include <QPainterPath>
#include <QPushButton>
#include <QSequentialAnimationGroup>
#include <QVariantAnimation>

namespace velmora {

// The remove-ads push button: a green (or gradient, circular or image) face, its title,
// an optional border and a shine of two pale bands that sweeps across the face every
// five seconds while the button is visible.
class RemoveAdsButton : public QPushButton, public FadeOpacity {
    Q_OBJECT
    Q_PROPERTY(bool isGradient READ isGradient WRITE setIsGradient)
    Q_PROPERTY(bool isImage READ isImage WRITE setIsImage)
    Q_PROPERTY(double border READ border WRITE setBorder)
    Q_PROPERTY(double cornerRadius READ cornerRadius WRITE setCornerRadius)
    Q_PROPERTY(double titleLeading READ titleLeading WRITE setTitleLeading)
    Q_PROPERTY(bool isCircle READ isCircle WRITE setIsCircle)
    Q_PROPERTY(bool isAnimation READ isAnimation WRITE setIsAnimation)
    Q_PROPERTY(bool isAutoWidth READ isAutoWidth WRITE setIsAutoWidth)
    Q_PROPERTY(QColor borderColor READ borderColor WRITE setBorderColor)
    Q_PROPERTY(QColor topColor READ topColor WRITE setTopColor)
    Q_PROPERTY(QColor bottomColor READ bottomColor WRITE setBottomColor)
    Q_PROPERTY(QFont stringFont READ stringFont WRITE setStringFont)
    Q_PROPERTY(QColor stringColor READ stringColor WRITE setStringColor)
    Q_PROPERTY(qreal opacity READ opacity WRITE setOpacity)

public:
    // The fixed face colour.
    static QColor green(qreal alpha = 1.0);
    static constexpr int kSweepMs = 2000;
    static constexpr int kShinePeriodMs = 5000;

    explicit RemoveAdsButton(QWidget *parent = nullptr);
    explicit RemoveAdsButton(const QString &title, QWidget *parent = nullptr);
    ~RemoveAdsButton() override;

    // The font the title is measured in for the button's width (a circle may shrink it to fit).
    QFont baseTitleFont() const;

    bool isGradient() const { return m_isGradient; }
    void setIsGradient(bool on);
    bool isImage() const { return m_isImage; }
    void setIsImage(bool on);
    double border() const { return m_border; }
    void setBorder(double border);
    double cornerRadius() const { return m_cornerRadius; }
    void setCornerRadius(double radius);
    double titleLeading() const { return m_titleLeading; }
    void setTitleLeading(double leading);
    bool isCircle() const { return m_isCircle; }
    void setIsCircle(bool on);
    bool isAnimation() const { return m_isAnimation; }
    // Turning it off lets the running sweep end and starts no further one.
    void setIsAnimation(bool on);
    bool isAutoWidth() const { return m_isAutoWidth; }
    void setIsAutoWidth(bool on);
    QColor borderColor() const { return m_borderColor; }
    void setBorderColor(const QColor &color);
    QColor topColor() const { return m_topColor; }
    void setTopColor(const QColor &color);
    QColor bottomColor() const { return m_bottomColor; }
    void setBottomColor(const QColor &color);
    QFont stringFont() const { return m_stringFont; }
    void setStringFont(const QFont &font);
    QColor stringColor() const { return m_stringColor; }
    void setStringColor(const QColor &color);
    // True once a paint started the shine.
    bool isAllDraw() const { return m_isAllDraw; }

    // One five-second shine cycle: the sweep, then a rest in which no timer ticks and
    // nothing repaints. Its current time places the bands.
    QAbstractAnimation *animationTimer() const { return m_animation; }

    // The slanted band of the shine, in widget coordinates: top edge from x to x + w,
    // bottom edge shifted left by s.
    QPainterPath getPath(double x, double w, double s) const;
    // Horizontal offset of the shine bands `elapsedMs` into a cycle for a face `width` wide.
    static double shineOffset(double width, int elapsedMs);

    // The face rectangle F: the bounds inset by the border.
    QRectF faceRect() const;
    QPainterPath facePath() const;

    // With isAutoWidth, the width follows the title and the height stays; else `size`.
    void setFrameSize(const QSize &size);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

    void drawImage(QPainter &painter, const QRectF &rect) const;
    void drawTitle(QPainter &painter) const;
    // Starts the shine cycle (and keeps it repeating while isAnimation holds).
    void drawPath();

private:
    void init();
    QFont titleFont() const;
    QColor titleColor() const;
    QRectF titleRect(const QFont &font) const;
    QSize autoSize(int height) const;
    void drawFace(QPainter &painter) const;
    void drawShine(QPainter &painter) const;

    // What a paint draws, rendered once per look of the button: the face with its title
    // (clipped as the shine's mask when it shines), the two bands of the shine, and the
    // mask. A frame of the sweep is then a few image draws, not antialiased clip paths,
    // gradients and text on the host's main thread, 60 times a second.
    struct Look {
        QSize size;
        qreal ratio = 0;
        bool down = false;
        bool enabled = true;
        QString text;
        qint64 icon = 0;
        quint64 generation = 0;
        bool operator==(const Look &) const = default;
    };
    struct Layers {
        Look look;
        QImage face;
        QImage bands;
        QImage mask;
        QImage scratch;
    };
    Look currentLook() const;
    const Layers &layers() const;
    QImage blankLayer() const;
    void onCycleEnded();
    void changed();

    bool m_isGradient = false;
    bool m_isImage = false;
    double m_border = 0;
    double m_cornerRadius = 0;
    double m_titleLeading = 10.0;
    bool m_isCircle = false;
    bool m_isAnimation = true;
    bool m_isAutoWidth = false;
    QColor m_borderColor = Qt::transparent;
    QColor m_topColor;
    QColor m_bottomColor;
    QFont m_stringFont;
    // The last title font fitted to the face, by title, size and base font.
    struct FittedTitle {
        QString title;
        QSize size;
        QFont base;
        QFont font;
    };
    mutable FittedTitle m_fitted;
    QColor m_stringColor = Qt::black;
    bool m_isAllDraw = false;
    // Bumped by every change of what the layers show that their look does not name.
    quint64 m_generation = 0;
    mutable Layers m_layers;
    QSequentialAnimationGroup *m_animation = nullptr;
    QVariantAnimation *m_sweep = nullptr;
};

} // namespace velmora
