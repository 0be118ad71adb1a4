#pragma once

#include <QImage>
#include <QWidget>

namespace velmora {

// The picture of the ad video: the newest frame, aspect-fit across the whole view on black,
// under the splash screen's controls. A plain widget, so fades, grabs and clicks treat it
// like every other part of the splash screen.
class VideoFrameView : public QWidget {
    Q_OBJECT

public:
    explicit VideoFrameView(QWidget *parent = nullptr);

    void setFrame(const QImage &frame);
    // No picture: the view paints nothing and lets the background show.
    void clear();
    bool hasFrame() const { return !m_frame.isNull(); }
    // Where a frame of `frame` size goes inside `bounds`: as large as fits, centred.
    static QRect fittedRect(const QSize &frame, const QRect &bounds);

Q_SIGNALS:
    // A frame reached the screen (the first after setFrame at least).
    void framePainted();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QImage m_frame;
};

} // namespace velmora
