#pragma once

#include "controls/FadeOpacity.h"

#include <QImage>
#include <QWidget>

namespace velmora {

// The picture of the ad video: the newest frame, aspect-fit across the whole view on black,
// under the splash screen's controls. A plain widget, so grabs and clicks treat it like
// every other part of the splash screen; it fades by painting with an opacity of its own
// (an effect would copy the window-sized view offscreen on every frame).
class VideoFrameView : public QWidget, public FadeOpacity {
    Q_OBJECT
    Q_PROPERTY(qreal opacity READ opacity WRITE setOpacity)

public:
    explicit VideoFrameView(QWidget *parent = nullptr);

    void setFrame(const QImage &frame);
    // No picture: the view shows black.
    void clear();
    bool hasFrame() const { return !m_frame.isNull(); }
    // Where a frame of `frame` size goes inside `bounds`: as large as fits, centred.
    static QRect fittedRect(const QSize &frame, const QRect &bounds);

Q_SIGNALS:
    // A frame reached the screen (the first after setFrame at least).
    void framePainted();

protected:
    void paintEvent(QPaintEvent *event) override;
    void opacityChanged() override;

private:
    QImage m_frame;
};

} // namespace velmora
