#include "UiWorld.h"

#include "ui/DayTimelineView.h"
#include "ui/SystemJobTimelineItemView.h"
#include "ui/TimelineItemView.h"
#include "ui/ViewStyle.h"

#include <QCheckBox>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>

using namespace Qt::StringLiterals;

namespace {

const QTimeZone kZone = QTimeZone::utc();

QDateTime today(int hour, int minute, int second = 0)
{
    return QDateTime(UiWorld::now().date(), QTime(hour, minute, second), kZone);
}

QString runLine(const QDateTime &start, int seconds, int exitCode)
{
    const QString format = u"yyyy-MM-ddTHH:mm:ssZ"_s;
    return start.toUTC().toString(format) % u'\t' % start.addSecs(seconds).toUTC().toString(format) % u'\t' %
           QString::number(exitCode) % u'\n';
}

QColor blend(QColor over, qreal alpha, const QColor &under)
{
    return QColor::fromRgbF(over.redF() * alpha + under.redF() * (1 - alpha),
                            over.greenF() * alpha + under.greenF() * (1 - alpha),
                            over.blueF() * alpha + under.blueF() * (1 - alpha));
}

bool near(const QColor &a, const QColor &b, int tolerance = 8)
{
    return qAbs(a.red() - b.red()) <= tolerance && qAbs(a.green() - b.green()) <= tolerance &&
           qAbs(a.blue() - b.blue()) <= tolerance;
}

QString describe(const QColor &c)
{
    return QString::asprintf("rgb(%d,%d,%d)", c.red(), c.green(), c.blue());
}

} // namespace

class DayTimelineViewTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<UiWorld> world;
    std::unique_ptr<TaskStore> store;
    std::unique_ptr<DayTimelineView> view;
    QImage image;

    void open(const QList<ScheduledTask> &tasks, const QList<LaunchdJob> &jobs = {})
    {
        world->writeTasks(tasks);
        store = world->openStore();
        view = std::make_unique<DayTimelineView>(*store, jobs);
        view->setTimeZone(kZone);
        view->setClock([] { return UiWorld::now(); });
        view->resize(2000, 700);
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        flushDeletes();
    }
    void writeRuns(const ScheduledTask &task, const QString &lines)
    {
        Sandbox::writeFile(store->launchdServiceForViews().runsPath(task), lines.toUtf8());
    }
    void render()
    {
        flushDeletes();
        image = view->grab().toImage();
        QCOMPARE(image.size(), QSize(2000, 700) * image.devicePixelRatio());
    }
    QList<TimelineItemView *> taskRows() const
    {
        QList<TimelineItemView *> rows;
        for (TimelineItemView *row : view->findChildren<TimelineItemView *>()) {
            if (row->isVisibleTo(view.get())) {
                rows << row;
            }
        }
        return rows;
    }
    // The pixel `offset` points into the time area after minute `minute`, at mid height.
    QColor pixel(const TimelineItemView *row, double minute, int offset = 1) const
    {
        const QRectF area = row->timeArea();
        const QPoint inView =
            row->mapTo(view.get(), QPoint(int(std::floor(row->xForMinute(minute))) + offset, int(area.center().y())));
        return image.pixelColor(inView);
    }

private Q_SLOTS:
    void init() { world = std::make_unique<UiWorld>(); }
    void cleanup()
    {
        view.reset();
        store.reset();
        flushDeletes();
        world.reset();
    }

    void marks_areDrawnWhereTheDaySaysAndNowhereElse()
    {
        ScheduledTask daily = UiWorld::task(u"Daily"_s, u"true"_s, TaskSchedule::daily({{6, 0}}), true);
        ScheduledTask weekly = UiWorld::task(u"Weekly"_s, u"true"_s, TaskSchedule::weekly({4}, {{9, 0}}), true);
        ScheduledTask monthly = UiWorld::task(u"Monthly"_s, u"true"_s, TaskSchedule::monthly(15, {{12, 0}}), true);
        ScheduledTask waking = UiWorld::task(u"Wake"_s, u"true"_s, TaskSchedule::daily({{0, 2}, {18, 0}}), true);
        waking.wakeBeforeRun = true;
        const ScheduledTask disabled = UiWorld::task(u"Off"_s, u"true"_s, TaskSchedule::daily({{3, 0}}), false);
        const ScheduledTask atLoad = UiWorld::task(u"Load"_s, u"true"_s, TaskSchedule::runAtLoad(), true);
        open({daily, weekly, monthly, waking, disabled, atLoad});
        // A 10-second run three minutes after 06:00, and one from yesterday at noon.
        writeRuns(daily, runLine(today(6, 3), 10, 0) % runLine(today(12, 0).addDays(-1), 60, 0));
        writeRuns(weekly, runLine(today(9, 0), 30, 1)); // failed
        view->reload();
        render();

        const QList<TimelineItemView *> rows = taskRows();
        QCOMPARE(rows.size(), 4);
        QCOMPARE(rows.at(0)->row().task.name, u"Daily"_s);
        QCOMPARE(rows.at(3)->row().task.name, u"Wake"_s);
        QCOMPARE(visibleChild<QLabel>(view.get(), u"timeline-my-tasks"_s)->text(), u"MY TASKS"_s);
        QVERIFY(!visibleChild<QLabel>(view.get(), u"timeline-empty"_s));
        for (TimelineItemView *row : rows) {
            QCOMPARE(row->timeArea().left(), 138.0);
            QCOMPARE(row->timeArea().height(), 20.0);
        }

        const QColor other = TimelineItemView::kindColor(TaskSchedule::Kind::daily);
        QCOMPARE(other, QColor::fromRgbF(0.29f, 0.49f, 0.34f));
        QCOMPARE(TimelineItemView::kindColor(TaskSchedule::Kind::weekly), ViewStyle::blue());
        QCOMPARE(TimelineItemView::kindColor(TaskSchedule::Kind::monthlyLastDay), ViewStyle::purple());

        // Daily: a run bar at 06:03 in the kind colour at 0.8; the 06:00 occurrence has run, so no pending bar.
        const QColor track = pixel(rows.at(0), 1000);
        const QColor runBar = pixel(rows.at(0), 363);
        QVERIFY2(near(runBar, blend(other, 0.8, track)), qPrintable(describe(runBar)));
        QVERIFY2(near(pixel(rows.at(0), 360), track), qPrintable(describe(pixel(rows.at(0), 360))));
        QVERIFY(near(pixel(rows.at(0), 720), track)); // yesterday's run draws nothing
        // A 10-second run is 1 minute wide but at least 2 points: here 2 points.
        QVERIFY(near(pixel(rows.at(0), 363, 0), blend(other, 0.8, track), 40) ||
                near(pixel(rows.at(0), 363, 2), blend(other, 0.8, track)));
        QVERIFY(near(pixel(rows.at(0), 363, 4), track));

        // Weekly on a Wednesday: the failed run is red at 0.7, whatever the kind.
        const QColor failed = pixel(rows.at(1), 540);
        QVERIFY2(near(failed, blend(ViewStyle::red(), 0.7, track)), qPrintable(describe(failed)));

        // Monthly on another day of the month still shows: a pending purple bar at noon.
        const QColor pending = pixel(rows.at(2), 720);
        QVERIFY2(near(pending, ViewStyle::purple()), qPrintable(describe(pending)));
        QVERIFY(near(pixel(rows.at(2), 700), track));
        QVERIFY(near(pixel(rows.at(2), 730), track));

        // Wake: the window before 00:02 starts at minute 0; the one before 18:00 at 17:55.
        const QColor wakeFill = blend(ViewStyle::orange(), 0.2, track);
        QVERIFY2(near(pixel(rows.at(3), 0), wakeFill), qPrintable(describe(pixel(rows.at(3), 0))));
        QVERIFY2(near(pixel(rows.at(3), 1075, 2), wakeFill), qPrintable(describe(pixel(rows.at(3), 1075, 2))));
        QVERIFY(near(pixel(rows.at(3), 1080), other)); // the pending occurrence on top
        QVERIFY(near(pixel(rows.at(3), 1070), track));
        QVERIFY(near(pixel(rows.at(3), 600), track));
    }

    // Each reload sees what the runs file became since the last: lines appended to it, a line
    // finished, the file replaced by another or removed.
    void reload_followsTheRunsFile()
    {
        const ScheduledTask daily = UiWorld::task(u"Daily"_s, u"true"_s, TaskSchedule::daily({{6, 0}}), true);
        open({daily});
        const QString path = store->launchdServiceForViews().runsPath(daily);
        const auto runCodes = [this] {
            QList<qint32> codes;
            for (const Timeline::Run &run : view->day().tasks.first().runs) {
                codes.append(run.exitCode);
            }
            return codes;
        };
        writeRuns(daily, runLine(today(6, 3), 10, 1) % runLine(today(12, 0).addDays(-1), 60, 0));
        view->reload();
        QCOMPARE(runCodes(), QList<qint32>({1}));
        const QString more = runLine(today(7, 0), 10, 2) % runLine(today(8, 0), 10, 3);
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::Append));
            file.write(more.toUtf8().chopped(2)); // the last line not finished yet
        }
        view->reload();
        QCOMPARE(runCodes(), QList<qint32>({1, 2}));
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::Append));
            file.write(more.toUtf8().right(2));
        }
        view->reload();
        QCOMPARE(runCodes(), QList<qint32>({1, 2, 3}));
        QFile::remove(path);
        writeRuns(daily, runLine(today(9, 0), 10, 4));
        view->reload();
        QCOMPARE(runCodes(), QList<qint32>({4}));
        QFile::remove(path);
        view->reload();
        QCOMPARE(runCodes(), QList<qint32>());
    }

    void noPlacedTasks_saysSo_untilSystemJobsShow()
    {
        LaunchdJob hourly;
        hourly.id = u"/x/com.example.tools.cleanup.plist"_s;
        hourly.label = u"com.example.tools.cleanup"_s;
        hourly.startInterval = 3600;
        LaunchdJob single;
        single.id = u"/x/single.plist"_s;
        single.label = u"single"_s;
        single.startCalendarInterval = QMap<QString, qint64>{{u"Hour"_s, 9}, {u"Minute"_s, 30}};
        LaunchdJob off = hourly;
        off.id = u"/x/off.plist"_s;
        off.label = u"com.example.off"_s;
        off.disabled = true;
        LaunchdJob manual;
        manual.id = u"/x/manual.plist"_s;
        manual.label = u"com.example.manual"_s;
        open({UiWorld::task(u"Off"_s, u"true"_s)}, {hourly, single, off, manual});
        QCOMPARE(visibleChild<QLabel>(view.get(), u"timeline-empty"_s)->text(), u"No enabled tasks"_s);
        QVERIFY(!visibleChild<QLabel>(view.get(), u"timeline-my-tasks"_s));

        auto *toggle = visibleChild<QCheckBox>(view.get(), u"timeline-system-jobs-toggle"_s);
        QCOMPARE(toggle->text(), u"System Jobs"_s);
        QTest::mouseClick(toggle, Qt::LeftButton);
        flushDeletes();
        QVERIFY(view->showSystemJobs());
        QVERIFY(!visibleChild<QLabel>(view.get(), u"timeline-empty"_s));
        QCOMPARE(visibleChild<QLabel>(view.get(), u"timeline-system-jobs"_s)->text(), u"SYSTEM JOBS"_s);
        QList<SystemJobTimelineItemView *> rows;
        for (auto *row : view->findChildren<SystemJobTimelineItemView *>()) {
            if (row->isVisibleTo(view.get())) {
                rows << row;
            }
        }
        QCOMPARE(rows.size(), 2);
        QCOMPARE(rows.at(0)->row().name, u"tools.cleanup"_s);
        QCOMPARE(rows.at(0)->toolTip(), u"com.example.tools.cleanup"_s);
        QCOMPARE(rows.at(1)->row().name, u"single"_s);

        render();
        const QRectF area = rows.at(1)->timeArea();
        auto at = [&](const SystemJobTimelineItemView *row, double minute) {
            return image.pixelColor(
                row->mapTo(view.get(), QPoint(int(std::floor(row->xForMinute(minute))) + 1, int(area.center().y()))));
        };
        const QColor track = at(rows.at(1), 1000);
        QVERIFY(!near(at(rows.at(1), 570), track, 20)); // 9:30
        QVERIFY(near(at(rows.at(1), 600), track));
        QVERIFY(!near(at(rows.at(0), 120), track, 20)); // every hour
        QVERIFY(near(at(rows.at(0), 150), track));
    }

    // A long list: only the lanes in and near sight get widgets, each at its place in the list;
    // scrolling to the end and widening the view bring the rest along.
    void manyLanes_getWidgetsAsTheyComeIntoSight()
    {
        QList<ScheduledTask> tasks;
        for (int i = 0; i < 100; ++i) {
            tasks << UiWorld::task(u"Task "_s + QString::number(i), u"true"_s, TaskSchedule::daily({{i % 24, 0}}),
                                   true);
        }
        open(tasks);
        QCOMPARE(view->day().tasks.size(), 100);
        const auto made = [this] {
            QList<TimelineItemView *> rows = view->findChildren<TimelineItemView *>();
            std::sort(rows.begin(), rows.end(), [](auto *a, auto *b) { return a->y() < b->y(); });
            return rows;
        };
        QList<TimelineItemView *> rows = made();
        QVERIFY2(rows.size() >= 20 && rows.size() < 60, qPrintable(QString::number(rows.size())));
        QCOMPARE(rows.first()->row().task.name, u"Task 0"_s);
        for (qsizetype i = 1; i < rows.size(); ++i) {
            QCOMPARE(rows.at(i)->row().task.name, u"Task "_s + QString::number(i));
            QCOMPARE(rows.at(i)->y() - rows.at(i - 1)->y(), 28); // 26 high, 2 apart
            QCOMPARE(rows.at(i)->width(), rows.at(0)->parentWidget()->width());
        }

        auto *scroll = view->findChild<QScrollArea *>();
        QVERIFY(scroll);
        scroll->verticalScrollBar()->setValue(scroll->verticalScrollBar()->maximum());
        rows = made();
        QCOMPARE(rows.last()->row().task.name, u"Task 99"_s);
        QVERIFY(rows.last()->isVisible());
        const QPoint bottomInViewport = rows.last()->mapTo(scroll->viewport(), QPoint(0, rows.last()->height()));
        QVERIFY(bottomInViewport.y() <= scroll->viewport()->height());
        QVERIFY(rows.size() < 100);

        view->resize(2400, 700);
        flushDeletes();
        for (TimelineItemView *row : made()) {
            QCOMPARE(row->width(), row->parentWidget()->width());
        }
        // Reloading starts again from the lanes in sight.
        view->reload();
        QVERIFY(made().size() < 100);
        QCOMPARE(made().last()->row().task.name, u"Task 99"_s);
    }

    void ruler_currentHourIsTheOnlyBoldOne()
    {
        open({});
        render();
        QWidget *ruler = visibleChild<QWidget>(view.get(), u"timeline-ruler"_s);
        QVERIFY(ruler);
        QCOMPARE(ruler->height(), 16);
        const double cell = (ruler->width() - 138) / 24.0;
        const int paper = qGray(image.pixelColor(ruler->mapTo(view.get(), QPoint(2, 2))).rgb());
        // How much darker than the paper a label's cell is.
        auto ink = [&](int hour) {
            double sum = 0;
            for (int x = int(138 + hour * cell) + 1; x < int(138 + (hour + 1) * cell) - 1; ++x) {
                for (int y = 0; y < 16; ++y) {
                    const QColor c = image.pixelColor(ruler->mapTo(view.get(), QPoint(x, y)));
                    sum += qMax(0, paper - qGray(c.rgb()));
                }
            }
            return sum;
        };
        const double current = ink(14);
        QVERIFY(current > 0);
        for (int hour = 10; hour < 24; ++hour) {
            if (hour != 14) {
                QVERIFY2(current > 1.5 * ink(hour), qPrintable(QString::number(hour)));
            }
        }
        // The indent over the name column stays blank.
        for (int x = 0; x < 138; ++x) {
            for (int y = 0; y < 16; ++y) {
                QCOMPARE(qGray(image.pixelColor(ruler->mapTo(view.get(), QPoint(x, y))).rgb()), paper);
            }
        }
    }

    void ruler_thinsItsLabelsWhenNarrow_andStaysInSight()
    {
        open({UiWorld::task(u"a"_s, u"true"_s)});
        QWidget *ruler = visibleChild<QWidget>(view.get(), u"timeline-ruler"_s);
        QVERIFY(ruler);
        QFont font = ruler->font();
        font.setPointSizeF(9);
        font.setBold(true);
        const double widest = QFontMetricsF(font).horizontalAdvance(u"23"_s);
        int previousCount = 25;
        for (int width : {2000, 660, 480, 320}) {
            view->resize(width, 700);
            QCoreApplication::processEvents();
            const QStringList labels = ruler->accessibleDescription().split(u' ', Qt::SkipEmptyParts);
            QVERIFY2(!labels.isEmpty(), qPrintable(QString::number(width)));
            QVERIFY(labels.size() <= previousCount);
            previousCount = int(labels.size());
            const double cell = (ruler->width() - 138) / 24.0;
            for (qsizetype i = 1; i < labels.size(); ++i) {
                const int apart = labels.at(i).toInt() - labels.at(i - 1).toInt();
                QVERIFY2(apart * cell >= widest + 2,
                         qPrintable(u"at %1 px: %2 and %3 touch"_s.arg(width).arg(labels.at(i - 1), labels.at(i))));
            }
            // The whole ruler is in sight, none of it under the scroll bar.
            const QWidget *viewport = ruler->parentWidget()->parentWidget();
            QVERIFY(ruler->mapTo(viewport, QPoint(ruler->width(), 0)).x() <= viewport->width());
        }
        view->resize(2000, 700);
        QCoreApplication::processEvents();
        QCOMPARE(ruler->accessibleDescription().split(u' ').size(), 24);
    }
};

QTEST_MAIN(DayTimelineViewTest)
#include "test_day_timeline_view.moc"
