#include "splash/SplashScreenLabelsView.h"

#include "splash/TimeProgressView.h"

#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace velmora {

namespace {

QLabel *makeLabel(QWidget *parent, const QString &name, int pixelSize, QFont::Weight weight)
{
    auto *label = new QLabel(parent);
    label->setObjectName(name);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    label->setFont(font);
    return label;
}

// Layout priorities mapped onto size policies: a field that resists compression keeps its
// text width, one with a low priority may be squeezed.
void setCompressionResistance(QWidget *field, int priority)
{
    QSizePolicy policy = field->sizePolicy();
    policy.setHorizontalPolicy(priority >= 750 ? QSizePolicy::Minimum : QSizePolicy::Ignored);
    field->setSizePolicy(policy);
}

} // namespace

SplashScreenLabelsView::SplashScreenLabelsView(QWidget *parent)
    : QWidget(parent)
{
    m_textCommentFieldFirst = makeLabel(this, QStringLiteral("textCommentFieldFirst"), 20, QFont::DemiBold);
    m_textCommentFieldSecond = makeLabel(this, QStringLiteral("textCommentFieldSecond"), 15, QFont::Normal);
    m_timeLabel = makeLabel(this, QStringLiteral("timeLabel"), 17, QFont::DemiBold);
    m_timeLabel->setWordWrap(false);
    m_timeProgressView = new TimeProgressView(this);
    m_timeProgressView->setObjectName(QStringLiteral("timeProgressView"));
    m_timeProgressView->setFixedSize(56, 56);

    // The countdown text sits over its ring, sharing one cell.
    auto *countdown = new QGridLayout;
    countdown->addWidget(m_timeProgressView, 0, 0, Qt::AlignCenter);
    countdown->addWidget(m_timeLabel, 0, 0, Qt::AlignCenter);
    m_timeLabel->raise();

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 8, 16, 8);
    layout->setSpacing(6);
    layout->addWidget(m_textCommentFieldFirst);
    layout->addWidget(m_textCommentFieldSecond);
    layout->addSpacing(14);
    layout->addLayout(countdown);
}

SplashScreenLabelsView::~SplashScreenLabelsView() = default;

QLabel *SplashScreenLabelsView::textCommentFieldFirst() const
{
    return m_textCommentFieldFirst;
}

QLabel *SplashScreenLabelsView::textCommentFieldSecond() const
{
    return m_textCommentFieldSecond;
}

QLabel *SplashScreenLabelsView::timeLabel() const
{
    return m_timeLabel;
}

TimeProgressView *SplashScreenLabelsView::timeProgressView() const
{
    return m_timeProgressView;
}

void SplashScreenLabelsView::setFrame(const QRect &frame)
{
    setGeometry(frame);
    frameChanged();
}

void SplashScreenLabelsView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    frameChanged();
}

void SplashScreenLabelsView::moveEvent(QMoveEvent *event)
{
    QWidget::moveEvent(event);
    frameChanged();
}

void SplashScreenLabelsView::frameChanged()
{
    const QWidget *superview = parentWidget();
    m_widthConstraint = superview ? superview->rect().width() : 0;
    if (m_textCommentFieldFirst) {
        // Both steps, in this order: the field ends with the low priority.
        setCompressionResistance(m_textCommentFieldFirst, 1000);
        setCompressionResistance(m_textCommentFieldFirst, 100);
    }
}

} // namespace velmora
