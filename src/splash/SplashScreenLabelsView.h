#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;

namespace velmora {

class TimeProgressView;

// The start screen's text block: two lines of text and the countdown (its text over its
// ring). Its width follows its parent's: `widthConstraint` is kept equal to the parent's
// width on every geometry change.
class SplashScreenLabelsView : public QWidget {
    Q_OBJECT

public:
    explicit SplashScreenLabelsView(QWidget *parent = nullptr);
    ~SplashScreenLabelsView() override;

    QLabel *textCommentFieldFirst() const;
    QLabel *textCommentFieldSecond() const;
    QLabel *timeLabel() const;
    TimeProgressView *timeProgressView() const;
    double widthConstraint() const { return m_widthConstraint; }

    void setFrame(const QRect &frame);

protected:
    void resizeEvent(QResizeEvent *event) override;
    void moveEvent(QMoveEvent *event) override;

private:
    void frameChanged();

    QPointer<QLabel> m_textCommentFieldFirst;
    QPointer<QLabel> m_textCommentFieldSecond;
    QPointer<QLabel> m_timeLabel;
    QPointer<TimeProgressView> m_timeProgressView;
    double m_widthConstraint = 0;
};

} // namespace velmora
