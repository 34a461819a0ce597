#include "ui/TimeInputView.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>

#include <algorithm>

namespace {
constexpr int kPickerWidth = 60;
}

TimeInputView::TimeInputView(QWidget *parent) : QWidget(parent), m_hour(new QComboBox), m_minute(new QComboBox)
{
    for (int hour = 0; hour < 24; ++hour) {
        m_hour->addItem(QString::number(hour), hour);
    }
    for (int minute = 0; minute < 60; ++minute) {
        m_minute->addItem(QString::asprintf("%02d", minute), minute);
    }
    m_hour->setObjectName(QStringLiteral("time-hour"));
    m_minute->setObjectName(QStringLiteral("time-minute"));
    m_hour->setAccessibleName(QStringLiteral("Hour"));
    m_minute->setAccessibleName(QStringLiteral("Minute"));
    m_hour->setFixedWidth(kPickerWidth);
    m_minute->setFixedWidth(kPickerWidth);
    m_hour->setMaxVisibleItems(12);
    m_minute->setMaxVisibleItems(12);

    auto *colon = new QLabel(QStringLiteral(":"));
    QFont font = colon->font();
    font.setPointSizeF(font.pointSizeF() * 1.4);
    font.setWeight(QFont::Medium);
    colon->setFont(font);

    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(m_hour);
    layout->addWidget(colon);
    layout->addWidget(m_minute);

    const auto changed = [this] { Q_EMIT timeChanged(time()); };
    connect(m_hour, &QComboBox::currentIndexChanged, this, changed);
    connect(m_minute, &QComboBox::currentIndexChanged, this, changed);
}

TimeOfDay TimeInputView::time() const
{
    return {m_hour->currentIndex(), m_minute->currentIndex()};
}

void TimeInputView::setTime(const TimeOfDay &time)
{
    const QSignalBlocker hourBlocker(m_hour);
    const QSignalBlocker minuteBlocker(m_minute);
    m_hour->setCurrentIndex(std::clamp(time.hour, 0, 23));
    m_minute->setCurrentIndex(std::clamp(time.minute, 0, 59));
}
