#pragma once

#include <QWidget>

class QPushButton;

// A centred placeholder for the detail pane: a large symbol, a title, a line of text and at most
// one action button.
class EmptyStateView : public QWidget
{
    Q_OBJECT

public:
    EmptyStateView(const QString &symbol, const QString &title, const QString &description,
                   const QString &actionText = QString(), QWidget *parent = nullptr);

    QString title() const { return m_title; }
    QPushButton *actionButton() const { return m_action; }

Q_SIGNALS:
    void actionTriggered();

private:
    QString m_title;
    QPushButton *m_action = nullptr;
};
