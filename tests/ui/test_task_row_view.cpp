#include "ui/FullLogView.h"
#include "ui/TaskRowView.h"
#include "ui/ViewStyle.h"

#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QtTest>

namespace {

ScheduledTask task(const QString &name, bool enabled)
{
    ScheduledTask t;
    t.id = QUuid::createUuid();
    t.name = name;
    t.command = u"echo hi"_qs;
    t.schedule = TaskSchedule::daily({{14, 0}, {9, 5}});
    t.isEnabled = enabled;
    return t;
}

QColor dotColor(TaskRowView &row)
{
    row.resize(240, 44);
    row.show();
    const QWidget *dot = row.findChild<QWidget *>(u"task-row-dot"_qs);
    const QImage image = row.grab().toImage();
    const QPoint centre = dot->geometry().center();
    return image.pixelColor(centre);
}

} // namespace

class TaskRowViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void row_showsNameAndScheduleDescription()
    {
        TaskRowView row(task(u"Backup \"home\""_qs, true));
        QCOMPARE(row.findChild<QLabel *>(u"task-row-name"_qs)->text(), u"Backup \"home\""_qs);
        QCOMPARE(row.findChild<QLabel *>(u"task-row-name"_qs)->font().weight(), QFont::Medium);
        QCOMPARE(row.findChild<QLabel *>(u"task-row-schedule"_qs)->text(), u"Daily at 9:05, 14:00"_qs);
    }

    void dot_isGreenWhenEnabledGreyWhenDisabled()
    {
        TaskRowView enabled(task(u"a"_qs, true));
        TaskRowView disabled(task(u"b"_qs, false));
        QCOMPARE(enabled.findChild<QWidget *>(u"task-row-dot"_qs)->size(), QSize(8, 8));
        QCOMPARE(dotColor(enabled), ViewStyle::green());
        QCOMPARE(dotColor(disabled), ViewStyle::grey());
    }

    void tick_onlyInSelectMode()
    {
        TaskRowView row(task(u"a"_qs, true));
        row.show();
        auto *tick = row.findChild<QLabel *>(u"task-row-tick"_qs);
        QVERIFY(!tick->isVisible());
        row.setTick(false);
        QVERIFY(tick->isVisible());
        QCOMPARE(tick->accessibleName(), u"circle"_qs);
        row.setTick(true);
        QCOMPARE(tick->accessibleName(), u"checkmark.circle.fill"_qs);
        row.setTick(std::nullopt);
        QVERIFY(!tick->isVisible());
    }

    void fullLog_showsTitleAndContentAndCloses()
    {
        FullLogView view(u"stdout"_qs, u"one\ntwo"_qs);
        view.show();
        QCOMPARE(view.findChild<QLabel *>(u"full-log-title"_qs)->text(), u"stdout"_qs);
        QCOMPARE(view.findChild<QPlainTextEdit *>(u"full-log-content"_qs)->toPlainText(), u"one\ntwo"_qs);
        QVERIFY(view.findChild<QPlainTextEdit *>(u"full-log-content"_qs)->isReadOnly());
        QTest::mouseClick(view.findChild<QPushButton *>(u"full-log-done"_qs), Qt::LeftButton);
        QVERIFY(!view.isVisible());
        QCOMPARE(view.result(), int(QDialog::Accepted));
    }
};

QTEST_MAIN(TaskRowViewTest)
#include "test_task_row_view.moc"
