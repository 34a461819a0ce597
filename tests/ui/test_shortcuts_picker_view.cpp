#include "Sandbox.h"
#include "StandInTool.h"
#include "ui/ShortcutsPickerView.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
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

QStringList listed(const ShortcutsPickerView &view)
{
    QStringList names;
    auto *list = child<QListWidget>(view, u"shortcuts-list"_qs);
    for (int i = 0; i < list->count(); ++i) {
        names << list->item(i)->text();
    }
    return names;
}

struct Picker {
    ShortcutsPickerView view;
    QStringList chosen;
    QList<QUrl> opened;

    Picker()
    {
        view.setOnSelect([this](const QString &name) { chosen << name; });
        view.setUrlOpener([this](const QUrl &url) { opened << url; });
        view.show();
        if (!QTest::qWaitForWindowExposed(&view)) {
            qFatal("picker not shown");
        }
    }
};

} // namespace

class ShortcutsPickerViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsTheToolsNames_cleanAndInOrder()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_qs);
        tool.setOutput("  Morning Brief\n\tBob's list \n\n   \nDaily Backup\n\n", u"list"_qs);
        Picker picker;
        QCOMPARE(picker.view.windowTitle(), u"Choose a Shortcut"_qs);
        QCOMPARE(child<QLabel>(picker.view, u"shortcuts-title"_qs)->text(), u"Choose a Shortcut"_qs);
        QTRY_VERIFY(!picker.view.isLoading());
        QCOMPARE(listed(picker.view), (QStringList{u"Morning Brief"_qs, u"Bob's list"_qs, u"Daily Backup"_qs}));
        QVERIFY(child<QListWidget>(picker.view, u"shortcuts-list"_qs)->isVisible());
        QCOMPARE(tool.calls(), QList<QStringList>{{u"list"_qs}});
    }

    // The tool takes a while; meanwhile the sheet says so and the window keeps answering.
    void slowTool_loadingTextWithoutBlocking()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_qs);
        tool.setOutput("Only One\n", u"list"_qs);
        tool.setDelay(1.0);
        QElapsedTimer clock;
        clock.start();
        Picker picker;
        QVERIFY(clock.elapsed() < 900);
        auto *loading = child<QLabel>(picker.view, u"shortcuts-loading"_qs);
        QVERIFY(picker.view.isLoading());
        QVERIFY(loading->isVisible());
        QCOMPARE(loading->text(), u"Loading shortcuts…"_qs);
        int ticks = 0;
        QTimer ticker;
        connect(&ticker, &QTimer::timeout, this, [&] { ++ticks; });
        ticker.start(20);
        QTRY_VERIFY_WITH_TIMEOUT(!picker.view.isLoading(), 10000);
        QVERIFY2(ticks >= 10, qPrintable(QString::number(ticks)));
        QVERIFY(!loading->isVisible());
        QCOMPARE(listed(picker.view), QStringList{u"Only One"_qs});
    }

    void filter_caseInsensitive_keepsOrder()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_qs);
        tool.setOutput("Morning Brief\nDaily Backup\nBRIEFING notes\nÄrger melden\n", u"list"_qs);
        Picker picker;
        QTRY_VERIFY(!picker.view.isLoading());
        auto *search = child<QLineEdit>(picker.view, u"shortcuts-search"_qs);
        QTest::keyClicks(search, u"brief"_qs);
        QCOMPARE(listed(picker.view), (QStringList{u"Morning Brief"_qs, u"BRIEFING notes"_qs}));
        // Typed as text: QTest only types ASCII keys.
        search->setText(u"ärGER"_qs);
        QCOMPARE(listed(picker.view), QStringList{u"Ärger melden"_qs});
        search->clear();
        QCOMPARE(listed(picker.view).size(), 4);
    }

    void choosing_handsTheNameBackAndCloses()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_qs);
        tool.setOutput("Morning Brief\nTom's backup\n", u"list"_qs);
        Picker picker;
        QTRY_VERIFY(!picker.view.isLoading());
        auto *list = child<QListWidget>(picker.view, u"shortcuts-list"_qs);
        QListWidgetItem *item = list->item(1);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
        QCOMPARE(picker.chosen, QStringList{u"Tom's backup"_qs});
        QVERIFY(!picker.view.isVisible());
        QCOMPARE(picker.view.result(), int(QDialog::Accepted));
    }

    void emptyOutput_noShortcutsFound()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_qs);
        tool.setOutput("\n  \n\t\n", u"list"_qs);
        Picker picker;
        QTRY_VERIFY(!picker.view.isLoading());
        QVERIFY(child<QLabel>(picker.view, u"shortcuts-empty-title"_qs)->isVisible());
        QCOMPARE(child<QLabel>(picker.view, u"shortcuts-empty-title"_qs)->text(), u"No Shortcuts Found"_qs);
        bool lineShown = false;
        for (QLabel *label : picker.view.findChildren<QLabel *>()) {
            lineShown |= label->isVisible() && label->text() == u"Create a shortcut in the Shortcuts app first.";
        }
        QVERIFY(lineShown);
        auto *open = child<QPushButton>(picker.view, u"shortcuts-open-app"_qs);
        QCOMPARE(open->text(), u"Open Shortcuts App"_qs);
        QTest::mouseClick(open, Qt::LeftButton);
        QCOMPARE(picker.opened, QList<QUrl>{ShortcutsPickerView::shortcutsAppUrl()});
        QVERIFY(picker.chosen.isEmpty());
    }

    void toolCannotStart_emptyList()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_qs);
        tool.setOutput("Hidden\n");
        tool.makeUnstartable();
        Picker picker;
        QTRY_VERIFY(!picker.view.isLoading());
        QVERIFY(picker.view.shortcuts().isEmpty());
        QVERIFY(child<QLabel>(picker.view, u"shortcuts-empty-title"_qs)->isVisible());
    }

    void cancel_choosesNothing()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_qs);
        tool.setOutput("A\n", u"list"_qs);
        Picker picker;
        QTRY_VERIFY(!picker.view.isLoading());
        QTest::mouseClick(child<QPushButton>(picker.view, u"shortcuts-cancel"_qs), Qt::LeftButton);
        QVERIFY(!picker.view.isVisible());
        QVERIFY(picker.chosen.isEmpty());
    }
};

QTEST_MAIN(ShortcutsPickerViewTest)
#include "test_shortcuts_picker_view.moc"
