#pragma once

#include <QPointer>
#include <QSize>
#include <QWidget>

#include <memory>

class QMovie;

namespace velmora {

// An image view for banner pictures: an animated GIF drawn scaled into the bounds and
// clipped to a rounded rectangle. Frames advance only while the view is shown and its
// window is not minimised.
class BannerImageView : public QWidget {
    Q_OBJECT

public:
    explicit BannerImageView(QWidget *parent = nullptr);
    ~BannerImageView() override;

    // 4 points, or 2 when 4 is more than a tenth of the height.
    static double cornerRadius(double height);

    // Takes the picture; null (or an unreadable one) clears the view.
    void setImage(std::unique_ptr<QMovie> image);
    QMovie *image() const;
    // The picture's own size; empty without a picture.
    QSize imageSize() const;

    // Whether frames play (otherwise the first frame stays).
    void setAnimates(bool animates);
    bool animates() const;
    // True while frames are actually advancing.
    bool isAnimating() const;

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void updateAnimation();
    void watchWindow();

    std::unique_ptr<QMovie> m_image;
    QSize m_imageSize;
    bool m_animates = false;
    QPointer<QWidget> m_watchedWindow;
};

} // namespace velmora
