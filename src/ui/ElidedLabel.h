#pragma once

#include <QLabel>

// One line of plain text that ends in "…" when it does not fit; text() keeps the whole of it. Its
// minimum width is small, so a long text never widens what holds it.
class ElidedLabel : public QLabel
{
    Q_OBJECT

public:
    explicit ElidedLabel(const QString &text, QWidget *parent = nullptr);

    QSize minimumSizeHint() const override;
    // What is drawn at the current width.
    QString shownText() const;

protected:
    void paintEvent(QPaintEvent *event) override;
};
