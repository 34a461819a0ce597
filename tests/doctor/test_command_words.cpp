#include "doctor/CommandWords.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class TestCommandWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void realCommandLines_giveTheProgramsTheyCall_data();
    void realCommandLines_giveTheProgramsTheyCall();
    void hereDocumentOperatorsInARow_noDelimiterNoOverflow();
    void manyCommands_eachOnceInOrder();
};

void TestCommandWords::realCommandLines_giveTheProgramsTheyCall_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("words");

    QTest::newRow("one program") << u"backup-photos --all"_s << QStringList{u"backup-photos"_s};
    QTest::newRow("pipe") << u"ps aux | grep node | wc -l"_s << QStringList{u"ps"_s, u"grep"_s, u"wc"_s};
    QTest::newRow("and, or, semicolon") << u"make build && rsync -a out/ host: || logger failed; notify-send done"_s
                                        << QStringList{u"make"_s, u"rsync"_s, u"logger"_s, u"notify-send"_s};
    QTest::newRow("background") << u"node server.js & sleep 2"_s << QStringList{u"node"_s, u"sleep"_s};
    QTest::newRow("subshell") << u"(cd /tmp && tar czf a.tgz x) | ssh host 'cat > a.tgz'"_s
                              << QStringList{u"tar"_s, u"ssh"_s};
    QTest::newRow("command substitution")
        << u"echo \"today: $(date +%F) $(git -C ~/repo rev-parse HEAD)\""_s << QStringList{u"date"_s, u"git"_s};
    QTest::newRow("backticks") << u"curl -d \"`hostname`\" https://x"_s << QStringList{u"curl"_s, u"hostname"_s};
    QTest::newRow("arithmetic is no command") << u"sleep $((60 * 5)); uptime"_s << QStringList{u"sleep"_s, u"uptime"_s};
    QTest::newRow("here-document body skipped")
        << u"cat <<EOF | mail -s hi me\nrm -rf /\nnotacommand here\nEOF\npython3 x.py"_s
        << QStringList{u"cat"_s, u"mail"_s, u"python3"_s};
    QTest::newRow("here-document with dash and quotes")
        << u"sqlite3 db <<-'SQL'\n\tselect 1;\n\tSQL\nduckdb"_s << QStringList{u"sqlite3"_s, u"duckdb"_s};
    QTest::newRow("here-string") << u"bc <<< '2+2'"_s << QStringList{u"bc"_s};
    QTest::newRow("assignments before a command") << u"LANG=C TZ=UTC sort -u list.txt"_s << QStringList{u"sort"_s};
    QTest::newRow("assignment alone") << u"X=1; Y=\"$(whoami)\""_s << QStringList{u"whoami"_s};
    QTest::newRow("functions it defines")
        << u"log() { printf '%s\\n' \"$*\" >> ~/x.log; }\nfunction sync_all { rclone sync a b; }\nlog start; sync_all"_s
        << QStringList{u"rclone"_s};
    QTest::newRow("quotes removed") << u"\"/Applications/My Tool.app/run\" --x 'a b'"_s
                                    << QStringList{u"/Applications/My Tool.app/run"_s};
    QTest::newRow("escaped space") << u"/opt/my\\ tool/bin/go-run now"_s << QStringList{u"/opt/my tool/bin/go-run"_s};
    QTest::newRow("script path") << u"./backup.sh && ~/bin/report"_s
                                 << QStringList{u"./backup.sh"_s, u"~/bin/report"_s};
    QTest::newRow("if then else")
        << u"if pgrep -x caffeinate; then osascript -e 'x'; elif test -f a; then true; else terminal-notifier -m no; fi"_s
        << QStringList{u"pgrep"_s, u"osascript"_s, u"terminal-notifier"_s};
    QTest::newRow("for loop") << u"for f in *.jpg; do convert \"$f\" \"${f%.jpg}.png\"; done"_s
                              << QStringList{u"convert"_s};
    QTest::newRow("while read") << u"find . -name '*.log' | while read -r f; do gzip \"$f\"; done"_s
                                << QStringList{u"find"_s, u"gzip"_s};
    QTest::newRow("case")
        << u"case \"$(uname)\" in Darwin) brew update ;; Linux|FreeBSD) apt-get update ;; *) exit 1 ;; esac"_s
        << QStringList{u"brew"_s, u"apt-get"_s, u"uname"_s};
    QTest::newRow("double brackets") << u"[[ -d /Volumes/Backup ]] && rsync -a ~ /Volumes/Backup"_s
                                     << QStringList{u"rsync"_s};
    QTest::newRow("builtins skipped")
        << u"cd ~/proj; export A=1; source .venv/bin/activate; [ -f x ] && echo hi; pytest -q"_s
        << QStringList{u"pytest"_s};
    QTest::newRow("redirections") << u"2>/dev/null >out.txt npm run build < in.txt"_s << QStringList{u"npm"_s};
    QTest::newRow("exec and command") << u"command -v node && exec caddy run"_s << QStringList{u"caddy"_s};
    QTest::newRow("variable as command cannot be known") << u"$EDITOR file; \"$HOME/bin/x\""_s << QStringList{};
    QTest::newRow("comment") << u"restic backup ~ # then git push"_s << QStringList{u"restic"_s};
    QTest::newRow("line continuation") << u"ffmpeg -i a.mov \\\n  -c copy b.mp4 && say done"_s
                                       << QStringList{u"ffmpeg"_s, u"say"_s};
    QTest::newRow("each word once") << u"git pull; git push"_s << QStringList{u"git"_s};
    QTest::newRow("negation and time") << u"! time pg_dump db > d.sql"_s << QStringList{u"pg_dump"_s};
}

void TestCommandWords::realCommandLines_giveTheProgramsTheyCall()
{
    QFETCH(QString, command);
    QFETCH(QStringList, words);
    QCOMPARE(CommandWords::of(command), words);
}

// Each "<<" once read the next token as its delimiter by calling itself: forty thousand of them in a
// row overflowed the stack. An operator is no delimiter.
void TestCommandWords::hereDocumentOperatorsInARow_noDelimiterNoOverflow()
{
    QCOMPARE(CommandWords::of(u"cat "_s + u"<< "_s.repeated(40000) + u"EOF"_s), QStringList{u"cat"_s});
    QCOMPARE(CommandWords::of(u"cat << <<EOF\nbody\nEOF\nls"_s), (QStringList{u"cat"_s, u"ls"_s}));
}

void TestCommandWords::manyCommands_eachOnceInOrder()
{
    QStringList expected;
    QString command;
    for (int i = 0; i < 20000; ++i) {
        expected << u"c"_s + QString::number(i);
        command += expected.last() + u" a b;"_s;
    }
    QCOMPARE(CommandWords::of(command + command), expected);
}

QTEST_GUILESS_MAIN(TestCommandWords)
#include "test_command_words.moc"
