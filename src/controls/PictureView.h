#pragma once

#include "controls/FadeOpacity.h"

#include <QLabel>

namespace velmora {

// A label that shows one picture and fades by painting it with an opacity of its own.
// A graphics effect would render the whole view into an offscreen copy on every frame of
// the fade and keep that copy in the pixmap cache; for a picture as large as the window,
// on several windows at once, that is megabytes the host never asked for.
class PictureView : public QLabel, public FadeOpacity {
    Q_OBJECT
    Q_PROPERTY(qreal opacity READ opacity WRITE setOpacity)

public:
    explicit PictureView(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
};

} // namespace velmora
