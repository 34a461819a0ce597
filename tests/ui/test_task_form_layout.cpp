// How the task form is laid out and what its choosers show, apart from what it edits.

#include "ChildWidget.h"
#include "ui/FileDialog.h"
#include "ui/TaskFormView.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

// From the bottom of `control` to the top of `caption`, in the form's coordinates.
int gapBetween(const QWidget &form, const QWidget *control, const QWidget *caption)
{
    return caption->mapTo(&form, QPoint(0, 0)).y() - control->mapTo(&form, QPoint(0, control->height())).y();
}

} // namespace

class TaskFormLayoutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCaption_sitsTheSameDistanceUnderItsControl()
    {
        TaskFormView form;
        form.resize(560, 1200);
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        auto *type = child<QComboBox>(form, u"form-schedule-type"_s);
        auto *wake = child<QCheckBox>(form, u"form-wake"_s);
        wake->setChecked(true);
        QList<std::pair<QString, int>> gaps;
        const auto measure = [&](const QString &kind, QWidget *control, const QString &captionName) {
            type->setCurrentIndex(type->findText(kind));
            QCoreApplication::processEvents();
            auto *caption = child<QLabel>(form, captionName);
            QVERIFY2(caption->isVisible(), qPrintable(captionName));
            gaps << std::pair{captionName, gapBetween(form, control, caption)};
        };
        measure(u"Run at load (login / reboot)"_s, type, u"form-run-at-load-caption"_s);
        measure(u"Every N minutes"_s, child<QComboBox>(form, u"form-interval"_s), u"form-interval-caption"_s);
        measure(u"Daily"_s, wake, u"form-wake-explanation"_s);
        auto *monthlyType = child<QComboBox>(form, u"form-monthly-type"_s);
        auto *day = child<QComboBox>(form, u"form-day-of-month"_s);
        type->setCurrentIndex(type->findText(u"Monthly"_s));
        day->setCurrentIndex(day->findText(u"31"_s));
        measure(u"Monthly"_s, day, u"form-day-caption"_s);
        monthlyType->setCurrentIndex(monthlyType->findText(u"Last day of month"_s));
        measure(u"Monthly"_s, monthlyType, u"form-last-day-caption"_s);
        measure(u"Monthly"_s, child<QCheckBox>(form, u"form-login-shell"_s), u"form-login-shell-caption"_s);
        // Even to a pixel: rounding in the layout may move one by that much.
        for (const auto &[name, gap] : gaps) {
            QVERIFY2(std::abs(gap - gaps.constFirst().second) <= 1, qPrintable(u"%1: %2 px, %3: %4 px"_s.arg(name)
                                                                                   .arg(gap)
                                                                                   .arg(gaps.constFirst().first)
                                                                                   .arg(gaps.constFirst().second)));
            QVERIFY2(gap >= 0 && gap <= 6, qPrintable(u"%1: %2 px"_s.arg(name).arg(gap)));
        }
    }

    void envFileChooser_listsDotFiles_andStartsInTheFilesFolder()
    {
        QTemporaryDir dir;
        const auto dialog = FileDialog::openDialog(nullptr, u".env File"_s, {}, dir.path(), true);
        QVERIFY(dialog->filter() & QDir::Hidden);
        QCOMPARE(QDir(dialog->directory()).canonicalPath(), QDir(dir.path()).canonicalPath());
        QCOMPARE(dialog->fileMode(), QFileDialog::ExistingFile);
        // Other open panels keep hiding them.
        QVERIFY(!(FileDialog::openDialog(nullptr, u"Import"_s, {})->filter() & QDir::Hidden));

        // The form's chooser goes through that panel: what it answers lands in the field.
        TaskFormView form;
        const QString chosen = dir.path() + u"/.env"_s;
        FileDialog::setNextFileName(chosen);
        child<QPushButton>(form, u"form-choose-env-file"_s)->click();
        QCOMPARE(child<QLineEdit>(form, u"form-env-file"_s)->text(), chosen);
        QCOMPARE(form.fields().envFilePath, chosen);
    }
};

QTEST_MAIN(TaskFormLayoutTest)
#include "test_task_form_layout.moc"
