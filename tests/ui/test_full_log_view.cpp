#include "ui/FullLogView.h"

#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QtTest>

using namespace Qt::StringLiterals;

class FullLogViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fullLog_showsTitleAndContentAndCloses()
    {
        FullLogView view(u"stdout"_s, u"one\ntwo"_s);
        view.show();
        QCOMPARE(view.findChild<QLabel *>(u"full-log-title"_s)->text(), u"stdout"_s);
        QCOMPARE(view.findChild<QPlainTextEdit *>(u"full-log-content"_s)->toPlainText(), u"one\ntwo"_s);
        QVERIFY(view.findChild<QPlainTextEdit *>(u"full-log-content"_s)->isReadOnly());
        QTest::mouseClick(view.findChild<QPushButton *>(u"full-log-done"_s), Qt::LeftButton);
        QVERIFY(!view.isVisible());
        QCOMPARE(view.result(), int(QDialog::Accepted));
    }
};

QTEST_MAIN(FullLogViewTest)
#include "test_full_log_view.moc"
