#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/ShortcutsList.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class ShortcutsListTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_trimsBlanksAndTabs_dropsEmpties_keepsOrder()
    {
        const QByteArray output = "  Morning Brief\n\tBob's list \t\n\n   \n\t\nZeta\nalpha\n\n";
        const QStringList expected{u"Morning Brief"_s, u"Bob's list"_s, u"Zeta"_s, u"alpha"_s};
        QCOMPARE(ShortcutsList::parse(output), expected);
        QCOMPARE(ShortcutsList::parse(QByteArray()), QStringList());
        QCOMPARE(ShortcutsList::parse("\n\n \t \n"), QStringList());
    }

    void parse_decodesUtf8() { QCOMPARE(ShortcutsList::parse("Caf\xc3\xa9 \xe2\x98\x95\n"), QStringList{u"Café ☕"_s}); }

    void load_runsTheToolWithList()
    {
        Sandbox sandbox;
        StandInTool shortcuts(sandbox, u"/usr/bin/shortcuts"_s);
        shortcuts.setOutput("  Morning Brief\nDaily Backup\t\n\n\tTom's backup\n   \n", u"list"_s);
        const QStringList expected{u"Morning Brief"_s, u"Daily Backup"_s, u"Tom's backup"_s};
        QCOMPARE(ShortcutsList::load(), expected);
        QCOMPARE(shortcuts.calls(), QList<QStringList>{{u"list"_s}});
        QCOMPARE(ShortcutsList::program(), sandbox.sysroot() + u"/usr/bin/shortcuts"_s);
    }

    void load_toolMissingOrUnstartable_isEmpty()
    {
        Sandbox sandbox;
        QCOMPARE(ShortcutsList::load(), QStringList());
        StandInTool shortcuts(sandbox, u"/usr/bin/shortcuts"_s);
        shortcuts.setOutput("Something\n");
        shortcuts.makeUnstartable();
        QCOMPARE(ShortcutsList::load(), QStringList());
    }

    void runCommand_quotesSingleQuotes()
    {
        QCOMPARE(ShortcutsList::runCommand(u"Morning Brief"_s), u"shortcuts run 'Morning Brief'"_s);
        QCOMPARE(ShortcutsList::runCommand(u"Bob's list"_s), u"shortcuts run 'Bob'\\''s list'"_s);
        QCOMPARE(ShortcutsList::runCommand(u"Tom's backup"_s), u"shortcuts run 'Tom'\\''s backup'"_s);
    }

    // The command as a task runs it: the shell hands the whole name to the tool as one argument.
    void runCommand_shellPassesNameAsOneArgument()
    {
        Sandbox sandbox;
        StandInTool shortcuts(sandbox, u"/usr/bin/shortcuts"_s);
        const QString bin = QFileInfo(shortcuts.path()).absolutePath();
        const QString name = u"It's \"$HOME\" `x` ; rm -rf /"_s;
        const auto result = sandbox.run(
            u"/bin/sh"_s, {u"-c"_s, QString(u"PATH='" % bin % u"':\"$PATH\"; " % ShortcutsList::runCommand(name))});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(shortcuts.calls(), (QList<QStringList>{{u"run"_s, name}}));
    }

    void filter_caseInsensitiveSubstring_inListOrder()
    {
        const QStringList names{u"Morning Brief"_s, u"Daily Backup"_s, u"BRIEFING notes"_s, u"Ärger melden"_s};
        QCOMPARE(ShortcutsList::filter(names, QString()), names);
        QCOMPARE(ShortcutsList::filter(names, u"brief"_s), (QStringList{u"Morning Brief"_s, u"BRIEFING notes"_s}));
        QCOMPARE(ShortcutsList::filter(names, u"ärger"_s), QStringList{u"Ärger melden"_s});
        QCOMPARE(ShortcutsList::filter(names, u"y b"_s), QStringList{u"Daily Backup"_s});
        QCOMPARE(ShortcutsList::filter(names, u"zzz"_s), QStringList());
    }
};

QTEST_GUILESS_MAIN(ShortcutsListTest)
#include "test_shortcuts_list.moc"
