#include "launchd/LaunchdJob.h"
#include "ui/LaunchdJobDetailView.h"
#include "ui/LaunchdJobRow.h"
#include "ui/PathRow.h"

#include <QApplication>
#include <QLabel>
#include <QPoint>
#include <QtTest>

namespace {

QByteArray plist(const QByteArray &body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\"><dict>" +
           body + "</dict></plist>\n";
}

LaunchdJob job(const QByteArray &body, LaunchdJob::Source source = LaunchdJob::Source::userAgents)
{
    const auto parsed = LaunchdJob::fromData(plist(body), u"/Library/LaunchAgents/com.example.job.plist"_qs, source);
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
        rows << labelText(*row, u"path-row-label"_qs) % u"=" % labelText(*row, u"path-row-path"_qs);
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
        LaunchdJobRow row(j);
        QCOMPARE(labelText(row, u"job-row-label"_qs), u"com.example.backup"_qs);
        QCOMPARE(labelText(row, u"job-row-source"_qs), u"Global Daemons"_qs);
        QCOMPARE(labelText(row, u"job-row-schedule"_qs), u"Every 5 min"_qs);
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
        QCOMPARE(labelText(view, u"job-detail-title"_qs), u"com.example.sync"_qs);
        QCOMPARE(labelText(view, u"job-badge-source-text"_qs), u"Global Agents"_qs);
        QCOMPARE(labelText(view, u"job-badge-state-text"_qs), u"Enabled"_qs);
        QCOMPARE(labelText(view, u"job-badge-run-at-load-text"_qs), u"Run at Load"_qs);
        QCOMPARE(labelText(view, u"job-badge-keep-alive-text"_qs), u"Keep Alive"_qs);
        QCOMPARE(labelText(view, u"job-detail-command"_qs), u"/usr/bin/rsync -a /src dir"_qs);
        QCOMPARE(labelText(view, u"job-detail-schedule"_qs), u"6:05"_qs);
        QCOMPARE(pathRows(view), (QStringList{u"Stdout=/tmp/sync.out"_qs, u"Stderr=/tmp/sync.err"_qs,
                                              u"Plist=/Library/LaunchAgents/com.example.job.plist"_qs}));
        const QString raw = labelText(view, u"job-detail-raw"_qs);
        QVERIFY2(raw.startsWith(u"<?xml"_qs), qPrintable(raw));
        QVERIFY(raw.contains(u"<key>Label</key>"_qs));
        QVERIFY(raw.contains(u"<string>com.example.sync</string>"_qs));
        QVERIFY(raw.contains(u"<key>RunAtLoad</key>"_qs));
    }

    void detail_disabledJobWithoutProgram()
    {
        const LaunchdJob j = job("<key>Label</key><string>com.example.off</string><key>Disabled</key><true/>");
        LaunchdJobDetailView view(j);
        QCOMPARE(labelText(view, u"job-badge-source-text"_qs), u"User Agents"_qs);
        QCOMPARE(labelText(view, u"job-badge-state-text"_qs), u"Disabled"_qs);
        QVERIFY(!view.findChild<QWidget *>(u"job-badge-run-at-load"_qs));
        QVERIFY(!view.findChild<QWidget *>(u"job-badge-keep-alive"_qs));
        QCOMPARE(labelText(view, u"job-detail-command"_qs), u"(unknown)"_qs);
        QCOMPARE(labelText(view, u"job-detail-schedule"_qs), u"Manual"_qs);
        // Missing output paths keep their rows, empty.
        QCOMPARE(pathRows(view), (QStringList{u"Stdout="_qs, u"Stderr="_qs,
                                              u"Plist=/Library/LaunchAgents/com.example.job.plist"_qs}));
    }

    void detail_programWithoutArguments()
    {
        LaunchdJobDetailView view(job("<key>Label</key><string>a</string><key>Program</key><string>/bin/true</string>"));
        QCOMPARE(labelText(view, u"job-detail-command"_qs), u"/bin/true"_qs);
    }

    void detail_rawWithoutPlistForm_isUnableToDisplay()
    {
        LaunchdJob j = job("<key>Label</key><string>com.example.odd</string>");
        j.raw.insert(u"Odd"_qs, QPoint(1, 2));
        LaunchdJobDetailView view(j);
        QCOMPARE(labelText(view, u"job-detail-raw"_qs), u"(unable to display)"_qs);
    }

    void pathRow_showsLabelAndPath()
    {
        PathRow row(u"Stdout"_qs, u"/var/log/x y.log"_qs);
        QCOMPARE(labelText(row, u"path-row-label"_qs), u"Stdout"_qs);
        QCOMPARE(labelText(row, u"path-row-path"_qs), u"/var/log/x y.log"_qs);
        QVERIFY(row.findChild<QLabel *>(u"path-row-path"_qs)->textInteractionFlags() & Qt::TextSelectableByMouse);
    }
};

QTEST_MAIN(LaunchdJobViewsTest)
#include "test_launchd_job_views.moc"
