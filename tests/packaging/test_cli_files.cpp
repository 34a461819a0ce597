#include "Sandbox.h"
#include "StandInTool.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QtTest>

using namespace Qt::StringLiterals;

// The man page and the shell completions the build writes from the tool's help, checked against
// what `moxley --help` and `moxley COMMAND --help` print now, and the completions run in real shells.
namespace {

const QString kFiles = QStringLiteral(MOXLEY_CLI_FILES_DIR);

struct HelpCommand {
    QString name;
    QString summary;
};

// The "Commands:" table of `moxley --help`.
QList<HelpCommand> helpCommands(const Sandbox &sandbox)
{
    const QString help = QString::fromUtf8(sandbox.runCli({u"--help"_s}).out);
    const QString table = help.section(u"Commands:\n"_s, 1).section(u"\n\n"_s, 0, 0);
    QList<HelpCommand> commands;
    static const QRegularExpression row(u"^  (\\S+)\\s{2,}(.+)$"_s);
    for (const QString &line : table.split(u'\n')) {
        const auto match = row.match(line);
        if (match.hasMatch()) {
            commands.append({match.captured(1), match.captured(2)});
        }
    }
    return commands;
}

QStringList helpCommandNames(const Sandbox &sandbox)
{
    QStringList names;
    for (const HelpCommand &command : helpCommands(sandbox)) {
        names << command.name;
    }
    return names;
}

// The option names of `moxley COMMAND --help`, e.g. {"--json"}.
QStringList helpOptions(const Sandbox &sandbox, const QString &command)
{
    const QString help = QString::fromUtf8(sandbox.runCli({command, u"--help"_s}).out);
    QStringList names;
    if (!help.contains(u"\nOptions:\n"_s)) {
        return names;
    }
    static const QRegularExpression row(u"^  (\\S.*?)(?: [A-Z][A-Z0-9:-]*)?\\s{2,}\\S"_s);
    for (const QString &line : help.section(u"\nOptions:\n"_s, 1).split(u'\n')) {
        const auto match = row.match(line);
        if (match.hasMatch()) {
            names << match.captured(1).split(u", "_s);
        }
    }
    return names;
}

QString manPage()
{
    return QString::fromUtf8(Sandbox::readFile(kFiles + u"/moxley.1"_s));
}

// The man page's text between the heading of one command and the next heading.
QString manSection(const QString &page, const QString &command)
{
    const QString heading = u"\n.SS "_s + QString(command).replace(u'-', u"\\-"_s) + u'\n';
    const qsizetype start = page.indexOf(heading);
    if (start < 0) {
        return {};
    }
    const qsizetype end = page.indexOf(QRegularExpression(u"\n\\.S[SH] "_s), start + 1);
    return page.mid(start, end - start);
}

QStringList lines(const QByteArray &out)
{
    QStringList list = QString::fromUtf8(out).split(u'\n');
    list.removeAll(QString());
    return list;
}

// Two tasks whose names have spaces (one of them two together), one switched off, and a short one.
struct TaskWorld {
    Sandbox sandbox;
    StandInTool launchctl{sandbox, u"/bin/launchctl"_s};
    QStringList ids;

    TaskWorld()
    {
        const QByteArray bin = QFileInfo(QStringLiteral(MOXLEY_CLI_PATH)).absolutePath().toUtf8() + ':';
        if (!qgetenv("PATH").startsWith(bin)) {
            qputenv("PATH", QByteArray(bin + qgetenv("PATH")));
        }
        add({u"--name"_s, u"Nightly build"_s, u"--command"_s, u"true"_s, u"--daily"_s});
        add({u"--name"_s, u"Poll  it's"_s, u"--command"_s, u"true"_s, u"--every"_s, u"5"_s, u"--disabled"_s});
        add({u"--name"_s, u"x"_s, u"--command"_s, u"true"_s});
    }
    void add(const QStringList &arguments)
    {
        const auto result = sandbox.runCli(QStringList{u"add"_s} + arguments);
        QCOMPARE(result.exitCode, 0);
        ids << QString::fromUtf8(result.out).trimmed().left(8).toLower();
    }
    // Runs a shell, which finds the built moxley first on the PATH.
    Sandbox::Result shell(const QString &shell, const QStringList &arguments, const QString &dir = {}) const
    {
        return sandbox.run(shell, arguments, {}, dir);
    }
    // What bash's completion function offers for `line` (the cursor at its end).
    QStringList bash(const QString &line, const QString &dir = {}) const
    {
        // The words as bash's readline splits them: at spaces, except escaped ones.
        static const QRegularExpression space(u"(?<!\\\\) "_s);
        const QStringList words = line.split(space);
        const QString script = u"source \"$1\"; shift; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1));"
                               u"_moxley; printf '%s\\n' \"${COMPREPLY[@]}\""_s;
        const auto result =
            shell(u"bash"_s, QStringList{u"-c"_s, script, u"bash"_s, kFiles + u"/moxley.bash"_s} + words, dir);
        return result.exitCode == 0 ? lines(result.out) : QStringList{u"exit "_s + QString::number(result.exitCode)};
    }
    // What fish offers for `line`: each candidate without its description.
    QStringList fish(const QString &line) const
    {
        const auto result = shell(u"fish"_s, {u"--no-config"_s, u"-c"_s, u"source $argv[1]; complete -C $argv[2]"_s,
                                              kFiles + u"/moxley.fish"_s, line});
        QStringList words;
        for (const QString &candidate : lines(result.out)) {
            words << candidate.section(u'\t', 0, 0);
        }
        return words;
    }
};

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

} // namespace

class CliFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void manPage_hasOneSectionPerCommandOfHelp_inOrder()
    {
        Sandbox sandbox;
        const QStringList commands = helpCommandNames(sandbox);
        QVERIFY(commands.size() >= 19);
        QStringList sections;
        static const QRegularExpression heading(u"^\\.SS (.+)$"_s, QRegularExpression::MultilineOption);
        for (auto it = heading.globalMatch(manPage()); it.hasNext();) {
            sections << it.next().captured(1).replace(u"\\-"_s, u"-"_s);
        }
        QCOMPARE(sections, commands);
    }

    void manPage_describesEveryOptionOfEachCommand()
    {
        Sandbox sandbox;
        const QString page = manPage();
        int checked = 0;
        for (const HelpCommand &command : helpCommands(sandbox)) {
            const QString section = manSection(page, command.name);
            QVERIFY2(section.contains(command.summary), qPrintable(command.name));
            for (const QString &option : helpOptions(sandbox, command.name)) {
                const QString marked = u"\\fB"_s + QString(option).replace(u'-', u"\\-"_s) + u"\\fR"_s;
                QVERIFY2(section.contains(marked), qPrintable(command.name + u' ' + option));
                ++checked;
            }
        }
        QVERIFY(checked > 30);
    }

    void manPage_rendersWithoutWarnings()
    {
        Sandbox sandbox;
        const auto result =
            sandbox.run(u"groff"_s, {u"-man"_s, u"-ww"_s, u"-z"_s, u"-Tutf8"_s, kFiles + u"/moxley.1"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
    }

    void listings_matchTheHelp()
    {
        Sandbox sandbox;
        QStringList listed;
        for (const QString &line : lines(sandbox.runCli({u"--list-commands"_s}).out)) {
            const QStringList fields = line.split(u'\t');
            QCOMPARE(fields.size(), 3);
            listed << fields.at(0);
            QVERIFY2(QString::fromUtf8(sandbox.runCli({fields.at(0), u"--help"_s}).out)
                         .startsWith(u"Usage: moxley "_s + fields.at(1) + u"\n\n"_s + fields.at(2) + u'\n'),
                     qPrintable(line));
            QStringList options;
            for (const QString &option : lines(sandbox.runCli({u"--list-options"_s, fields.at(0)}).out)) {
                options << option.section(u'\t', 0, 0).split(u',');
            }
            QCOMPARE(options, helpOptions(sandbox, fields.at(0)));
        }
        QCOMPARE(listed, helpCommandNames(sandbox));
        const auto unknown = sandbox.runCli({u"--list-options"_s, u"frobnicate"_s});
        QCOMPARE(unknown.exitCode, 2);
    }

    void bash_completesCommandsThenEachCommandsOptions()
    {
        TaskWorld world;
        QCOMPARE(world.bash(u"moxley "_s), helpCommandNames(world.sandbox) << u"help"_s);
        QCOMPARE(world.bash(u"moxley ti"_s), QStringList{u"timeline"_s});
        QCOMPARE(world.bash(u"moxley --"_s), (QStringList{u"--help"_s, u"--version"_s}));
        for (const QString &command : helpCommandNames(world.sandbox)) {
            QCOMPARE(world.bash(u"moxley "_s + command + u" --"_s), helpOptions(world.sandbox, command) << u"--help"_s);
        }
        QCOMPARE(world.bash(u"moxley help ed"_s), QStringList{u"edit"_s});
        QCOMPARE(world.bash(u"moxley template "_s), (QStringList{u"shortcut"_s, u"gmail"_s}));
        // A value that is free text gets no candidates; the next word is an option again.
        QCOMPARE(world.bash(u"moxley logs x --lines "_s), QStringList());
        QCOMPARE(world.bash(u"moxley logs x --lines 5 --st"_s), QStringList{u"--stderr"_s});
    }

    void bash_completesTaskIdsAndNamesFromList()
    {
        TaskWorld world;
        const QStringList all{world.ids.at(0),       u"Nightly\\ build"_s, world.ids.at(1),
                              u"Poll\\ \\ it\\'s"_s, world.ids.at(2),      u"x"_s};
        QCOMPARE(world.bash(u"moxley show "_s), all);
        QCOMPARE(world.bash(u"moxley show Ni"_s), QStringList{u"Nightly\\ build"_s});
        QCOMPARE(world.bash(u"moxley show Nightly\\ b"_s), QStringList{u"Nightly\\ build"_s});
        QCOMPARE(world.bash(u"moxley edit Poll"_s), QStringList{u"Poll\\ \\ it\\'s"_s});
        QCOMPARE(world.bash(u"moxley delete x "_s + world.ids.at(0).left(5)), QStringList{world.ids.at(0)});
        // show takes one task; edit's next word is an option.
        QCOMPARE(world.bash(u"moxley show x "_s), QStringList());
    }

    void bash_completesPathsForFileValues()
    {
        TaskWorld world;
        const QString dir = world.sandbox.root() + u"/work"_s;
        Sandbox::writeFile(dir + u"/my tasks.json"_s, "[]");
        QVERIFY(QDir().mkpath(dir + u"/folder"_s));
        QCOMPARE(sorted(world.bash(u"moxley add --env-file "_s, dir)), (QStringList{u"folder"_s, u"my tasks.json"_s}));
        QCOMPARE(world.bash(u"moxley add --dir "_s, dir), QStringList{u"folder"_s});
        QCOMPARE(world.bash(u"moxley import m"_s, dir), QStringList{u"my tasks.json"_s});
    }

    void fish_completesCommandsOptionsAndTasks()
    {
        TaskWorld world;
        QCOMPARE(world.fish(u"moxley "_s), sorted(helpCommandNames(world.sandbox) << u"help"_s));
        QCOMPARE(world.fish(u"moxley edit x --no-w"_s), QStringList{u"--no-wake"_s});
        QCOMPARE(sorted(world.fish(u"moxley show "_s)),
                 sorted(world.ids + QStringList{u"Nightly build"_s, u"Poll  it's"_s, u"x"_s}));
        QCOMPARE(world.fish(u"moxley run Nig"_s), QStringList{u"Nightly build"_s});
        for (const QString &command : helpCommandNames(world.sandbox)) {
            QStringList options = world.fish(u"moxley "_s + command + u" --"_s);
            QCOMPARE(sorted(options), sorted(helpOptions(world.sandbox, command) << u"--help"_s));
        }
    }

    void zsh_parsesAndLoadsThroughCompinit()
    {
        TaskWorld world;
        const auto syntax = world.shell(u"zsh"_s, {u"-n"_s, kFiles + u"/_moxley"_s});
        QCOMPARE(syntax.err, QByteArray());
        QCOMPARE(syntax.exitCode, 0);
        const auto found = world.shell(u"zsh"_s, {u"-f"_s, u"-c"_s,
                                                  u"fpath=($1 $fpath); autoload -U compinit; compinit -u -D;"
                                                  u" print -r -- $_comps[moxley]"_s,
                                                  u"zsh"_s, kFiles});
        QCOMPARE(found.out, QByteArray("_moxley\n"));
    }

    // Tab, then Enter, in a real interactive zsh: the command line it ran is what Tab completed.
    void zsh_tabCompletesCommandsOptionsAndTaskNames()
    {
        TaskWorld world;
        const QString out = world.sandbox.root() + u"/completed"_s;
        const auto result = world.shell(
            u"zsh"_s, {u"-f"_s, QStringLiteral(MOXLEY_TEST_PACKAGING_DIR "/zsh_complete.zsh"), kFiles, out,
                       u"moxley tim"_s, u"moxley show Nig"_s, u"moxley edit Poll"_s, u"moxley edit x --no-w"_s});
        QVERIFY2(result.exitCode == 0, result.err.constData());
        QCOMPARE(QString::fromUtf8(Sandbox::readFile(out)).split(u"<end>\n"_s),
                 (QStringList{u"timeline\n"_s, u"show\nNightly build\n"_s, u"edit\nPoll  it's\n"_s,
                              u"edit\nx\n--no-wake\n"_s, QString()}));
    }
};

QTEST_GUILESS_MAIN(CliFilesTest)
#include "test_cli_files.moc"
