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
        : settings(std::make_shared<QSettings>(dir.filePath(u"settings.ini"_qs), QSettings::IniFormat))
    {
        if (!storedAccount.isEmpty()) {
            settings->setValue(u"gmail_account"_qs, storedAccount);
        }
        if (passwordStored) {
            keychain->items.insert(storedAccount.trimmed(), u"old password"_qs);
        }
        view = std::make_unique<GmailSetupView>(keychain, settings);
        view->setOnComplete([this](const QString &snippet, const QString &name) { completions.append({snippet, name}); });
        view->setUrlOpener([this](const QUrl &url) { opened.append(url); });
        view->show();
        if (!QTest::qWaitForWindowExposed(view.get())) {
            qFatal("sheet not shown");
        }
    }

    QLineEdit *address() const { return child<QLineEdit>(*view, u"gmail-address"_qs); }
    QLineEdit *password() const { return child<QLineEdit>(*view, u"gmail-app-password"_qs); }
    QLineEdit *to() const { return child<QLineEdit>(*view, u"gmail-to"_qs); }
    QLineEdit *subject() const { return child<QLineEdit>(*view, u"gmail-subject"_qs); }
    QPlainTextEdit *body() const { return child<QPlainTextEdit>(*view, u"gmail-body"_qs); }
    QPushButton *use() const { return child<QPushButton>(*view, u"gmail-use-template"_qs); }
    QWidget *saved() const { return child<QWidget>(*view, u"gmail-saved"_qs); }

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
        QCOMPARE(view.windowTitle(), u"Gmail Template"_qs);
        QStringList boxes;
        for (QGroupBox *box : view.findChildren<QGroupBox *>()) {
            boxes << box->title();
        }
        QCOMPARE(boxes, (QStringList{u"Gmail Account"_qs, u"Email"_qs}));
        QStringList labels;
        for (QLabel *label : view.findChildren<QLabel *>()) {
            labels << label->text();
        }
        for (const QString &text : {u"Gmail Template"_qs, u"Gmail Address"_qs, u"App Password"_qs, u"Subject"_qs,
                                    u"Saved in Keychain"_qs, u"How to create a Gmail App Password"_qs}) {
            QVERIFY2(labels.contains(text), qPrintable(text));
        }
        QCOMPARE(setup.password()->placeholderText(), u"xxxx xxxx xxxx xxxx"_qs);
        QCOMPARE(setup.password()->echoMode(), QLineEdit::Password);
        QCOMPARE(setup.subject()->text(), u"Daily Reminder"_qs);
        QCOMPARE(setup.body()->toPlainText(), u"Don't forget to check the report."_qs);
        QCOMPARE(child<QPushButton>(view, u"gmail-how-to"_qs)->text(), u"How to get one"_qs);
        QCOMPARE(child<QPushButton>(view, u"gmail-send-to-myself"_qs)->text(), u"Send to myself"_qs);
        QCOMPARE(child<QPushButton>(view, u"gmail-cancel"_qs)->text(), u"Cancel"_qs);
        QCOMPARE(setup.use()->text(), u"Use Template"_qs);
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
        auto *help = child<QWidget>(view, u"gmail-help"_qs);
        QVERIFY(!help->isVisible());
        click(child<QPushButton>(view, u"gmail-how-to"_qs));
        QVERIFY(help->isVisible());
        QStringList steps;
        for (QLabel *label : help->findChildren<QLabel *>(u"gmail-help-step"_qs)) {
            steps << label->text();
        }
        QCOMPARE(steps, (QStringList{u"1. Go to your Google Account security settings"_qs,
                                     u"2. Ensure 2-Step Verification is enabled"_qs,
                                     u"3. Visit the App Passwords page"_qs,
                                     u"4. Enter app name (e.g. \"Moxley\")"_qs,
                                     u"5. Copy the generated 16-character password"_qs,
                                     u"6. Paste it here — it will be stored in your Mac's Keychain"_qs}));
        auto *open = child<QPushButton>(view, u"gmail-open-app-passwords"_qs);
        QCOMPARE(open->text(), u"Open App Passwords Page"_qs);
        click(open);
        QCOMPARE(setup.opened, QList<QUrl>{QUrl(u"https://myaccount.google.com/apppasswords"_qs)});
        click(child<QPushButton>(view, u"gmail-how-to"_qs));
        QVERIFY(!help->isVisible());
    }

    void useTemplate_trimsStoresAndBuilds()
    {
        Setup setup;
        QTest::keyClicks(setup.address(), u"  me@gmail.com\t"_qs);
        QTest::keyClicks(setup.password(), u" abcd efgh ijkl mnop "_qs);
        QVERIFY(!setup.use()->isEnabled());
        QTest::keyClicks(setup.to(), u"\tyou@x.org "_qs);
        setup.subject()->clear();
        QTest::keyClicks(setup.subject(), u"  Say \"hi\"  "_qs);
        setup.body()->clear();
        QTest::keyClicks(setup.body(), u"Report is ready."_qs);
        QVERIFY(setup.use()->isEnabled());
        click(setup.use());

        QCOMPARE(setup.completions.size(), 1);
        QCOMPARE(setup.completions.first().first,
                 MailSnippet::build({u"me@gmail.com"_qs, u"you@x.org"_qs, u"Say \"hi\""_qs, u"Report is ready."_qs}));
        QCOMPARE(setup.completions.first().second, u"Email: Say \"hi\""_qs);
        QCOMPARE(setup.keychain->saves, (QList<QPair<QString, QString>>{{u"me@gmail.com"_qs, u"abcd efgh ijkl mnop"_qs}}));
        QCOMPARE(setup.settings->value(u"gmail_account"_qs).toString(), u"me@gmail.com"_qs);
        QVERIFY(!setup.view->isVisible());
        QCOMPARE(setup.view->result(), int(QDialog::Accepted));

        // The password is in the keychain and nowhere else: not in the snippet, not on disk.
        QVERIFY(!setup.completions.first().first.contains(u"abcd"_qs));
        const QByteArray disk = setup.everythingOnDisk();
        QVERIFY(disk.contains("me@gmail.com"));
        QVERIFY(!disk.contains("abcd"));
        QVERIFY(setup.password()->text().isEmpty());
    }

    void sendToMyself_copiesTheAddress()
    {
        Setup setup;
        QTest::keyClicks(setup.address(), u" me@gmail.com "_qs);
        click(child<QPushButton>(*setup.view, u"gmail-send-to-myself"_qs));
        QCOMPARE(setup.to()->text(), u"me@gmail.com"_qs);
    }

    void storedAccount_withPassword_showsSavedAndChange()
    {
        Setup setup(u"me@gmail.com"_qs, true);
        QCOMPARE(setup.address()->text(), u"me@gmail.com"_qs);
        QCOMPARE(setup.keychain->queries, QStringList{u"me@gmail.com"_qs});
        QVERIFY(setup.view->hasExistingCredentials());
        QVERIFY(setup.saved()->isVisible());
        QVERIFY(!setup.password()->isVisible());
        QCOMPARE(child<QLabel>(*setup.view, u"gmail-saved-text"_qs)->text(), u"Saved in Keychain"_qs);

        // No new password needed: nothing is written to the keychain.
        QTest::keyClicks(setup.to(), u"you@x.org"_qs);
        QVERIFY(setup.use()->isEnabled());
        click(setup.use());
        QVERIFY(setup.keychain->saves.isEmpty());
        QCOMPARE(setup.completions.size(), 1);
        QCOMPARE(setup.completions.first().second, u"Email: Daily Reminder"_qs);
    }

    void change_bringsBackThePasswordField()
    {
        Setup setup(u"me@gmail.com"_qs, true);
        auto *change = child<QPushButton>(*setup.view, u"gmail-change"_qs);
        QCOMPARE(change->text(), u"Change"_qs);
        click(change);
        QVERIFY(setup.password()->isVisible());
        QVERIFY(!setup.saved()->isVisible());
        QTest::keyClicks(setup.password(), u"new pass word 16"_qs);
        QTest::keyClicks(setup.to(), u"you@x.org"_qs);
        click(setup.use());
        QCOMPARE(setup.keychain->saves, (QList<QPair<QString, QString>>{{u"me@gmail.com"_qs, u"new pass word 16"_qs}}));
        QCOMPARE(setup.keychain->items.value(u"me@gmail.com"_qs), u"new pass word 16"_qs);
    }

    void storedAccount_withoutPassword_asksForIt()
    {
        Setup setup(u"me@gmail.com"_qs, false);
        QVERIFY(!setup.view->hasExistingCredentials());
        QVERIFY(setup.password()->isVisible());
        QTest::keyClicks(setup.to(), u"you@x.org"_qs);
        QVERIFY(!setup.use()->isEnabled());
    }

    void otherAddress_needsItsOwnPassword()
    {
        Setup setup(u"me@gmail.com"_qs, true);
        setup.address()->selectAll();
        QTest::keyClicks(setup.address(), u"other@gmail.com"_qs);
        QVERIFY(setup.password()->isVisible());
        QTest::keyClicks(setup.to(), u"you@x.org"_qs);
        QVERIFY(!setup.use()->isEnabled());
        QTest::keyClicks(setup.password(), u"pppp"_qs);
        click(setup.use());
        QCOMPARE(setup.keychain->saves, (QList<QPair<QString, QString>>{{u"other@gmail.com"_qs, u"pppp"_qs}}));
        QCOMPARE(setup.settings->value(u"gmail_account"_qs).toString(), u"other@gmail.com"_qs);
    }

    void keychainRefuses_sheetStaysOpenWithTheReason()
    {
        Setup setup;
        setup.keychain->failure = u"The user name or passphrase you entered is not correct."_qs;
        QTest::keyClicks(setup.address(), u"me@gmail.com"_qs);
        QTest::keyClicks(setup.password(), u"pw"_qs);
        QTest::keyClicks(setup.to(), u"you@x.org"_qs);
        click(setup.use());
        QVERIFY(setup.view->isVisible());
        QVERIFY(setup.completions.isEmpty());
        auto *error = child<QLabel>(*setup.view, u"gmail-error"_qs);
        QVERIFY(error->isVisible());
        QVERIFY(error->text().endsWith(u"The user name or passphrase you entered is not correct."_qs));
        QVERIFY(!setup.everythingOnDisk().contains("pw\n"));
    }

    void cancel_closesWithoutEffect()
    {
        Setup setup;
        QTest::keyClicks(setup.address(), u"me@gmail.com"_qs);
        QTest::keyClicks(setup.password(), u"pw"_qs);
        QTest::keyClicks(setup.to(), u"you@x.org"_qs);
        click(child<QPushButton>(*setup.view, u"gmail-cancel"_qs));
        QVERIFY(!setup.view->isVisible());
        QVERIFY(setup.completions.isEmpty());
        QVERIFY(setup.keychain->saves.isEmpty());
        QVERIFY(!setup.settings->contains(u"gmail_account"_qs));
    }
};

QTEST_MAIN(GmailSetupViewTest)
#include "test_gmail_setup_view.moc"
