#include "ui/MessageBox.h"

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QList<MessageBox::Button> kDeleteButtons{{u"Cancel"_s, MessageBox::Role::cancel},
                                               {u"Delete"_s, MessageBox::Role::destructive}};

QLabel *informativeLabel(const QMessageBox &box)
{
    return box.findChild<QLabel *>(u"qt_msgbox_informativelabel"_s);
}

} // namespace

class MessageBoxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deleteConfirmation_returnPressesCancel()
    {
        const auto box = MessageBox::create(nullptr, MessageBox::Style::warning, u"Delete Task"_s,
                                            u"Are you sure you want to delete \"a\"?"_s, kDeleteButtons);
        QVERIFY(box->defaultButton());
        QCOMPARE(box->defaultButton()->text(), u"Cancel"_s);
        box->open();
        QVERIFY(QTest::qWaitForWindowExposed(box.get()));
        QTest::keyClick(box.get(), Qt::Key_Return);
        QVERIFY(box->clickedButton());
        QCOMPARE(box->clickedButton()->text(), u"Cancel"_s);
    }

    void plainAlert_returnPressesOk()
    {
        const auto box = MessageBox::create(nullptr, MessageBox::Style::critical, u"Error"_s, u"Broken."_s,
                                            {{u"OK"_s, MessageBox::Role::accept}});
        QCOMPARE(box->defaultButton()->text(), u"OK"_s);
    }

    void shortMessage_getsTheWidthOfItsText()
    {
        const QString text = u"Unknown tasks.json version: 0"_s;
        const auto box = MessageBox::create(nullptr, MessageBox::Style::critical, u"Error"_s, text,
                                            {{u"OK"_s, MessageBox::Role::accept}});
        box->open();
        QVERIFY(QTest::qWaitForWindowExposed(box.get()));
        QLabel *label = informativeLabel(*box);
        QVERIFY(label);
        QCOMPARE(label->text(), text);
        const QFontMetrics metrics(label->font());
        QVERIFY2(
            label->width() >= metrics.horizontalAdvance(text),
            qPrintable(u"label %1 px for a text of %2 px"_s.arg(label->width()).arg(metrics.horizontalAdvance(text))));
    }
};

QTEST_MAIN(MessageBoxTest)
#include "test_message_box.moc"
