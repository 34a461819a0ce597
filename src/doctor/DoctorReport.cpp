#include "doctor/DoctorReport.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

bool isPresent(const std::optional<QString> &text)
{
    return text && !text->isEmpty();
}

QString pathOf(const QString &word, const QString &folder, const QString &home)
{
    if (word.startsWith(u"~/"_s)) {
        return QDir::cleanPath(home + word.mid(1));
    }
    return QDir::cleanPath(QDir(folder).absoluteFilePath(word));
}

void checkFiles(const ScheduledTask &task, const DoctorReport::Facts &facts, QList<DoctorProblem> &out)
{
    if (!facts.wrapperShell.isEmpty() && !QFileInfo(facts.wrapperShell).isExecutable()) {
        out.append({u"shell-missing"_s, u"The shell " % facts.wrapperShell %
                                            u" that runs the task does not exist on this computer; turn off "
                                            "\"Use login shell\" or install it"});
    }
    if (task.isEnabled && !facts.jobLoaded) {
        out.append({u"job-not-loaded"_s,
                    u"The task's job is not loaded, so it will never run; disable and enable the task again"_s});
    }
    if (isPresent(task.workingDirectory) && !QFileInfo(*task.workingDirectory).isDir()) {
        out.append({u"missing-working-directory"_s,
                    u"The working folder " % *task.workingDirectory %
                        u" does not exist, so the command would run in another folder; create it or choose another"});
    }
    if (isPresent(task.envFilePath) && !QFileInfo(*task.envFilePath).isFile()) {
        out.append({u"missing-env-file"_s, u"The .env file " % *task.envFilePath %
                                               u" does not exist, so its variables are not set when scheduled; "
                                               "create it or remove it from the task"});
    }
}

// Where a path word is looked for: the folder the scheduled command starts in.
QString startFolder(const ScheduledTask &task, const DoctorReport::Facts &facts)
{
    if (facts.scheduled && !facts.scheduled->cwd.isEmpty()) {
        return facts.scheduled->cwd;
    }
    return isPresent(task.workingDirectory) ? *task.workingDirectory : facts.home;
}

void checkPathWord(const QString &word, const QString &folder, const QString &home, QList<DoctorProblem> &out)
{
    const QFileInfo file(pathOf(word, folder, home));
    if (!file.exists()) {
        out.append({u"script-missing"_s, u"`" % word % u"` does not exist (looked for " % file.filePath() %
                                             u"); check the path, or give the full path"});
    } else if (!file.isExecutable() || file.isDir()) {
        out.append({u"script-not-executable"_s, u"`" % word % u"` is not executable; run chmod +x " % file.filePath()});
    }
}

void checkWord(const QString &word, const DoctorReport::Facts &facts, QList<DoctorProblem> &out)
{
    const QString here = facts.interactive->resolved.value(word);
    const QString there = facts.scheduled->resolved.value(word);
    if (!here.isEmpty() && there.isEmpty()) {
        out.append({u"command-not-found"_s, u"`" % word % u"` is found in your terminal (" % here %
                                                u") but not when scheduled; add its folder to PATH in the "
                                                "task's .env file or use the full path"});
        return;
    }
    if (!here.startsWith(u'/') || !there.startsWith(u'/') || here == there) {
        return;
    }
    const QString folder = QFileInfo(here).path();
    const QStringList scheduledPath = facts.scheduled->path.split(u':');
    if (!scheduledPath.contains(folder)) {
        out.append({u"path-only-interactive"_s,
                    u"`" % word % u"` is " % here % u" in your terminal but " % there % u" when scheduled, because " %
                        folder % u" is only on your terminal's PATH; add it to PATH in the task's .env file"});
    } else {
        out.append({u"path-only-interactive"_s,
                    u"`" % word % u"` is " % here % u" in your terminal but " % there % u" when scheduled, because " %
                        folder % u" comes later on the scheduled PATH; put it first in PATH in the task's .env file"});
    }
}

} // namespace

QList<DoctorProblem> DoctorReport::problems(const ScheduledTask &task, const QStringList &words, const Facts &facts)
{
    QList<DoctorProblem> out;
    checkFiles(task, facts, out);
    for (const QString &word : words) {
        if (word.contains(u'/')) {
            checkPathWord(word, startFolder(task, facts), facts.home, out);
        } else if (facts.interactive && facts.scheduled) {
            checkWord(word, facts, out);
        }
    }
    return out;
}
