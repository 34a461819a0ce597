#pragma once

#include <QDialog>

// A whole log in a sheet of its own: the title, the text, and a button that closes it.
class FullLogView : public QDialog
{
    Q_OBJECT

public:
    FullLogView(const QString &title, const QString &content, QWidget *parent = nullptr);

    QString title() const { return m_title; }
    QString content() const { return m_content; }

private:
    QString m_title;
    QString m_content;
};
