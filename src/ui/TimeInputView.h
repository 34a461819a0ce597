#pragma once

#include "model/TimeOfDay.h"

#include <QWidget>

class QComboBox;

// One time of day: an hour picker (0-23) and a minute picker (00-59) around a ":".
class TimeInputView : public QWidget
{
    Q_OBJECT

public:
    explicit TimeInputView(QWidget *parent = nullptr);

    TimeOfDay time() const;
    // Values outside 0-23 / 0-59 cannot be chosen; such a time shows its nearest valid value.
    void setTime(const TimeOfDay &time);

    QComboBox *hourPicker() const { return m_hour; }
    QComboBox *minutePicker() const { return m_minute; }

Q_SIGNALS:
    void timeChanged(const TimeOfDay &time);

private:
    QComboBox *m_hour;
    QComboBox *m_minute;
};
