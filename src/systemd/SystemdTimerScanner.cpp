#include "systemd/SystemdTimerScanner.h"

#include "platform/SystemFile.h"
#include "platform/SystemPaths.h"
#include "systemd/UnitFile.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMap>
#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QStringList kMonotonicKeys = {u"OnActiveSec"_s, u"OnBootSec"_s, u"OnStartupSec"_s, u"OnUnitActiveSec"_s,
                                    u"OnUnitInactiveSec"_s};

QString homeBased(const char *variable, const QString &fallback)
{
    const QString value = qEnvironmentVariable(variable);
    return value.isEmpty() ? QString(QDir::homePath() + fallback) : value;
}

// The same folder reached twice (on merged-/usr machines /lib is /usr/lib) is read once.
QStringList distinctFolders(const QStringList &folders)
{
    QStringList kept;
    QSet<QString> seen;
    for (const QString &folder : folders) {
        const QString canonical = QFileInfo(folder).canonicalFilePath();
        if (canonical.isEmpty() || seen.contains(canonical)) {
            continue;
        }
        seen.insert(canonical);
        kept.append(folder);
    }
    return kept;
}

QString firstExisting(const QStringList &folders, const QString &name)
{
    for (const QString &folder : folders) {
        const QString path = folder + u'/' + name;
        const QFileInfo info(path);
        if (info.exists() || info.isSymLink()) {
            return path;
        }
    }
    return {};
}

// "a@b.timer" -> "a@.timer"; other names stay as they are.
QString templateOf(const QString &name)
{
    const qsizetype at = name.indexOf(u'@');
    const qsizetype dot = name.lastIndexOf(u'.');
    if (at < 0 || dot < at + 2) {
        return name;
    }
    return name.left(at + 1) + name.mid(dot);
}

struct ReadUnit {
    UnitFile file;
    QString text;
    QStringList dropIns;
    QStringList problems;
    bool masked = false;
};

void appendFile(ReadUnit &unit, const QString &path)
{
    if (!unit.text.isEmpty()) {
        unit.text += u'\n';
    }
    unit.text += u"# "_s + path + u'\n';
    if (QFileInfo(path).symLinkTarget() == u"/dev/null") {
        unit.masked = true;
        unit.text += u"(masked: linked to /dev/null)\n"_s;
        return;
    }
    const std::optional<QByteArray> bytes = SystemFile::read(path);
    if (!bytes) {
        unit.problems.append(u"cannot read "_s + path);
        unit.text += u"(unreadable)\n"_s;
        return;
    }
    QString text = QString::fromUtf8(*bytes);
    unit.text += text;
    if (!text.endsWith(u'\n')) {
        unit.text += u'\n';
    }
    const UnitFile parsed = UnitFile::parse(*bytes);
    unit.file.entries.append(parsed.entries);
    for (const QString &problem : parsed.problems) {
        unit.problems.append(QFileInfo(path).fileName() + u": "_s + problem);
    }
}

// The unit file and its drop-ins (of the template first, then of the name itself; a .conf name in an
// earlier folder hides the same name in later ones), in the order systemd applies them.
ReadUnit readUnit(const QStringList &folders, const QString &name, const QString &path)
{
    ReadUnit unit;
    appendFile(unit, path);
    QStringList owners{name};
    if (templateOf(name) != name) {
        owners.prepend(templateOf(name));
    }
    for (const QString &owner : owners) {
        QMap<QString, QString> confs;
        for (const QString &folder : folders) {
            const QDir dir(folder + u'/' + owner + u".d"_s);
            const QStringList names = dir.entryList({u"*.conf"_s}, QDir::Files | QDir::System | QDir::Hidden);
            for (const QString &conf : names) {
                if (!confs.contains(conf)) {
                    confs.insert(conf, dir.filePath(conf));
                }
            }
        }
        for (const QString &conf : std::as_const(confs)) {
            unit.dropIns.append(conf);
            appendFile(unit, conf);
        }
    }
    return unit;
}

QStringList otherTriggers(const UnitFile &file)
{
    QStringList triggers;
    for (const UnitFile::Entry &entry : file.entries) {
        if (entry.section != u"Timer" || !kMonotonicKeys.contains(entry.key)) {
            continue;
        }
        if (entry.value.isEmpty()) {
            triggers.clear(); // an empty assignment resets every monotonic trigger
        } else {
            triggers.append(entry.key + u'=' + entry.value);
        }
    }
    return triggers;
}

void fillService(TimerUnit &timer, const QStringList &folders)
{
    const QString &name = timer.serviceName;
    QString path = firstExisting(folders, name);
    if (path.isEmpty() && templateOf(name) != name) {
        path = firstExisting(folders, templateOf(name));
    }
    if (path.isEmpty()) {
        timer.problems.append(u"no service "_s + name + u" found"_s);
        return;
    }
    const ReadUnit service = readUnit(folders, name, path);
    timer.servicePath = path;
    timer.serviceText = service.text;
    timer.execStart = service.file.values(u"Service"_s, u"ExecStart"_s);
    timer.problems.append(service.problems);
}

TimerUnit readTimer(const SystemdTimerScanner::Scope &scope, const QString &name, const QString &path)
{
    TimerUnit timer;
    timer.id = path;
    timer.name = name;
    timer.source = scope.source;
    timer.path = path;
    timer.isTemplate = name.contains(u"@.");
    const ReadUnit unit = readUnit(scope.folders, name, path);
    timer.dropIns = unit.dropIns;
    timer.timerText = unit.text;
    timer.masked = unit.masked;
    timer.problems = unit.problems;
    timer.description = unit.file.value(u"Unit"_s, u"Description"_s);
    timer.calendars = unit.file.values(u"Timer"_s, u"OnCalendar"_s);
    timer.otherTriggers = otherTriggers(unit.file);
    const QString target = unit.file.value(u"Timer"_s, u"Unit"_s);
    timer.serviceName = target.isEmpty() ? QString(name.chopped(6) + u".service"_s) : target;
    if (!timer.masked) {
        fillService(timer, scope.folders);
    }
    return timer;
}

struct Listing {
    QMap<QString, QString> timers; // name -> path, the first folder winning
    QSet<QString> linked;          // names found in *.wants and *.requires folders
};

Listing listScope(const QStringList &folders)
{
    Listing listing;
    for (const QString &folder : folders) {
        const QDir dir(folder);
        const QStringList names =
            dir.entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDir::NoSort);
        for (const QString &name : names) {
            if (name.endsWith(u".timer")) {
                if (!listing.timers.contains(name)) {
                    listing.timers.insert(name, dir.filePath(name));
                }
            } else if (name.endsWith(u".wants") || name.endsWith(u".requires")) {
                const QStringList links =
                    QDir(dir.filePath(name)).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
                for (const QString &link : links) {
                    listing.linked.insert(link);
                }
            }
        }
    }
    return listing;
}

void scanScope(const SystemdTimerScanner::Scope &given, QList<TimerUnit> &timers)
{
    const SystemdTimerScanner::Scope scope{given.source, distinctFolders(given.folders)};
    const Listing listing = listScope(scope.folders);
    for (auto it = listing.timers.cbegin(); it != listing.timers.cend(); ++it) {
        if (it.key().startsWith(u"com.moxley.task.")) {
            continue;
        }
        TimerUnit timer = readTimer(scope, it.key(), it.value());
        timer.enabled = listing.linked.contains(it.key()) && !timer.masked;
        timers.append(std::move(timer));
    }
    // Enabled instances of a template ("pg_dump@15-main.timer") run as jobs of their own.
    for (const QString &name : listing.linked) {
        const QString pattern = templateOf(name);
        if (!name.endsWith(u".timer") || pattern == name || listing.timers.contains(name) ||
            !listing.timers.contains(pattern) || name.startsWith(u"com.moxley.task.")) {
            continue;
        }
        TimerUnit instance = readTimer(scope, name, listing.timers.value(pattern));
        instance.id = instance.path + u'#' + name;
        instance.enabled = !instance.masked;
        timers.append(std::move(instance));
    }
}

} // namespace

SystemdTimerScanner::SystemdTimerScanner()
    : m_scopes{{TimerUnit::Source::userTimers,
                {homeBased("XDG_CONFIG_HOME", u"/.config"_s) + u"/systemd/user"_s,
                 homeBased("XDG_DATA_HOME", u"/.local/share"_s) + u"/systemd/user"_s,
                 SystemPaths::resolve(u"/etc/systemd/user"_s), SystemPaths::resolve(u"/usr/lib/systemd/user"_s)}},
               {TimerUnit::Source::systemTimers,
                {SystemPaths::resolve(u"/etc/systemd/system"_s), SystemPaths::resolve(u"/run/systemd/system"_s),
                 SystemPaths::resolve(u"/usr/lib/systemd/system"_s), SystemPaths::resolve(u"/lib/systemd/system"_s)}}}
{
}

QList<TimerUnit> SystemdTimerScanner::scan() const
{
    QList<TimerUnit> timers;
    for (const Scope &scope : m_scopes) {
        scanScope(scope, timers);
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(timers.begin(), timers.end(), [&collator](const TimerUnit &a, const TimerUnit &b) {
        return collator.compare(a.name, b.name) < 0;
    });
    return timers;
}
