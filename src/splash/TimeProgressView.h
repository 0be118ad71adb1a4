#pragma once

#include "controls/FadeOpacity.h"

#include <QColor>
#include <QImage>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QWidget>

namespace velmora {

class Timer;

// The circular countdown: a disc with a ring on its edge whose elapsed part grows
// clockwise from twelve o'clock, one step of a hundred on each tick of countSec / 100
// seconds. Painting draws the current step and changes nothing.
class TimeProgressView : public QWidget, public FadeOpacity {
    Q_OBJECT
    Q_PROPERTY(QColor backgroundColor READ backgroundColor WRITE setBackgroundColor)
    Q_PROPERTY(QColor backgroundProgressColor READ backgroundProgressColor WRITE setBackgroundProgressColor)
    Q_PROPERTY(QColor progressColor READ progressColor WRITE setProgressColor)
    Q_PROPERTY(double widthBorder READ widthBorder WRITE setWidthBorder)
    Q_PROPERTY(double widthProgress READ widthProgress WRITE setWidthProgress)
    Q_PROPERTY(qreal opacity READ opacity WRITE setOpacity)

public:
    // What one paint draws, computed apart from the painting.
    struct Geometry {
        QPointF centre;
        double radius = 0; // outer edge of disc and ring
        double trackRadius = 0; // inner edge of the track
        double progressRadius = 0; // inner edge of the thicker elapsed part
        qint64 sweep = 0; // elapsed degrees, clockwise from 90
    };

    static Geometry computeGeometry(const QRectF &bounds, qint64 val1, double widthBorder, double widthProgress);
    static void draw(QPainter &painter, const Geometry &geometry, const QColor &background, const QColor &track,
                     const QColor &progress);

    explicit TimeProgressView(QWidget *parent = nullptr);
    ~TimeProgressView() override;

    // Starts or restarts the countdown `fromSec` seconds into `endSec`.
    void startTimerFromSec(float fromSec, float endSec);
    // Stops the ticking; the ring keeps its progress.
    void stop();
    // Ticks again from the current progress.
    void complite();
    void refresh();
    double Diametr() const;

    QColor backgroundColor() const { return m_backgroundColor; }
    void setBackgroundColor(const QColor &color);
    QColor backgroundProgressColor() const { return m_backgroundProgressColor; }
    void setBackgroundProgressColor(const QColor &color);
    QColor progressColor() const { return m_progressColor; }
    void setProgressColor(const QColor &color);
    double widthBorder() const { return m_widthBorder; }
    void setWidthBorder(double width);
    double widthProgress() const { return m_widthProgress; }
    void setWidthProgress(double width);
    qint64 val1() const { return m_val1; }
    void setVal1(qint64 val1);
    float countSec() const { return m_countSec; }
    void setCountSec(float seconds);
    // The running tick, or null while stopped or hidden.
    Timer *timer() const;
    // True between a start (or complite) and stop or the end of the countdown, hidden or not.
    bool isTicking() const { return m_ticking; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    // What the face was drawn from: a change of any of them draws it again.
    struct FaceKey {
        QSize size;
        qreal ratio = 0;
        qint64 val1 = 0;
        QColor background, track, progress;
        double widthBorder = 0, widthProgress = 0;
        bool operator==(const FaceKey &) const = default;
    };

    void startTicking();
    void stopTimer();
    void step();
    const QImage &face();

    QColor m_backgroundColor;
    QColor m_backgroundProgressColor;
    QColor m_progressColor;
    double m_widthBorder = 2.0;
    double m_widthProgress = 4.0;
    qint64 m_val1 = 0;
    float m_countSec = 0;
    QPointer<Timer> m_timer;
    bool m_ticking = false;
    QImage m_face;
    FaceKey m_faceKey;
};

} // namespace velmora
