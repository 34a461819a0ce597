#pragma once

#include <QAbstractButton>

// An on/off switch with its text on the leading side, like the platform's toggles: a checkable
// button, so toggled() and setChecked() work as on any check box.
class ToggleSwitch : public QAbstractButton
{
    Q_OBJECT

public:
    explicit ToggleSwitch(const QString &text, QWidget *parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    static constexpr int kTrackWidth = 32;
    static constexpr int kTrackHeight = 18;
    static constexpr int kSpacing = 8;
};
