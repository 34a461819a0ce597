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

using namespace Qt::StringLiterals;

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
    auto *list = child<QListWidget>(view, u"shortcuts-list"_s);
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
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_s);
        tool.setOutput("  Morning Brief\n\tBob's list \n\n   \nDaily Backup\n\n", u"list"_s);
        Picker picker;
        QCOMPARE(picker.view.windowTitle(), u"Choose a Shortcut"_s);
        QCOMPARE(child<QLabel>(picker.view, u"shortcuts-title"_s)->text(), u"Choose a Shortcut"_s);
        QTRY_VERIFY(!picker.view.isLoading());
        QCOMPARE(listed(picker.view), (QStringList{u"Morning Brief"_s, u"Bob's list"_s, u"Daily Backup"_s}));
        QVERIFY(child<QListWidget>(picker.view, u"shortcuts-list"_s)->isVisible());
        QCOMPARE(tool.calls(), QList<QStringList>{{u"list"_s}});
    }

    // The tool takes a while; meanwhile the sheet says so and the window keeps answering.
    void slowTool_loadingTextWithoutBlocking()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_s);
        tool.setOutput("Only One\n", u"list"_s);
        tool.setDelay(1.0);
        QElapsedTimer clock;
        clock.start();
        Picker picker;
        QVERIFY(clock.elapsed() < 900);
        auto *loading = child<QLabel>(picker.view, u"shortcuts-loading"_s);
        QVERIFY(picker.view.isLoading());
        QVERIFY(loading->isVisible());
        QCOMPARE(loading->text(), u"Loading shortcuts…"_s);
        int ticks = 0;
        QTimer ticker;
        connect(&ticker, &QTimer::timeout, this, [&] { ++ticks; });
        ticker.start(20);
        QTRY_VERIFY_WITH_TIMEOUT(!picker.view.isLoading(), 10000);
        QVERIFY2(ticks >= 10, qPrintable(QString::number(ticks)));
        QVERIFY(!loading->isVisible());
        QCOMPARE(listed(picker.view), QStringList{u"Only One"_s});
    }

    void filter_caseInsensitive_keepsOrder()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_s);
        tool.setOutput("Morning Brief\nDaily Backup\nBRIEFING notes\nÄrger melden\n", u"list"_s);
        Picker picker;
        QTRY_VERIFY(!picker.view.isLoading());
        auto *search = child<QLineEdit>(picker.view, u"shortcuts-search"_s);
        QTest::keyClicks(search, u"brief"_s);
        QCOMPARE(listed(picker.view), (QStringList{u"Morning Brief"_s, u"BRIEFING notes"_s}));
        // Typed as text: QTest only types ASCII keys.
        search->setText(u"ärGER"_s);
        QCOMPARE(listed(picker.view), QStringList{u"Ärger melden"_s});
        search->clear();
        QCOMPARE(listed(picker.view).size(), 4);
    }

    void choosing_handsTheNameBackAndCloses()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_s);
        tool.setOutput("Morning Brief\nTom's backup\n", u"list"_s);
        Picker picker;
        QTRY_VERIFY(!picker.view.isLoading());
        auto *list = child<QListWidget>(picker.view, u"shortcuts-list"_s);
        QListWidgetItem *item = list->item(1);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
        QCOMPARE(picker.chosen, QStringList{u"Tom's backup"_s});
        QVERIFY(!picker.view.isVisible());
        QCOMPARE(picker.view.result(), int(QDialog::Accepted));
    }

    void emptyOutput_noShortcutsFound()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_s);
        tool.setOutput("\n  \n\t\n", u"list"_s);
        Picker picker;
        QTRY_VERIFY(!picker.view.isLoading());
        QVERIFY(child<QLabel>(picker.view, u"shortcuts-empty-title"_s)->isVisible());
        QCOMPARE(child<QLabel>(picker.view, u"shortcuts-empty-title"_s)->text(), u"No Shortcuts Found"_s);
        bool lineShown = false;
        for (QLabel *label : picker.view.findChildren<QLabel *>()) {
            lineShown |= label->isVisible() && label->text() == u"Create a shortcut in the Shortcuts app first.";
        }
        QVERIFY(lineShown);
        auto *open = child<QPushButton>(picker.view, u"shortcuts-open-app"_s);
        QCOMPARE(open->text(), u"Open Shortcuts App"_s);
        QTest::mouseClick(open, Qt::LeftButton);
        QCOMPARE(picker.opened, QList<QUrl>{ShortcutsPickerView::shortcutsAppUrl()});
        QVERIFY(picker.chosen.isEmpty());
    }

    void toolCannotStart_emptyList()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_s);
        tool.setOutput("Hidden\n");
        tool.makeUnstartable();
        Picker picker;
        QTRY_VERIFY(!picker.view.isLoading());
        QVERIFY(picker.view.shortcuts().isEmpty());
        QVERIFY(child<QLabel>(picker.view, u"shortcuts-empty-title"_s)->isVisible());
    }

    void cancel_choosesNothing()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_s);
        tool.setOutput("A\n", u"list"_s);
        Picker picker;
        QTRY_VERIFY(!picker.view.isLoading());
        QTest::mouseClick(child<QPushButton>(picker.view, u"shortcuts-cancel"_s), Qt::LeftButton);
        QVERIFY(!picker.view.isVisible());
        QVERIFY(picker.chosen.isEmpty());
    }
};

QTEST_MAIN(ShortcutsPickerViewTest)
#include "test_shortcuts_picker_view.moc"
