#include "FakeKeychain.h"
#include "launchd/MailSnippet.h"
#include "ui/GmailSetupView.h"

#include <QDirIterator>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

template <typename T> T *child(const QWidget &parent, const QString &name)
{
    T *found = parent.findChild<T *>(name);
    if (!found) {
        qFatal("no child named %s", qPrintable(name));
    }
    return found;
}

void click(QPushButton *button)
{
    QVERIFY2(button->isVisible(), qPrintable(button->text()));
    QTest::mouseClick(button, Qt::LeftButton);
}

// One sheet over a fake keychain and a settings file of its own.
struct Setup {
    QTemporaryDir dir;
    std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
    std::shared_ptr<QSettings> settings;
    std::unique_ptr<GmailSetupView> view;
    QList<QPair<QString, QString>> completions;
    QList<QUrl> opened;

    explicit Setup(const QString &storedAccount = {}, bool passwordStored = false)
        : settings(std::make_shared<QSettings>(dir.filePath(u"settings.ini"_s), QSettings::IniFormat))
    {
        if (!storedAccount.isEmpty()) {
            settings->setValue(u"gmail_account"_s, storedAccount);
        }
        if (passwordStored) {
            keychain->items.insert(storedAccount.trimmed(), u"old password"_s);
        }
        view = std::make_unique<GmailSetupView>(keychain, settings);
        view->setOnComplete([this](const QString &snippet, const QString &name) {
            completions.append({snippet, name});
        });
        view->setUrlOpener([this](const QUrl &url) { opened.append(url); });
        view->show();
        if (!QTest::qWaitForWindowExposed(view.get())) {
            qFatal("sheet not shown");
        }
    }

    QLineEdit *address() const { return child<QLineEdit>(*view, u"gmail-address"_s); }
    QLineEdit *password() const { return child<QLineEdit>(*view, u"gmail-app-password"_s); }
    QLineEdit *to() const { return child<QLineEdit>(*view, u"gmail-to"_s); }
    QLineEdit *subject() const { return child<QLineEdit>(*view, u"gmail-subject"_s); }
    QPlainTextEdit *body() const { return child<QPlainTextEdit>(*view, u"gmail-body"_s); }
    QPushButton *use() const { return child<QPushButton>(*view, u"gmail-use-template"_s); }
    QWidget *saved() const { return child<QWidget>(*view, u"gmail-saved"_s); }

    // Every byte the sheet could have written to disk, for checking that the password is not there.
    QByteArray everythingOnDisk() const
    {
        settings->sync();
        QByteArray all;
        QDirIterator it(dir.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            QFile file(it.next());
            if (file.open(QIODevice::ReadOnly)) {
                all += file.readAll();
            }
        }
        return all;
    }
};

} // namespace

class GmailSetupViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts_andDefaults()
    {
        Setup setup;
        GmailSetupView &view = *setup.view;
        QCOMPARE(view.windowTitle(), u"Gmail Template"_s);
        QStringList boxes;
        for (QGroupBox *box : view.findChildren<QGroupBox *>()) {
            boxes << box->title();
        }
        QCOMPARE(boxes, (QStringList{u"Gmail Account"_s, u"Email"_s}));
        QStringList labels;
        for (QLabel *label : view.findChildren<QLabel *>()) {
            labels << label->text();
        }
        for (const QString &text : {u"Gmail Template"_s, u"Gmail Address"_s, u"App Password"_s, u"Subject"_s,
                                    u"Saved in Keychain"_s, u"How to create a Gmail App Password"_s}) {
            QVERIFY2(labels.contains(text), qPrintable(text));
        }
        QCOMPARE(setup.password()->placeholderText(), u"xxxx xxxx xxxx xxxx"_s);
        QCOMPARE(setup.password()->echoMode(), QLineEdit::Password);
        QCOMPARE(setup.subject()->text(), u"Daily Reminder"_s);
        QCOMPARE(setup.body()->toPlainText(), u"Don't forget to check the report."_s);
        QCOMPARE(child<QPushButton>(view, u"gmail-how-to"_s)->text(), u"How to get one"_s);
        QCOMPARE(child<QPushButton>(view, u"gmail-send-to-myself"_s)->text(), u"Send to myself"_s);
        QCOMPARE(child<QPushButton>(view, u"gmail-cancel"_s)->text(), u"Cancel"_s);
        QCOMPARE(setup.use()->text(), u"Use Template"_s);
        QCOMPARE(setup.address()->text(), QString());
        QVERIFY(!view.hasExistingCredentials());
        QVERIFY(setup.password()->isVisible());
        QVERIFY(!setup.saved()->isVisible());
        QVERIFY(setup.keychain->queries.isEmpty());
        QVERIFY(!setup.use()->isEnabled());
    }

    void helpPanel_stepsAndPage()
    {
        Setup setup;
        GmailSetupView &view = *setup.view;
        auto *help = child<QWidget>(view, u"gmail-help"_s);
        QVERIFY(!help->isVisible());
        click(child<QPushButton>(view, u"gmail-how-to"_s));
        QVERIFY(help->isVisible());
        QStringList steps;
        for (QLabel *label : help->findChildren<QLabel *>(u"gmail-help-step"_s)) {
            steps << label->text();
        }
        QCOMPARE(steps, (QStringList{u"1. Go to your Google Account security settings"_s,
                                     u"2. Ensure 2-Step Verification is enabled"_s,
                                     u"3. Visit the App Passwords page"_s, u"4. Enter app name (e.g. \"Moxley\")"_s,
                                     u"5. Copy the generated 16-character password"_s,
                                     u"6. Paste it here — it will be stored in your Mac's Keychain"_s}));
        auto *open = child<QPushButton>(view, u"gmail-open-app-passwords"_s);
        QCOMPARE(open->text(), u"Open App Passwords Page"_s);
        click(open);
        QCOMPARE(setup.opened, QList<QUrl>{QUrl(u"https://myaccount.google.com/apppasswords"_s)});
        click(child<QPushButton>(view, u"gmail-how-to"_s));
        QVERIFY(!help->isVisible());
    }

    void useTemplate_trimsStoresAndBuilds()
    {
        Setup setup;
        QTest::keyClicks(setup.address(), u"  me@gmail.com\t"_s);
        QTest::keyClicks(setup.password(), u" abcd efgh ijkl mnop "_s);
        QVERIFY(!setup.use()->isEnabled());
        QTest::keyClicks(setup.to(), u"\tyou@x.org "_s);
        setup.subject()->clear();
        QTest::keyClicks(setup.subject(), u"  Say \"hi\"  "_s);
        setup.body()->clear();
        QTest::keyClicks(setup.body(), u"Report is ready."_s);
        QVERIFY(setup.use()->isEnabled());
        click(setup.use());

        QCOMPARE(setup.completions.size(), 1);
        QCOMPARE(setup.completions.first().first,
                 MailSnippet::build({u"me@gmail.com"_s, u"you@x.org"_s, u"Say \"hi\""_s, u"Report is ready."_s}));
        QCOMPARE(setup.completions.first().second, u"Email: Say \"hi\""_s);
        QCOMPARE(setup.keychain->saves,
                 (QList<QPair<QString, QString>>{{u"me@gmail.com"_s, u"abcd efgh ijkl mnop"_s}}));
        QCOMPARE(setup.settings->value(u"gmail_account"_s).toString(), u"me@gmail.com"_s);
        QVERIFY(!setup.view->isVisible());
        QCOMPARE(setup.view->result(), int(QDialog::Accepted));

        // The password is in the keychain and nowhere else: not in the snippet, not on disk.
        QVERIFY(!setup.completions.first().first.contains(u"abcd"_s));
        const QByteArray disk = setup.everythingOnDisk();
        QVERIFY(disk.contains("me@gmail.com"));
        QVERIFY(!disk.contains("abcd"));
        QVERIFY(setup.password()->text().isEmpty());
    }

    void sendToMyself_copiesTheAddress()
    {
        Setup setup;
        QTest::keyClicks(setup.address(), u" me@gmail.com "_s);
        click(child<QPushButton>(*setup.view, u"gmail-send-to-myself"_s));
        QCOMPARE(setup.to()->text(), u"me@gmail.com"_s);
    }

    void storedAccount_withPassword_showsSavedAndChange()
    {
        Setup setup(u"me@gmail.com"_s, true);
        QCOMPARE(setup.address()->text(), u"me@gmail.com"_s);
        QCOMPARE(setup.keychain->queries, QStringList{u"me@gmail.com"_s});
        QVERIFY(setup.view->hasExistingCredentials());
        QVERIFY(setup.saved()->isVisible());
        QVERIFY(!setup.password()->isVisible());
        QCOMPARE(child<QLabel>(*setup.view, u"gmail-saved-text"_s)->text(), u"Saved in Keychain"_s);

        // No new password needed: nothing is written to the keychain.
        QTest::keyClicks(setup.to(), u"you@x.org"_s);
        QVERIFY(setup.use()->isEnabled());
        click(setup.use());
        QVERIFY(setup.keychain->saves.isEmpty());
        QCOMPARE(setup.completions.size(), 1);
        QCOMPARE(setup.completions.first().second, u"Email: Daily Reminder"_s);
    }

    void change_bringsBackThePasswordField()
    {
        Setup setup(u"me@gmail.com"_s, true);
        auto *change = child<QPushButton>(*setup.view, u"gmail-change"_s);
        QCOMPARE(change->text(), u"Change"_s);
        click(change);
        QVERIFY(setup.password()->isVisible());
        QVERIFY(!setup.saved()->isVisible());
        QTest::keyClicks(setup.password(), u"new pass word 16"_s);
        QTest::keyClicks(setup.to(), u"you@x.org"_s);
        click(setup.use());
        QCOMPARE(setup.keychain->saves, (QList<QPair<QString, QString>>{{u"me@gmail.com"_s, u"new pass word 16"_s}}));
        QCOMPARE(setup.keychain->items.value(u"me@gmail.com"_s), u"new pass word 16"_s);
    }

    void storedAccount_withoutPassword_asksForIt()
    {
        Setup setup(u"me@gmail.com"_s, false);
        QVERIFY(!setup.view->hasExistingCredentials());
        QVERIFY(setup.password()->isVisible());
        QTest::keyClicks(setup.to(), u"you@x.org"_s);
        QVERIFY(!setup.use()->isEnabled());
    }

    void otherAddress_needsItsOwnPassword()
    {
        Setup setup(u"me@gmail.com"_s, true);
        setup.address()->selectAll();
        QTest::keyClicks(setup.address(), u"other@gmail.com"_s);
        QVERIFY(setup.password()->isVisible());
        QTest::keyClicks(setup.to(), u"you@x.org"_s);
        QVERIFY(!setup.use()->isEnabled());
        QTest::keyClicks(setup.password(), u"pppp"_s);
        click(setup.use());
        QCOMPARE(setup.keychain->saves, (QList<QPair<QString, QString>>{{u"other@gmail.com"_s, u"pppp"_s}}));
        QCOMPARE(setup.settings->value(u"gmail_account"_s).toString(), u"other@gmail.com"_s);
    }

    void keychainRefuses_sheetStaysOpenWithTheReason()
    {
        Setup setup;
        setup.keychain->failure = u"The user name or passphrase you entered is not correct."_s;
        QTest::keyClicks(setup.address(), u"me@gmail.com"_s);
        QTest::keyClicks(setup.password(), u"pw"_s);
        QTest::keyClicks(setup.to(), u"you@x.org"_s);
        click(setup.use());
        QVERIFY(setup.view->isVisible());
        QVERIFY(setup.completions.isEmpty());
        auto *error = child<QLabel>(*setup.view, u"gmail-error"_s);
        QVERIFY(error->isVisible());
        QVERIFY(error->text().endsWith(u"The user name or passphrase you entered is not correct."_s));
        QVERIFY(!setup.everythingOnDisk().contains("pw\n"));
    }

    void keychainError_withHelpOpen_squeezesNothing()
    {
        Setup setup;
        setup.keychain->failure = u"The user name or passphrase you entered is not correct. "
                                  u"Check the keychain and try again; the item could not be written."_s;
        click(child<QPushButton>(*setup.view, u"gmail-how-to"_s));
        QTest::keyClicks(setup.address(), u"me@gmail.com"_s);
        QTest::keyClicks(setup.password(), u"pw"_s);
        QTest::keyClicks(setup.to(), u"you@x.org"_s);
        click(setup.use());
        auto *error = child<QLabel>(*setup.view, u"gmail-error"_s);
        QVERIFY(error->isVisible());
        QCoreApplication::processEvents();
        // Every button and text keeps the height it asks for: nothing is clipped.
        for (QPushButton *button : setup.view->findChildren<QPushButton *>()) {
            if (button->isVisible()) {
                QVERIFY2(button->height() >= button->minimumSizeHint().height(),
                         qPrintable(u"%1: %2 < %3"_s.arg(button->text())
                                        .arg(button->height())
                                        .arg(button->minimumSizeHint().height())));
            }
        }
        QVERIFY2(error->height() >= error->heightForWidth(error->width()),
                 qPrintable(u"%1 < %2"_s.arg(error->height()).arg(error->heightForWidth(error->width()))));
    }

    void cancel_closesWithoutEffect()
    {
        Setup setup;
        QTest::keyClicks(setup.address(), u"me@gmail.com"_s);
        QTest::keyClicks(setup.password(), u"pw"_s);
        QTest::keyClicks(setup.to(), u"you@x.org"_s);
        click(child<QPushButton>(*setup.view, u"gmail-cancel"_s));
        QVERIFY(!setup.view->isVisible());
        QVERIFY(setup.completions.isEmpty());
        QVERIFY(setup.keychain->saves.isEmpty());
        QVERIFY(!setup.settings->contains(u"gmail_account"_s));
    }
};

QTEST_MAIN(GmailSetupViewTest)
#include "test_gmail_setup_view.moc"
