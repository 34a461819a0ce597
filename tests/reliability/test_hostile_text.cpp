// Hostile text through every place where the system writes user text into another language:
// the wrapper script (run by a real bash), the job property list (read back by libplist), the
// tasks file (JSON), shell quoting (a real sh) and the AppleScript of the administrator shell.
// Every case comes from a generator with a fixed start value, so a failure repeats exactly.
#include "PlistTree.h"
#include "Sandbox.h"
#include "launchd/LaunchdService.h"
#include "model/TaskMigration.h"
#include "platform/AdminShell.h"
#include "platform/ShellQuote.h"
#include "store/RunHistory.h"

#include <QDir>
#include <QRandomGenerator>
#include <QStringDecoder>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 kStartValue = 20250301;

// Pieces that have broken quoting somewhere at some time, and plain ones between them.
const QStringList &hostilePieces()
{
    static const QStringList pieces{
        u"'"_s,      u"\""_s,      u"\\"_s,   u"$"_s,    u"`"_s,    u"\n"_s,   u"\t"_s,     u" "_s,      u"'\\''"_s,
        u"$(id)"_s,  u"${HOME}"_s, u"`id`"_s, u"$'x'"_s, u"\\n"_s,  u"\\\""_s, u"&"_s,      u"<"_s,      u">"_s,
        u"&amp;"_s,  u"]]>"_s,     u"<!--"_s, u";"_s,    u"|"_s,    u"*"_s,    u"?"_s,      u"~"_s,      u"!"_s,
        u"#"_s,      u"%s"_s,      u"-n"_s,   u"é"_s,    u"日本"_s, u"😀"_s,    u"\u00a0"_s, u"\u2028"_s, u"\u200f"_s,
        u"\uFEFF"_s, u"a"_s,       u"Z"_s,    u"0"_s,    u"name"_s, u"-"_s};
    return pieces;
}

QString hostileText(QRandomGenerator &random, int minPieces, int maxPieces)
{
    const QStringList &pieces = hostilePieces();
    QString text;
    const int count = int(random.bounded(minPieces, maxPieces + 1));
    for (int i = 0; i < count; ++i) {
        text += pieces.at(random.bounded(int(pieces.size())));
    }
    return text;
}

// A name that one folder can carry: no "/" and not "." or ".."; at most 255 bytes.
QString hostileFileName(QRandomGenerator &random)
{
    for (;;) {
        const QString name = hostileText(random, 1, 8);
        if (name != u"." && name != u".." && QFile::encodeName(name).size() <= 255) {
            return name;
        }
    }
}

QUuid randomId(QRandomGenerator &random)
{
    QUuid id(random.generate(), ushort(random.generate()), ushort(random.generate()), uchar(random.generate()),
             uchar(random.generate()), uchar(random.generate()), uchar(random.generate()), uchar(random.generate()),
             uchar(random.generate()), uchar(random.generate()), uchar(random.generate()));
    return id;
}

QList<TimeOfDay> randomTimes(QRandomGenerator &random)
{
    QList<TimeOfDay> times;
    const int count = int(random.bounded(0, 4));
    for (int i = 0; i < count; ++i) {
        times.append(TimeOfDay{int(random.bounded(24)), int(random.bounded(60))});
    }
    return times;
}

TaskSchedule randomSchedule(QRandomGenerator &random)
{
    switch (random.bounded(7)) {
    case 0:
        return TaskSchedule::interval(int(random.bounded(1, 100000)));
    case 1:
        return TaskSchedule::daily(randomTimes(random));
    case 2:
        return TaskSchedule::weekly({int(random.bounded(1, 8)), int(random.bounded(1, 8))}, randomTimes(random));
    case 3:
        return TaskSchedule::monthly(int(random.bounded(1, 32)), randomTimes(random));
    case 4:
        return TaskSchedule::monthlyLastDay(randomTimes(random));
    case 5:
        return TaskSchedule::monthlyNthWeekday(int(random.bounded(1, 5)), int(random.bounded(1, 8)),
                                               randomTimes(random));
    default:
        return TaskSchedule::runAtLoad();
    }
}

ScheduledTask randomTask(QRandomGenerator &random)
{
    ScheduledTask task;
    task.id = randomId(random);
    task.name = hostileText(random, 0, 12);
    task.command = hostileText(random, 0, 20);
    if (random.bounded(3) != 0) {
        task.workingDirectory = hostileText(random, 0, 10);
    }
    if (random.bounded(3) != 0) {
        task.envFilePath = hostileText(random, 0, 10);
    }
    task.useLoginShell = random.bounded(2) == 0;
    task.wakeBeforeRun = random.bounded(2) == 0;
    task.isEnabled = random.bounded(2) == 0;
    task.schedule = randomSchedule(random);
    const int logs = int(random.bounded(0, 3));
    for (int i = 0; i < logs; ++i) {
        // Whole and half seconds print and read back exactly.
        task.logs.append(TaskLog{randomId(random), double(random.bounded(0, 2000000000)) / 2, qint32(random.generate()),
                                 hostileText(random, 0, 6)});
    }
    return task;
}

// AppleScript string literal rules: a backslash escapes the next character ("\\" and "\"" stand for
// themselves; "\n", "\t", "\r" for a line feed, tab and return); an unescaped double quote ends the
// literal. Reads one literal from `source` at `at` (just after its opening quote) and moves `at` past
// its closing quote; nothing when the literal is broken.
std::optional<QString> readAppleScriptString(const QString &source, qsizetype &at)
{
    QString text;
    while (at < source.size()) {
        const QChar c = source.at(at++);
        if (c == u'"') {
            return text;
        }
        if (c != u'\\') {
            text += c;
            continue;
        }
        if (at == source.size()) {
            return std::nullopt;
        }
        const QChar next = source.at(at++);
        if (next == u'\\' || next == u'"') {
            text += next;
        } else if (next == u'n') {
            text += u'\n';
        } else if (next == u't') {
            text += u'\t';
        } else if (next == u'r') {
            text += u'\r';
        } else {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

QString codes(const QString &text)
{
    QStringList list;
    for (QChar c : text) {
        list << QString::number(c.unicode(), 16);
    }
    return list.join(u' ');
}

// Where two task lists first differ, for the failure message.
QString firstDifference(const QList<ScheduledTask> &a, const QList<ScheduledTask> &b)
{
    if (a.size() != b.size()) {
        return u"sizes "_s % QString::number(a.size()) % u" and "_s % QString::number(b.size());
    }
    for (qsizetype i = 0; i < a.size(); ++i) {
        const ScheduledTask &x = a.at(i);
        const ScheduledTask &y = b.at(i);
        const QString at = u"task "_s % QString::number(i) % u": "_s;
        if (x.id != y.id) {
            return at % u"id"_s;
        }
        if (x.name != y.name) {
            return at % u"name "_s % codes(x.name) % u" | "_s % codes(y.name);
        }
        if (x.command != y.command) {
            return at % u"command "_s % codes(x.command) % u" | "_s % codes(y.command);
        }
        if (x.workingDirectory != y.workingDirectory || x.envFilePath != y.envFilePath) {
            return at % u"folder or environment file"_s;
        }
        if (x.schedule != y.schedule) {
            return at % u"schedule"_s;
        }
        if (x.logs != y.logs) {
            return at % u"logs"_s;
        }
        if (!(x == y)) {
            return at % u"flags"_s;
        }
    }
    return {};
}

} // namespace

class HostileTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A few hundred real bash runs: the wrapper script enters exactly the folder and sources exactly
    // the environment file, whatever their names hold; the command's own text runs unchanged.
    void wrapperScript_runsInThatFolderWithThatEnvironmentFile()
    {
        Sandbox sandbox;
        QRandomGenerator random(kStartValue);
        const LaunchdService service(sandbox.launchAgentsDir(), sandbox.scriptsDir(), sandbox.logDir());
        const QString root = sandbox.root() + u"/work";
        for (int i = 0; i < 250; ++i) {
            const QString caseDir = root + u'/' + QString::number(i);
            const QString folder = caseDir + u'/' + hostileFileName(random);
            const QString envFile = caseDir + u'/' + hostileFileName(random) + u'/' + hostileFileName(random);
            QVERIFY(QDir().mkpath(folder));
            QVERIFY(QDir().mkpath(QFileInfo(envFile).absolutePath()));
            const QString mark = hostileText(random, 1, 12);
            Sandbox::writeFile(envFile, QString(u"MARK="_s % shellQuote(mark) % u'\n').toUtf8());

            ScheduledTask task;
            task.id = randomId(random);
            task.name = hostileText(random, 1, 5);
            task.command = u"pwd; printf '%s' \"$MARK\""_s;
            task.workingDirectory = folder;
            task.envFilePath = envFile;
            task.useLoginShell = false;
            task.schedule = random.bounded(2) == 0 ? TaskSchedule::daily({TimeOfDay{7, 0}})
                                                   : TaskSchedule::interval(int(random.bounded(1, 60)));
            const std::optional<QString> failure = service.writeScript(task);
            QVERIFY2(!failure, qPrintable(failure.value_or(QString())));

            const Sandbox::Result result = sandbox.run(service.scriptPath(task), {});
            const QString expected = folder + u'\n' + mark;
            QVERIFY2(result.exitCode == 0, result.err.constData());
            QVERIFY2(result.err.isEmpty(), result.err.constData());
            QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
            const QString out = decoder.decode(result.out);
            if (out != expected) {
                QFAIL(qPrintable(u"case "_s % QString::number(i) % u": got «"_s % out % u"» expected «"_s % expected %
                                 u'»'));
            }
            // The runs line lands in the history too.
            QCOMPARE(RunHistory::readRuns(service.runsPath(task)).size(), 1);
        }
    }

    // The script path (the one text the property list escapes) reads back whole through libplist.
    void propertyList_readsBackToTheSameScriptPath()
    {
        QRandomGenerator random(kStartValue + 1);
        for (int i = 0; i < 3000; ++i) {
            const QString scriptsDir = u"/Users/"_s % hostileFileName(random) % u'/' % hostileFileName(random);
            const LaunchdService service(u"/L"_s, scriptsDir, u"/Logs"_s);
            ScheduledTask task = randomTask(random);
            const QString xml = service.plistText(task);
            const std::optional<QVariant> tree = PlistTree::fromXml(xml.toUtf8());
            QVERIFY2(tree, qPrintable(u"case "_s % QString::number(i) % u":\n"_s % xml));
            const QVariantMap dict = tree->toMap();
            QCOMPARE(dict.value(u"ProgramArguments"_s).toList(), QVariantList{service.scriptPath(task)});
            QCOMPARE(dict.value(u"Label"_s).toString(), LaunchdService::jobLabel(task));
        }
    }

    // encode, read, encode: the same bytes, and the same tasks in between.
    void tasksFile_roundTripsByteForByte()
    {
        QRandomGenerator random(kStartValue + 2);
        for (int i = 0; i < 3000; ++i) {
            QList<ScheduledTask> tasks;
            const int count = int(random.bounded(0, 4));
            for (int t = 0; t < count; ++t) {
                tasks.append(randomTask(random));
            }
            const QByteArray first = TaskMigration::encode(tasks);
            const TaskMigration::ReadResult read = TaskMigration::read(first);
            QVERIFY2(read.ok(), qPrintable(read.error ? read.error->description : QString()));
            QVERIFY2(read.tasks == tasks, qPrintable(firstDifference(tasks, read.tasks)));
            QCOMPARE(TaskMigration::encode(read.tasks), first);
        }
    }

    // Control characters, noncharacters and every plane survive too.
    void tasksFile_controlCharactersRoundTrip()
    {
        ScheduledTask task;
        task.id = QUuid::fromString(u"0A1B2C3D-0000-4000-8000-000000000001"_s);
        for (char16_t c = 0; c < 0x20; ++c) {
            task.name += QChar(c);
        }
        task.command = u"\u007f\u0085\u2029\uFFFE\uFFFF\U0010FFFF"_s;
        const QByteArray first = TaskMigration::encode({task});
        const TaskMigration::ReadResult read = TaskMigration::read(first);
        QVERIFY(read.ok());
        QCOMPARE(read.tasks, QList<ScheduledTask>{task});
        QCOMPARE(TaskMigration::encode(read.tasks), first);
    }

    // Found by the round trip above: Qt's JSON reader dropped a U+FEFF that begins a string, so a
    // name made of it read back empty. The writer now escapes it, and the reader keeps it as other
    // writers put it, raw; a byte-order mark at the start of the file is still no text.
    void tasksFile_byteOrderMarkBeginningATextIsKept()
    {
        ScheduledTask task;
        task.id = QUuid::fromString(u"0A1B2C3D-0000-4000-8000-000000000001"_s);
        task.name = QString(QChar(0xFEFF));
        task.command = QChar(0xFEFF) + u"echo"_s;
        task.workingDirectory = u"/tmp/"_s + QChar(0xFEFF);
        const QByteArray bytes = TaskMigration::encode({task});
        QVERIFY(bytes.contains(R"("name" : "\ufeff")"));
        QVERIFY(!bytes.contains("\xEF\xBB\xBF"));
        const TaskMigration::ReadResult read = TaskMigration::read(bytes);
        QVERIFY(read.ok());
        QCOMPARE(read.tasks, QList<ScheduledTask>{task});

        QByteArray raw = bytes;
        raw.replace(R"(\ufeff)", "\xEF\xBB\xBF");
        QCOMPARE(raw.count("\xEF\xBB\xBF"), 3);
        QCOMPARE(TaskMigration::read(raw).tasks, QList<ScheduledTask>{task});
        QCOMPARE(TaskMigration::read("\xEF\xBB\xBF" + raw).tasks, QList<ScheduledTask>{task});
    }

    // shellQuote's text, given to a real sh as one word, is the text again: a few thousand cases,
    // a hundred words per sh, and the first two hundred alone as `printf %s QUOTED`.
    void shellQuote_roundTripsThroughSh()
    {
        QRandomGenerator random(kStartValue + 3);
        QStringList texts;
        for (int i = 0; i < 3000; ++i) {
            texts << hostileText(random, 0, 16);
        }
        for (const QString &shell : {u"/bin/sh"_s, u"/bin/bash"_s}) {
            for (qsizetype start = 0; start < texts.size(); start += 100) {
                const QStringList batch = texts.mid(start, 100);
                QString script = u"printf '%s\\001'"_s;
                for (const QString &text : batch) {
                    script += u' ' + shellQuote(text);
                }
                QProcess sh;
                sh.start(shell, {u"-c"_s, script});
                QVERIFY(sh.waitForFinished(60000));
                QCOMPARE(sh.exitCode(), 0);
                // Decoded keeping a leading U+FEFF, which QString::fromUtf8 would drop.
                QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
                QStringList words = QString(decoder.decode(sh.readAllStandardOutput())).split(QChar(1));
                QCOMPARE(words.takeLast(), QString());
                QCOMPARE(words, batch);
            }
        }
        for (qsizetype i = 0; i < 200; ++i) {
            QProcess sh;
            sh.start(u"/bin/sh"_s, {u"-c"_s, u"printf %s "_s + shellQuote(texts.at(i))});
            QVERIFY(sh.waitForFinished(60000));
            QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
            QCOMPARE(QString(decoder.decode(sh.readAllStandardOutput())), texts.at(i));
        }
    }

    // The administrator shell's AppleScript: its string literal, read by AppleScript's rules, is
    // exactly the shell command, and nothing follows it but " with administrator privileges".
    void appleScriptEscaping_unescapesToTheSameText()
    {
        QRandomGenerator random(kStartValue + 4);
        const QString prefix = u"do shell script \""_s;
        const QString suffix = u" with administrator privileges"_s;
        for (int i = 0; i < 5000; ++i) {
            const QString command = hostileText(random, 0, 16);
            const QString escaped = AdminShell::escapeForAppleScript(command);
            qsizetype at = 0;
            const std::optional<QString> alone = readAppleScriptString(escaped + u'"', at);
            QCOMPARE(alone, std::optional<QString>(command));
            QCOMPARE(at, escaped.size() + 1);

            const QString source = AdminShell::appleScriptSource(command);
            QVERIFY(source.startsWith(prefix));
            at = prefix.size();
            const std::optional<QString> literal = readAppleScriptString(source, at);
            QCOMPARE(literal, std::optional<QString>(command));
            QCOMPARE(source.mid(at), suffix);
        }
    }
};

QTEST_GUILESS_MAIN(HostileTextTest)
#include "test_hostile_text.moc"
