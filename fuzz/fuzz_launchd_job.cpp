// Any bytes given to the job reader either make a job or nothing. A job's summary and command
// line can always be made; its raw dictionary, written as XML when it has an XML form, reads
// back as the same job; the file reader agrees with the in-memory one.
#include "FuzzFile.h"
#include "launchd/LaunchdBrowser.h"
#include "launchd/LaunchdJob.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

bool sameFields(const LaunchdJob &a, const LaunchdJob &b)
{
    return a.label == b.label && a.programArguments == b.programArguments && a.program == b.program &&
           a.startInterval == b.startInterval && a.startCalendarInterval == b.startCalendarInterval &&
           a.standardOutPath == b.standardOutPath && a.standardErrorPath == b.standardErrorPath &&
           a.disabled == b.disabled && a.runAtLoad == b.runAtLoad && a.keepAlive == b.keepAlive;
}

// XML has no UID type: the raw view writes a UID as the dictionary {"CF$UID": n}, as the system's
// writer does, and that reads back as a dictionary. On a key with a typed field the job read back
// then differs by design.
bool uidOnTypedKey(const LaunchdJob &job)
{
    static const QStringList typedKeys{
        u"Label"_s,           u"ProgramArguments"_s,  u"Program"_s,  u"StartInterval"_s, u"StartCalendarInterval"_s,
        u"StandardOutPath"_s, u"StandardErrorPath"_s, u"Disabled"_s, u"RunAtLoad"_s,     u"KeepAlive"_s};
    for (const QString &key : typedKeys) {
        const QVariant value = job.raw.value(key);
        if (value.typeId() == QMetaType::QVariantMap && value.toMap().keys() == QStringList{u"CF$UID"_s}) {
            return true;
        }
    }
    return false;
}

QString describe(const std::optional<LaunchdJob> &job)
{
    if (!job) {
        return QStringLiteral("(no job)");
    }
    QString text = u"label " % job->label.toHtmlEscaped() % u" args " %
                   (job->programArguments ? job->programArguments->join(u'|') : u"-"_s) % u" program " %
                   job->program.value_or(u"-"_s) % u" interval " %
                   (job->startInterval ? QString::number(*job->startInterval) : u"-"_s) % u" out " %
                   job->standardOutPath.value_or(u"-"_s) % u" err " % job->standardErrorPath.value_or(u"-"_s);
    text += u" program utf16:"_s;
    for (QChar c : job->program.value_or(QString())) {
        text += u' ' % QString::number(c.unicode(), 16);
    }
    if (job->startCalendarInterval) {
        for (auto it = job->startCalendarInterval->cbegin(); it != job->startCalendarInterval->cend(); ++it) {
            text += u" cal " % it.key() % u'=' % QString::number(it.value());
        }
    }
    return text % u" flags " % QString::number(job->disabled) % QString::number(job->runAtLoad) %
           QString::number(job->keepAlive);
}

[[noreturn]] void fail(const char *why, const QString &detail = {})
{
    std::fprintf(stderr, "fuzz_launchd_job: %s\n%s\n", why, detail.toUtf8().constData());
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString path = FuzzFile::write(bytes, QStringLiteral("fuzz.plist"));
    const std::optional<LaunchdJob> job = LaunchdJob::fromData(bytes, path, LaunchdJob::Source::globalAgents);
    const std::optional<LaunchdJob> fromFile = LaunchdJob::fromFile(path, LaunchdJob::Source::globalAgents);
    if (job.has_value() != fromFile.has_value()) {
        std::abort();
    }
    if (!job) {
        return 0;
    }
    if (!sameFields(*job, *fromFile) || job->id != path || job->url != path ||
        job->raw.value(QStringLiteral("Label")).toString() != job->label) {
        std::abort();
    }
    const QString command = job->programArguments ? job->programArguments->join(u' ')
                            : job->program        ? *job->program
                                                  : QStringLiteral("(unknown)");
    if (job->scheduleSummary().isEmpty() || job->commandLine() != command) {
        std::abort();
    }
    const std::optional<QString> xml = LaunchdBrowser::rawXml(job->raw);
    if (xml && !uidOnTypedKey(*job)) {
        const std::optional<LaunchdJob> again =
            LaunchdJob::fromData(xml->toUtf8(), path, LaunchdJob::Source::globalAgents);
        if (!again || !sameFields(*job, *again)) {
            fail("the raw XML does not read back as the same job",
                 *xml % u'\n' % describe(job) % u'\n' % describe(again));
        }
    }
    return 0;
}
