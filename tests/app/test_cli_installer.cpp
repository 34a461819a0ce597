#include "AppWorld.h"

#include "app/CliInstaller.h"

using namespace Qt::StringLiterals;

namespace {

// An osascript that does what the real one does with our one kind of script (see the script).
void installExecutingOsascript(const Sandbox &sandbox)
{
    const QByteArray script = Sandbox::readFile(QStringLiteral(MOXLEY_TEST_APP_DIR "/osascript-that-runs.sh"));
    QVERIFY(!script.isEmpty());
    Sandbox::writeFile(sandbox.sysroot() + u"/usr/bin/osascript"_s, script, 0755);
}

} // namespace

class CliInstallerTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<AppWorld> world;

    QString binDir() const { return world->sandbox.sysroot() + u"/usr/local/bin"_s; }
    QString link() const { return binDir() + u"/moxley"_s; }
    QString osascriptFile(const QString &name) const
    {
        return world->sandbox.sysroot() % u"/usr/bin/osascript." % name;
    }
    QString recordedSource() const { return QString::fromUtf8(Sandbox::readFile(osascriptFile(u"source"_s))); }
    bool osascriptRan() const { return QFileInfo::exists(osascriptFile(u"calls"_s)); }

    // The app, with its moxley tool at `toolPath` (made when `make` is set).
    MainWindow *openWith(const QString &toolPath, bool make = true)
    {
        if (make) {
            Sandbox::writeFile(toolPath, "#!/bin/sh\necho moxley\n", 0755);
        }
        MoxleyApp::Options options = world->options();
        options.cliToolPath = toolPath;
        world->start(std::move(options));
        return world->open();
    }
    void install(MainWindow *window)
    {
        MessageBox::setNextAnswer(u"OK"_s);
        menuItem(window, u"Install CLI Command..."_s)->trigger();
    }

private Q_SLOTS:
    void init()
    {
        world = std::make_unique<AppWorld>();
        installExecutingOsascript(world->sandbox);
        QDir().mkpath(binDir());
    }
    void cleanup() { world.reset(); }

    void paths_toolBesideTheApp_linkUnderTheSysroot()
    {
        QCOMPARE(CliInstaller::bundledToolPath(), QCoreApplication::applicationDirPath() + u"/moxley"_s);
        QCOMPARE(CliInstaller::linkPath(), link());
        QCOMPARE(
            CliInstaller::linkCommand(u"/Applications/Moxley.app/Contents/MacOS/moxley"_s, u"/usr/local/bin/moxley"_s),
            u"ln -sf '/Applications/Moxley.app/Contents/MacOS/moxley' '/usr/local/bin/moxley'"_s);
        QCOMPARE(CliInstaller::linkCommand(u"/A/It's/moxley"_s, u"/l"_s), u"ln -sf '/A/It'\\''s/moxley' '/l'"_s);
    }

    void install_quotesAndEscapesInTheRequiredOrder_andMakesTheLink()
    {
        // A single quote, double quotes and a backslash in the app's folder.
        const QString folder = world->sandbox.root() + u"/It's \"odd\" \\ here"_s;
        const QString tool = folder + u"/moxley"_s;
        MainWindow *window = openWith(tool);
        install(window);

        // Shell quoting first ('\''), then for AppleScript: each backslash doubled, and only then
        // each double quote preceded by a backslash.
        const QString expected = u"do shell script \"ln -sf '"_s + world->sandbox.root() +
                                 u"/It'\\\\''s \\\"odd\\\" \\\\ here/moxley' '"_s + link() +
                                 u"'\" with administrator privileges"_s;
        QCOMPARE(recordedSource(), expected);
        const QStringList calls = QString::fromUtf8(Sandbox::readFile(osascriptFile(u"calls"_s))).split(u'\n');
        QCOMPARE(calls.value(0), u"-e"_s);

        const QFileInfo made(link());
        QVERIFY(made.isSymLink());
        QCOMPARE(made.symLinkTarget(), tool);
        QCOMPARE(world->sandbox.run(link(), {}).out, QByteArray("moxley\n"));

        QCOMPARE(alertTitles(), QStringList{u"CLI Installed"_s});
        const MessageBox::Shown shown = MessageBox::history().last();
        QCOMPARE(shown.style, MessageBox::Style::information);
        QCOMPARE(shown.text, u"You can now use 'moxley' in your terminal.\n\nTry: moxley --help"_s);
        QCOMPARE(shown.buttons, QStringList{u"OK"_s});
    }

    void install_overAnExistingFile_replacesItWithoutAsking()
    {
        Sandbox::writeFile(link(), "old\n", 0755);
        const QString tool = world->sandbox.root() + u"/app/moxley"_s;
        MainWindow *window = openWith(tool);
        install(window);
        QCOMPARE(QFileInfo(link()).symLinkTarget(), tool);
        install(window);
        QCOMPARE(QFileInfo(link()).symLinkTarget(), tool);
        QCOMPARE(alertTitles(), (QStringList{u"CLI Installed"_s, u"CLI Installed"_s}));
    }

    void missingTool_saysSo_andAsksForNoPassword()
    {
        MainWindow *window = openWith(world->sandbox.root() + u"/nowhere/moxley"_s, false);
        install(window);
        QCOMPARE(alertTitles(), QStringList{u"CLI Binary Not Found"_s});
        QCOMPARE(MessageBox::history().last().style, MessageBox::Style::warning);
        QCOMPARE(MessageBox::history().last().text, u"The CLI tool was not found in the app bundle."_s);
        QCOMPARE(MessageBox::history().last().buttons, QStringList{u"OK"_s});
        QVERIFY(!osascriptRan());
        QVERIFY(!QFileInfo(link()).exists());
    }

    void cancelledPasswordPrompt_showsTheSystemsMessage()
    {
        Sandbox::writeFile(osascriptFile(u"fail"_s), "0:150: execution error: User canceled. (-128)\n");
        MainWindow *window = openWith(world->sandbox.root() + u"/app/moxley"_s);
        install(window);
        QCOMPARE(alertTitles(), QStringList{u"Installation Failed"_s});
        QCOMPARE(MessageBox::history().last().style, MessageBox::Style::warning);
        QCOMPARE(MessageBox::history().last().text, u"User canceled."_s);
        QVERIFY(!QFileInfo(link()).isSymLink());
    }

    void failingCommand_reportsWhatTheShellSaid()
    {
        // No folder to put the link in: ln fails, and its message comes back.
        QDir(binDir()).removeRecursively();
        MainWindow *window = openWith(world->sandbox.root() + u"/app/moxley"_s);
        install(window);
        QCOMPARE(alertTitles(), QStringList{u"Installation Failed"_s});
        const QString text = MessageBox::history().last().text;
        QVERIFY2(text.startsWith(u"ln: "_s) && text.contains(u"No such file or directory"_s), qPrintable(text));
    }

    void failureWithoutAMessage_isAnUnknownError()
    {
        Sandbox::writeFile(osascriptFile(u"fail"_s), "");
        MainWindow *window = openWith(world->sandbox.root() + u"/app/moxley"_s);
        install(window);
        QCOMPARE(alertTitles(), QStringList{u"Installation Failed"_s});
        QCOMPARE(MessageBox::history().last().text, u"Unknown error"_s);
    }

    void scriptThatCannotBeMade_stopsWithoutAWord()
    {
        // osascript that cannot even be started: the script was never made.
        QFile::setPermissions(world->sandbox.sysroot() + u"/usr/bin/osascript"_s, QFile::ReadOwner | QFile::WriteOwner);
        MainWindow *window = openWith(world->sandbox.root() + u"/app/moxley"_s);
        menuItem(window, u"Install CLI Command..."_s)->trigger();
        QVERIFY(MessageBox::history().isEmpty());
        QVERIFY(!QFileInfo(link()).isSymLink());
    }
};

QTEST_MAIN(CliInstallerTest)
#include "test_cli_installer.moc"
