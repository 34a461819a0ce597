#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

class QMessageBox;
class QWidget;

// Modal alerts behind one seam: a test queues the answers it wants with setNextAnswer and reads
// back what would have been shown, so no dialog ever blocks it.
class MessageBox
{
public:
    enum class Style { information, warning, critical };
    enum class Role { accept, cancel, destructive };
    struct Button {
        QString text;
        Role role = Role::accept;
    };
    struct Shown {
        Style style = Style::information;
        QString title;
        QString text;
        QStringList buttons;
    };

    // Shows the alert and returns the text of the button pressed; dismissing it any other way
    // counts as the cancel button (or the only button when there is no cancel button).
    static QString show(QWidget *parent, Style style, const QString &title, const QString &text,
                        const QList<Button> &buttons);

    // The alert show() would run, not yet shown. A cancel button is the default where another
    // button destroys something, else the accept button.
    static std::unique_ptr<QMessageBox> create(QWidget *parent, Style style, const QString &title, const QString &text,
                                               const QList<Button> &buttons);

    // The next show() returns this answer at once, showing nothing. Answers queue up in order.
    static void setNextAnswer(const QString &buttonText);
    static bool hasPendingAnswers();
    static void clearPendingAnswers();
    // The alerts shown or answered so far (the most recent 50), oldest first.
    static QList<Shown> history();
    static void clearHistory();
};
