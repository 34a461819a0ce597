#include "ui/MessageBox.h"

#include <QGridLayout>
#include <QGuiApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QQueue>

namespace {

constexpr int kMinimumWidth = 380;

QQueue<QString> &pendingAnswers()
{
    static QQueue<QString> answers;
    return answers;
}

QList<MessageBox::Shown> &shownAlerts()
{
    static QList<MessageBox::Shown> shown;
    return shown;
}

QString fallbackAnswer(const QList<MessageBox::Button> &buttons)
{
    for (const MessageBox::Button &button : buttons) {
        if (button.role == MessageBox::Role::cancel) {
            return button.text;
        }
    }
    return buttons.size() == 1 ? buttons.first().text : QString();
}

QMessageBox::ButtonRole buttonRole(MessageBox::Role role)
{
    switch (role) {
    case MessageBox::Role::accept:
        return QMessageBox::AcceptRole;
    case MessageBox::Role::cancel:
        return QMessageBox::RejectRole;
    case MessageBox::Role::destructive:
        return QMessageBox::DestructiveRole;
    }
    return QMessageBox::AcceptRole;
}

QMessageBox::Icon boxIcon(MessageBox::Style style)
{
    switch (style) {
    case MessageBox::Style::information:
        return QMessageBox::Information;
    case MessageBox::Style::warning:
        return QMessageBox::Warning;
    case MessageBox::Style::critical:
        return QMessageBox::Critical;
    }
    return QMessageBox::NoIcon;
}

} // namespace

QString MessageBox::show(QWidget *parent, Style style, const QString &title, const QString &text,
                         const QList<Button> &buttons)
{
    Shown shown{style, title, text, {}};
    for (const Button &button : buttons) {
        shown.buttons << button.text;
    }
    QList<Shown> &history = shownAlerts();
    history << shown;
    if (history.size() > 50) {
        history.removeFirst();
    }

    if (!pendingAnswers().isEmpty()) {
        return pendingAnswers().dequeue();
    }
    // Without a display nobody could answer; a test that forgot to queue an answer must not hang.
    if (QGuiApplication::platformName() == u"offscreen") {
        qWarning("MessageBox: no answer queued for \"%s\"", qUtf8Printable(title));
        return fallbackAnswer(buttons);
    }

    const std::unique_ptr<QMessageBox> made = create(parent, style, title, text, buttons);
    QMessageBox &box = *made;
    box.exec();
    if (QAbstractButton *clicked = box.clickedButton()) {
        return clicked->text().remove(u'&');
    }
    return fallbackAnswer(buttons);
}

std::unique_ptr<QMessageBox> MessageBox::create(QWidget *parent, Style style, const QString &title, const QString &text,
                                                const QList<Button> &buttons)
{
    auto box = std::make_unique<QMessageBox>(parent);
    box->setIcon(boxIcon(style));
    box->setWindowTitle(title);
    box->setText(title);
    box->setInformativeText(text);
    box->setTextFormat(Qt::PlainText);
    QPushButton *cancel = nullptr;
    QPushButton *accept = nullptr;
    bool destructive = false;
    for (const Button &button : buttons) {
        QPushButton *pushButton = box->addButton(button.text, buttonRole(button.role));
        if (button.role == Role::cancel) {
            cancel = pushButton;
        } else if (button.role == Role::accept) {
            accept = pushButton;
        } else {
            destructive = true;
        }
    }
    if (cancel) {
        box->setEscapeButton(cancel);
    }
    // Where a button destroys something, Return must not press it by accident.
    if (QPushButton *chosen = destructive && cancel ? cancel : accept) {
        box->setDefaultButton(chosen);
    }
    // Wide enough that a one-line message stays on one line: Qt sizes the box to its title.
    if (auto *grid = qobject_cast<QGridLayout *>(box->layout())) {
        grid->addItem(new QSpacerItem(kMinimumWidth, 0, QSizePolicy::Minimum, QSizePolicy::Fixed), grid->rowCount(), 0,
                      1, grid->columnCount());
    }
    return box;
}

void MessageBox::setNextAnswer(const QString &buttonText)
{
    pendingAnswers().enqueue(buttonText);
}

bool MessageBox::hasPendingAnswers()
{
    return !pendingAnswers().isEmpty();
}

void MessageBox::clearPendingAnswers()
{
    pendingAnswers().clear();
}

QList<MessageBox::Shown> MessageBox::history()
{
    return shownAlerts();
}

void MessageBox::clearHistory()
{
    shownAlerts().clear();
}
