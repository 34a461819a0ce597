#include "SidebarRowPainting.h"

#include "ui/SidebarRows.h"
#include "ui/ViewStyle.h"

#include <QApplication>
#include <QFontMetrics>
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

const QRect kRow(0, 0, 240, 44);

} // namespace

class SidebarRowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void taskRow_showsNameAndScheduleDescription()
    {
        const SidebarRows::TaskLook look = SidebarRows::taskLook(task(u"Backup \"home\""_s, true));
        QCOMPARE(look.name, u"Backup \"home\""_s);
        QCOMPARE(look.schedule, u"Daily at 9:05, 14:00"_s);
        QCOMPARE(look.toolTip, u"Backup \"home\""_s);
        QCOMPARE(ViewStyle::mediumFont().weight(), QFont::Medium);
        // Both lines are drawn: ink in the name's band and in the schedule's.
        const QImage image = paintedTask(look);
        const SidebarRows::TaskGeometry geometry = SidebarRows::taskGeometry(look, kRow);
        QVERIFY(darkPixels(image.copy(geometry.name)) > 20);
        QVERIFY(pixelsNear(image.copy(geometry.schedule), Qt::darkGray, 60) > 10);
        QVERIFY(geometry.schedule.top() > geometry.name.bottom());
    }

    void taskRow_isTallEnoughForItsTwoLines()
    {
        const int lines =
            QFontMetrics(ViewStyle::mediumFont()).height() + QFontMetrics(ViewStyle::captionFont()).height();
        QVERIFY(SidebarRows::taskRowHeight() > lines);
        const QRect row(0, 0, 240, SidebarRows::taskRowHeight());
        const SidebarRows::TaskGeometry geometry =
            SidebarRows::taskGeometry(SidebarRows::taskLook(task(u"a"_s, true)), row);
        QVERIFY(row.contains(geometry.name) && row.contains(geometry.schedule));
    }

    void dot_isGreenWhenEnabledGreyWhenDisabled()
    {
        for (const bool enabled : {true, false}) {
            const SidebarRows::TaskLook look = SidebarRows::taskLook(task(u"a"_s, enabled));
            const SidebarRows::TaskGeometry geometry = SidebarRows::taskGeometry(look, kRow);
            QCOMPARE(geometry.dot.size(), QSize(8, 8));
            QCOMPARE(paintedTask(look).pixelColor(geometry.dot.center()),
                     enabled ? ViewStyle::green() : ViewStyle::grey());
        }
    }

    void tick_onlyInSelectMode()
    {
        SidebarRows::TaskLook look = SidebarRows::taskLook(task(u"a"_s, true));
        QVERIFY(SidebarRows::taskGeometry(look, kRow).tick.isEmpty());
        const int dotWithoutTick = SidebarRows::taskGeometry(look, kRow).dot.left();

        look.tick = false;
        SidebarRows::TaskGeometry geometry = SidebarRows::taskGeometry(look, kRow);
        QCOMPARE(geometry.tick.size(), QSize(16, 16));
        QVERIFY(geometry.dot.left() > geometry.tick.right());
        QVERIFY(geometry.dot.left() > dotWithoutTick);
        QVERIFY(pixelsNear(paintedTask(look).copy(geometry.tick), onWhite(ViewStyle::secondaryText()), 40) > 6);
        QCOMPARE(pixelsNear(paintedTask(look).copy(geometry.tick), ViewStyle::accent()), 0);

        look.tick = true;
        geometry = SidebarRows::taskGeometry(look, kRow);
        QVERIFY(pixelsNear(paintedTask(look).copy(geometry.tick), ViewStyle::accent()) > 20);
    }

    void longName_endsInAnEllipsis()
    {
        const QString name = u"A task whose name is far too long for the sidebar of any window"_s;
        const SidebarRows::TaskLook look = SidebarRows::taskLook(task(name, true));
        const QRect narrow(0, 0, 160, 44);
        const SidebarRows::TaskGeometry geometry = SidebarRows::taskGeometry(look, narrow);
        QVERIFY(geometry.name.right() <= narrow.right());
        const QString shown = SidebarRows::elided(name, ViewStyle::mediumFont(), geometry.name.width());
        QVERIFY(shown.endsWith(u'…'));
        QVERIFY(name.startsWith(shown.chopped(1)));
        // Nothing is drawn past the row's right margin.
        const QImage image = paintedTask(look, narrow.size());
        QCOMPARE(darkPixels(image.copy(narrow.right() - 5, 0, 6, 44)), 0);
        QCOMPARE(SidebarRows::elided(u"Short"_s, ViewStyle::mediumFont(), 200), u"Short"_s);
    }

    void cronRow_isOneLine()
    {
        CronEntry entry;
        entry.schedule = u"0 5 * * *"_s;
        entry.command = u"first\nsecond"_s;
        entry.text = u"0 5 * * * first"_s;
        const SidebarRows::JobLook look = SidebarRows::jobLook(entry);
        QVERIFY(!look.summary.contains(u'\n'));
        QCOMPARE(look.summary, u"0 5 * * *  first second"_s);
        QCOMPARE(look.source, u"Cron"_s);
        QCOMPARE(look.toolTip, u"0 5 * * * first"_s);
    }
};

QTEST_MAIN(SidebarRowsTest)
#include "test_sidebar_rows.moc"
