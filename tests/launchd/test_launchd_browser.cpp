#include "Sandbox.h"
#include "launchd/LaunchdBrowser.h"

#include <QtTest>

#include <plist/plist.h>

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

enum class Form { xml, binary };

// A job dictionary with a label and, optionally, one more string or boolean entry; written with
// libplist in the form asked for.
QByteArray jobBytes(const char *label, Form form, const char *key = nullptr, bool flag = true)
{
    plist_t root = plist_new_dict();
    plist_dict_set_item(root, "Label", plist_new_string(label));
    if (key) {
        plist_dict_set_item(root, key, plist_new_bool(flag ? 1 : 0));
    }
    char *bytes = nullptr;
    uint32_t length = 0;
    if (form == Form::xml) {
        plist_to_xml(root, &bytes, &length);
    } else {
        plist_to_bin(root, &bytes, &length);
    }
    QByteArray result(bytes, qsizetype(length));
    std::free(bytes);
    plist_free(root);
    return result;
}

QByteArray arrayRootBytes()
{
    plist_t root = plist_new_array();
    plist_t job = plist_new_dict();
    plist_dict_set_item(job, "Label", plist_new_string("in.an.array"));
    plist_array_append_item(root, job);
    char *bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &bytes, &length);
    QByteArray result(bytes, qsizetype(length));
    std::free(bytes);
    plist_free(root);
    return result;
}

QString globalAgents(const Sandbox &sandbox)
{
    return sandbox.sysroot() + u"/Library/LaunchAgents"_s;
}
QString globalDaemons(const Sandbox &sandbox)
{
    return sandbox.sysroot() + u"/Library/LaunchDaemons"_s;
}

QStringList labels(const QList<LaunchdJob> &jobs)
{
    QStringList result;
    for (const LaunchdJob &job : jobs) {
        result << job.label;
    }
    return result;
}

// A binary property list {Label: label, x: [[[...]]]} with `depth` arrays, written by hand: a
// writer that recurses could not make a deep one.
QByteArray nestedBinaryJob(const QByteArray &label, int depth)
{
    const auto bigEndian = [](quint64 value, int size) {
        QByteArray bytes(size, '\0');
        for (int i = size - 1; i >= 0; --i, value >>= 8) {
            bytes[i] = char(value & 0xFF);
        }
        return bytes;
    };
    QByteArray out("bplist00");
    QList<quint64> offsets;
    const auto object = [&](const QByteArray &bytes) {
        offsets.append(quint64(out.size()));
        out += bytes;
    };
    // 0: the dictionary; 1, 2: its keys; 3: the label; 4 and on: the arrays, each holding the next.
    object("\xD2" + bigEndian(1, 4) + bigEndian(2, 4) + bigEndian(3, 4) + bigEndian(4, 4));
    object("\x55Label");
    object("\x51x");
    object(char(0x50 + label.size()) + label);
    for (int i = 0; i < depth; ++i) {
        object(i + 1 < depth ? "\xA1" + bigEndian(quint64(5 + i), 4) : QByteArray("\xA0"));
    }
    const quint64 table = quint64(out.size());
    for (const quint64 offset : std::as_const(offsets)) {
        out += bigEndian(offset, 4);
    }
    out += QByteArray(6, '\0') + char(4) + char(4) + bigEndian(quint64(offsets.size()), 8) + bigEndian(0, 8) +
           bigEndian(table, 8);
    return out;
}

} // namespace

class LaunchdBrowserTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void folders_areTheThreeStandardOnesInOrder()
    {
        Sandbox sandbox;
        const LaunchdBrowser browser;
        QCOMPARE(browser.folders().size(), 3);
        QCOMPARE(browser.folders().at(0).path, sandbox.launchAgentsDir());
        QCOMPARE(browser.folders().at(0).source, LaunchdJob::Source::userAgents);
        QCOMPARE(browser.folders().at(1).path, globalAgents(sandbox));
        QCOMPARE(browser.folders().at(1).source, LaunchdJob::Source::globalAgents);
        QCOMPARE(browser.folders().at(2).path, globalDaemons(sandbox));
        QCOMPARE(browser.folders().at(2).source, LaunchdJob::Source::globalDaemons);
    }

    void scan_missingFoldersGiveNothing()
    {
        Sandbox sandbox;
        QVERIFY(LaunchdBrowser().scan().isEmpty());
        // One folder present, the others missing.
        Sandbox::writeFile(globalDaemons(sandbox) + u"/d.plist"_s, jobBytes("only.daemon", Form::xml));
        const QList<LaunchdJob> jobs = LaunchdBrowser().scan();
        QCOMPARE(labels(jobs), QStringList{u"only.daemon"_s});
        QCOMPARE(jobs.first().source, LaunchdJob::Source::globalDaemons);
    }

    void scan_readsAllThreeFoldersInBothForms()
    {
        Sandbox sandbox;
        const QString user = sandbox.launchAgentsDir() + u"/org.user.job.plist"_s;
        const QString agent = globalAgents(sandbox) + u"/org.global.agent.plist"_s;
        const QString daemon = globalDaemons(sandbox) + u"/org.global.daemon.plist"_s;
        Sandbox::writeFile(user, jobBytes("org.user.job", Form::xml, "RunAtLoad"));
        Sandbox::writeFile(agent, jobBytes("org.global.agent", Form::binary, "KeepAlive"));
        Sandbox::writeFile(daemon, jobBytes("org.global.daemon", Form::binary));
        const QList<LaunchdJob> jobs = LaunchdBrowser().scan();
        QCOMPARE(labels(jobs), (QStringList{u"org.global.agent"_s, u"org.global.daemon"_s, u"org.user.job"_s}));
        QCOMPARE(jobs.at(0).source, LaunchdJob::Source::globalAgents);
        QCOMPARE(jobs.at(0).id, agent);
        QCOMPARE(jobs.at(0).scheduleSummary(), u"Keep alive"_s);
        QCOMPARE(jobs.at(1).source, LaunchdJob::Source::globalDaemons);
        QCOMPARE(jobs.at(1).id, daemon);
        QCOMPARE(jobs.at(1).scheduleSummary(), u"Manual"_s);
        QCOMPARE(jobs.at(2).source, LaunchdJob::Source::userAgents);
        QCOMPARE(jobs.at(2).id, user);
        QCOMPARE(jobs.at(2).url, user);
        QCOMPARE(jobs.at(2).scheduleSummary(), u"Run at load"_s);
    }

    void scan_skipsWhatIsNotAJobFile()
    {
        Sandbox sandbox;
        const QString dir = sandbox.launchAgentsDir();
        Sandbox::writeFile(dir + u"/good.plist"_s, jobBytes("good", Form::xml));
        Sandbox::writeFile(dir + u"/x.PLIST"_s, jobBytes("upper.case.extension", Form::xml));
        Sandbox::writeFile(dir + u"/y.Plist"_s, jobBytes("mixed.case.extension", Form::binary));
        Sandbox::writeFile(dir + u"/z.plist.bak"_s, jobBytes("backup.copy", Form::xml));
        Sandbox::writeFile(dir + u"/plist"_s, jobBytes("no.extension", Form::xml));
        Sandbox::writeFile(dir + u"/z.xml"_s, jobBytes("other.extension", Form::xml));
        Sandbox::writeFile(dir + u"/x.plist"_s, arrayRootBytes());
        Sandbox::writeFile(dir + u"/garbage.plist"_s, "not a property list");
        Sandbox::writeFile(dir + u"/empty.plist"_s, {});
        Sandbox::writeFile(dir + u"/nolabel.plist"_s,
                           jobBytes("", Form::xml).replace("<key>Label</key>", "<key>Name</key>"));
        QVERIFY(QDir().mkpath(dir + u"/folder.plist"_s));
        Sandbox::writeFile(dir + u"/sub/nested.plist"_s, jobBytes("nested.not.read", Form::xml));
        Sandbox::writeFile(globalAgents(sandbox) + u"/.hidden.plist"_s, jobBytes("hidden.file", Form::binary));
        const QList<LaunchdJob> jobs = LaunchdBrowser().scan();
        QCOMPARE(labels(jobs), (QStringList{u"good"_s, u"hidden.file"_s}));
    }

    void scan_skipsUnreadableFile()
    {
        Sandbox sandbox;
        const QString dir = sandbox.launchAgentsDir();
        Sandbox::writeFile(dir + u"/open.plist"_s, jobBytes("open", Form::xml));
        // A link to nothing cannot be read, whoever runs the test.
        QVERIFY(QFile::link(sandbox.root() + u"/nowhere.plist"_s, dir + u"/dangling.plist"_s));
        if (::geteuid() != 0) {
            Sandbox::writeFile(dir + u"/locked.plist"_s, jobBytes("locked", Form::xml), 0000);
        }
        QCOMPARE(labels(LaunchdBrowser().scan()), QStringList{u"open"_s});
    }

    // What would block, never end or overflow the reader's stack is no job, and hides no other.
    void scan_skipsFifoDeviceLinkAndDeepNesting()
    {
        Sandbox sandbox;
        const QString dir = sandbox.launchAgentsDir();
        Sandbox::writeFile(dir + u"/open.plist"_s, jobBytes("open", Form::xml));
        QCOMPARE(::mkfifo(QFile::encodeName(dir + u"/pipe.plist"_s).constData(), 0644), 0);
        QVERIFY(QFile::link(u"/dev/zero"_s, dir + u"/zero.plist"_s));
        const int depth = 50000;
        Sandbox::writeFile(dir + u"/deep.plist"_s, "<plist><dict><key>Label</key><string>deep</string><key>x</key>" +
                                                       QByteArray("<array>").repeated(depth) +
                                                       QByteArray("</array>").repeated(depth) + "</dict></plist>");
        Sandbox::writeFile(dir + u"/deep-binary.plist"_s, nestedBinaryJob("deep.binary", depth));
        // Nesting a job could have reads as before, in both forms.
        Sandbox::writeFile(dir + u"/nested.plist"_s,
                           "<plist><dict><key>Label</key><string>nested</string><key>x</key>" +
                               QByteArray("<array>").repeated(50) + QByteArray("<array/>") +
                               QByteArray("</array>").repeated(50) + "</dict></plist>");
        Sandbox::writeFile(dir + u"/nested-binary.plist"_s, nestedBinaryJob("nested.binary", 50));
        QCOMPARE(labels(LaunchdBrowser().scan()), (QStringList{u"nested"_s, u"nested.binary"_s, u"open"_s}));
    }

    void scan_leavesOutOwnJobsCaseSensitively()
    {
        Sandbox sandbox;
        const QString dir = sandbox.launchAgentsDir();
        Sandbox::writeFile(dir + u"/1.plist"_s, jobBytes("com.moxley.task.backup", Form::xml));
        Sandbox::writeFile(dir + u"/2.plist"_s, jobBytes("Com.moxley.task.backup", Form::xml));
        Sandbox::writeFile(dir + u"/3.plist"_s, jobBytes("com.moxley.", Form::binary));
        Sandbox::writeFile(dir + u"/4.plist"_s, jobBytes("com.moxley", Form::binary));
        Sandbox::writeFile(dir + u"/5.plist"_s, jobBytes("com.moxleyx.other", Form::binary));
        Sandbox::writeFile(globalDaemons(sandbox) + u"/6.plist"_s, jobBytes("com.moxley.helper", Form::xml));
        const QList<LaunchdJob> jobs = LaunchdBrowser().scan();
        QCOMPARE(labels(jobs), (QStringList{u"com.moxley"_s, u"Com.moxley.task.backup"_s, u"com.moxleyx.other"_s}));
    }

    void scan_sortsCaseInsensitivelyKeepingScanOrder()
    {
        Sandbox sandbox;
        const QString dir = sandbox.launchAgentsDir();
        // Listed by file name: b, A, a.
        Sandbox::writeFile(dir + u"/1.plist"_s, jobBytes("b", Form::xml));
        Sandbox::writeFile(dir + u"/2.plist"_s, jobBytes("A", Form::binary));
        Sandbox::writeFile(dir + u"/3.plist"_s, jobBytes("a", Form::xml));
        const QList<LaunchdJob> jobs = LaunchdBrowser().scan();
        QCOMPARE(labels(jobs), (QStringList{u"A"_s, u"a"_s, u"b"_s}));
        QCOMPARE(jobs.at(0).id, dir + u"/2.plist"_s);
        QCOMPARE(jobs.at(1).id, dir + u"/3.plist"_s);
    }

    void scan_equalLabelsKeepFolderOrder()
    {
        Sandbox sandbox;
        // The daemon folder comes last in the scan, so its "A" stays after the user agent's "a".
        Sandbox::writeFile(globalDaemons(sandbox) + u"/1.plist"_s, jobBytes("A", Form::xml));
        Sandbox::writeFile(globalAgents(sandbox) + u"/1.plist"_s, jobBytes("B", Form::xml));
        Sandbox::writeFile(sandbox.launchAgentsDir() + u"/9.plist"_s, jobBytes("a", Form::xml));
        Sandbox::writeFile(sandbox.launchAgentsDir() + u"/8.plist"_s, jobBytes("c", Form::xml));
        const QList<LaunchdJob> jobs = LaunchdBrowser().scan();
        QCOMPARE(labels(jobs), (QStringList{u"a"_s, u"A"_s, u"B"_s, u"c"_s}));
        QCOMPARE(jobs.at(0).source, LaunchdJob::Source::userAgents);
        QCOMPARE(jobs.at(1).source, LaunchdJob::Source::globalDaemons);
        QCOMPARE(jobs.at(2).source, LaunchdJob::Source::globalAgents);
    }

    void scan_readsAfreshEachTime()
    {
        Sandbox sandbox;
        const LaunchdBrowser browser;
        QVERIFY(browser.scan().isEmpty());
        const QString path = sandbox.launchAgentsDir() + u"/later.plist"_s;
        Sandbox::writeFile(path, jobBytes("later", Form::xml));
        QCOMPARE(labels(browser.scan()), QStringList{u"later"_s});
        QVERIFY(QFile::remove(path));
        QVERIFY(browser.scan().isEmpty());
    }
};

QTEST_GUILESS_MAIN(LaunchdBrowserTest)
#include "test_launchd_browser.moc"
