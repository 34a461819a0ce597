#include "SidebarRowPainting.h"

#include "launchd/LaunchdJob.h"
#include "ui/LaunchdJobDetailView.h"
#include "ui/PathRow.h"
#include "ui/ViewStyle.h"

#include <QApplication>
#include <QLabel>
#include <QPoint>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QByteArray plist(const QByteArray &body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\"><dict>" +
           body + "</dict></plist>\n";
}

LaunchdJob job(const QByteArray &body, LaunchdJob::Source source = LaunchdJob::Source::userAgents)
{
    const auto parsed = LaunchdJob::fromData(plist(body), u"/Library/LaunchAgents/com.example.job.plist"_s, source);
    if (!parsed) {
        qFatal("test plist did not parse");
    }
    return *parsed;
}

QString labelText(const QWidget &root, const QString &name)
{
    const auto *label = root.findChild<QLabel *>(name);
    return label ? label->text() : u"<missing " % name % u">";
}

QStringList pathRows(const QWidget &root)
{
    QStringList rows;
    for (const PathRow *row : root.findChildren<PathRow *>()) {
        rows << labelText(*row, u"path-row-label"_s) % u"=" % labelText(*row, u"path-row-path"_s);
    }
    return rows;
}

} // namespace

class LaunchdJobViewsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void row_showsLabelSourceBadgeAndSummary()
    {
        const LaunchdJob j = job("<key>Label</key><string>com.example.backup</string>"
                                 "<key>StartInterval</key><integer>300</integer>",
                                 LaunchdJob::Source::globalDaemons);
        const SidebarRows::JobLook look = SidebarRows::jobLook(j);
        QCOMPARE(look.title, u"com.example.backup"_s);
        QCOMPARE(look.source, u"Global Daemons"_s);
        QCOMPARE(look.summary, u"Every 5 min"_s);
        QCOMPARE(look.toolTip, u"com.example.backup"_s);
        // The badge is drawn on its tinted ground, after the label's line.
        const QRect row(0, 0, 240, SidebarRows::jobRowHeight());
        const SidebarRows::JobGeometry geometry = SidebarRows::jobGeometry(look, row);
        QVERIFY(row.contains(geometry.title) && row.contains(geometry.badge) && row.contains(geometry.summary));
        QVERIFY(geometry.badge.top() > geometry.title.bottom());
        QVERIFY(geometry.summary.left() > geometry.badge.right());
        const QImage image = paintedJob(look, row.size());
        QVERIFY(pixelsNear(image.copy(geometry.badge), onWhite(ViewStyle::quaternaryFill()), 8) > 20);
        QVERIFY(darkPixels(image.copy(geometry.title)) > 20);
    }

    void detail_enabledJobWithEverything()
    {
        const LaunchdJob j = job("<key>Label</key><string>com.example.sync</string>"
                                 "<key>ProgramArguments</key><array><string>/usr/bin/rsync</string>"
                                 "<string>-a</string><string>/src dir</string></array>"
                                 "<key>StartCalendarInterval</key><dict><key>Hour</key><integer>6</integer>"
                                 "<key>Minute</key><integer>5</integer></dict>"
                                 "<key>RunAtLoad</key><true/><key>KeepAlive</key><true/>"
                                 "<key>StandardOutPath</key><string>/tmp/sync.out</string>"
                                 "<key>StandardErrorPath</key><string>/tmp/sync.err</string>",
                                 LaunchdJob::Source::globalAgents);
        LaunchdJobDetailView view(j);
        QCOMPARE(labelText(view, u"job-detail-title"_s), u"com.example.sync"_s);
        QCOMPARE(labelText(view, u"job-badge-source-text"_s), u"Global Agents"_s);
        QCOMPARE(labelText(view, u"job-badge-state-text"_s), u"Enabled"_s);
        QCOMPARE(labelText(view, u"job-badge-run-at-load-text"_s), u"Run at Load"_s);
        QCOMPARE(labelText(view, u"job-badge-keep-alive-text"_s), u"Keep Alive"_s);
        QCOMPARE(labelText(view, u"job-detail-command"_s), u"/usr/bin/rsync -a /src dir"_s);
        QCOMPARE(labelText(view, u"job-detail-schedule"_s), u"6:05"_s);
        QCOMPARE(pathRows(view), (QStringList{u"Stdout=/tmp/sync.out"_s, u"Stderr=/tmp/sync.err"_s,
                                              u"Plist=/Library/LaunchAgents/com.example.job.plist"_s}));
        const QString raw = labelText(view, u"job-detail-raw"_s);
        QVERIFY2(raw.startsWith(u"<?xml"_s), qPrintable(raw));
        QVERIFY(raw.contains(u"<key>Label</key>"_s));
        QVERIFY(raw.contains(u"<string>com.example.sync</string>"_s));
        QVERIFY(raw.contains(u"<key>RunAtLoad</key>"_s));
    }

    void detail_disabledJobWithoutProgram()
    {
        const LaunchdJob j = job("<key>Label</key><string>com.example.off</string><key>Disabled</key><true/>");
        LaunchdJobDetailView view(j);
        QCOMPARE(labelText(view, u"job-badge-source-text"_s), u"User Agents"_s);
        QCOMPARE(labelText(view, u"job-badge-state-text"_s), u"Disabled"_s);
        QVERIFY(!view.findChild<QWidget *>(u"job-badge-run-at-load"_s));
        QVERIFY(!view.findChild<QWidget *>(u"job-badge-keep-alive"_s));
        QCOMPARE(labelText(view, u"job-detail-command"_s), u"(unknown)"_s);
        QCOMPARE(labelText(view, u"job-detail-schedule"_s), u"Manual"_s);
        // Missing output paths keep their rows, empty.
        QCOMPARE(pathRows(view),
                 (QStringList{u"Stdout="_s, u"Stderr="_s, u"Plist=/Library/LaunchAgents/com.example.job.plist"_s}));
    }

    void detail_programWithoutArguments()
    {
        LaunchdJobDetailView view(
            job("<key>Label</key><string>a</string><key>Program</key><string>/bin/true</string>"));
        QCOMPARE(labelText(view, u"job-detail-command"_s), u"/bin/true"_s);
    }

    void detail_rawWithoutPlistForm_isUnableToDisplay()
    {
        LaunchdJob j = job("<key>Label</key><string>com.example.odd</string>");
        j.raw.insert(u"Odd"_s, QPoint(1, 2));
        LaunchdJobDetailView view(j);
        QCOMPARE(labelText(view, u"job-detail-raw"_s), u"(unable to display)"_s);
    }

    void row_longLabel_endsInEllipsis()
    {
        const QString label = u"com.example.a-very-long-label-that-cannot-fit-into-the-sidebar.agent"_s;
        const SidebarRows::JobLook look =
            SidebarRows::jobLook(job("<key>Label</key><string>" + label.toUtf8() + "</string>"));
        QCOMPARE(look.title, label);
        QCOMPARE(look.toolTip, label);
        const QRect narrow(0, 0, 200, SidebarRows::jobRowHeight());
        const QRect title = SidebarRows::jobGeometry(look, narrow).title;
        const QString shown = SidebarRows::elided(label, ViewStyle::bodyFont(), title.width());
        QVERIFY2(shown.endsWith(u"…"_s), qPrintable(shown));
        QVERIFY(label.startsWith(shown.chopped(1)));
        // Nothing is drawn past the row's right margin.
        const QImage image = paintedJob(look, narrow.size());
        QCOMPARE(darkPixels(image.copy(narrow.right() - 5, title.top(), 6, title.height())), 0);
        QVERIFY(darkPixels(image.copy(title)) > 20);
        // A label that fits is shown whole.
        const QRect wide(0, 0, 1200, SidebarRows::jobRowHeight());
        QCOMPARE(SidebarRows::elided(label, ViewStyle::bodyFont(), SidebarRows::jobGeometry(look, wide).title.width()),
                 label);
    }

    void detail_rawPlist_indentsWithFourColumnTabs()
    {
        LaunchdJobDetailView view(
            job("<key>Label</key><string>com.example.nested</string>"
                "<key>StartCalendarInterval</key><dict><key>Hour</key><integer>6</integer></dict>"));
        const QString raw = labelText(view, u"job-detail-raw"_s);
        QVERIFY2(!raw.contains(u'\t'), qPrintable(raw));
        QVERIFY2(raw.contains(u"\n    <key>StartCalendarInterval</key>\n    <dict>\n        <key>Hour</key>"_s),
                 qPrintable(raw));
    }

    void expandTabs_stopsEveryFourColumns()
    {
        QCOMPARE(ViewStyle::expandTabs(u"\ta\n\t\tb\nab\tc\nabcd\te"_s), u"    a\n        b\nab  c\nabcd    e"_s);
        QCOMPARE(ViewStyle::expandTabs(u"none"_s), u"none"_s);
    }

    void pathRow_showsLabelAndPath()
    {
        PathRow row(u"Stdout"_s, u"/var/log/x y.log"_s);
        QCOMPARE(labelText(row, u"path-row-label"_s), u"Stdout"_s);
        QCOMPARE(labelText(row, u"path-row-path"_s), u"/var/log/x y.log"_s);
        QVERIFY(row.findChild<QLabel *>(u"path-row-path"_s)->textInteractionFlags() & Qt::TextSelectableByMouse);
    }
};

QTEST_MAIN(LaunchdJobViewsTest)
#include "test_launchd_job_views.moc"
