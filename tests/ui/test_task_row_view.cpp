#include "ui/FullLogView.h"
#include "ui/TaskRowView.h"
#include "ui/ViewStyle.h"

#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

ScheduledTask task(const QString &name, bool enabled)
{
    ScheduledTask t;
    t.id = QUuid::createUuid();
    t.name = name;
    t.command = u"echo hi"_s;
    t.schedule = TaskSchedule::daily({{14, 0}, {9, 5}});
    t.isEnabled = enabled;
    return t;
}

QColor dotColor(TaskRowView &row)
{
    row.resize(240, 44);
    row.show();
    const QWidget *dot = row.findChild<QWidget *>(u"task-row-dot"_s);
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
        TaskRowView row(task(u"Backup \"home\""_s, true));
        QCOMPARE(row.findChild<QLabel *>(u"task-row-name"_s)->text(), u"Backup \"home\""_s);
        QCOMPARE(row.findChild<QLabel *>(u"task-row-name"_s)->font().weight(), QFont::Medium);
        QCOMPARE(row.findChild<QLabel *>(u"task-row-schedule"_s)->text(), u"Daily at 9:05, 14:00"_s);
    }

    void dot_isGreenWhenEnabledGreyWhenDisabled()
    {
        TaskRowView enabled(task(u"a"_s, true));
        TaskRowView disabled(task(u"b"_s, false));
        QCOMPARE(enabled.findChild<QWidget *>(u"task-row-dot"_s)->size(), QSize(8, 8));
        QCOMPARE(dotColor(enabled), ViewStyle::green());
        QCOMPARE(dotColor(disabled), ViewStyle::grey());
    }

    void tick_onlyInSelectMode()
    {
        TaskRowView row(task(u"a"_s, true));
        row.show();
        auto *tick = row.findChild<QLabel *>(u"task-row-tick"_s);
        QVERIFY(!tick->isVisible());
        row.setTick(false);
        QVERIFY(tick->isVisible());
        QCOMPARE(tick->accessibleName(), u"circle"_s);
        row.setTick(true);
        QCOMPARE(tick->accessibleName(), u"checkmark.circle.fill"_s);
        row.setTick(std::nullopt);
        QVERIFY(!tick->isVisible());
    }

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

QTEST_MAIN(TaskRowViewTest)
#include "test_task_row_view.moc"
