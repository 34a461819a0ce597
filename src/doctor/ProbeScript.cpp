#include "doctor/ProbeScript.h"

#include "platform/ShellQuote.h"

using namespace Qt::StringLiterals;

namespace {
const QString kEnd = u"end"_s;
}

QString ProbeScript::probeLines(const QStringList &words, const QString &resultPath)
{
    const QString partial = shellQuote(resultPath + u".part"_s);
    QStringList lines;
    lines << u"{"_s;
    lines << u"printf 'path\\t%s\\n' \"$PATH\""_s;
    // $0 of a script is its path: the running shell is the one the kernel started for it.
    lines << u"printf 'shell\\t%s\\n' \"$(ps -o comm= -p $$ 2>/dev/null || echo \"$0\")\""_s;
    lines << u"printf 'cwd\\t%s\\n' \"$PWD\""_s;
    for (const QString &word : words) {
        const QString quoted = shellQuote(word);
        lines << u"printf 'word\\t%s\\t%s\\n' "_s % quoted % u" \"$(command -v -- "_s % quoted % u" 2>/dev/null)\""_s;
    }
    lines << u"echo "_s % kEnd;
    lines << u"} > "_s % partial % u" && mv "_s % partial % u" "_s % shellQuote(resultPath);
    return lines.join(u'\n') + u'\n';
}

QString ProbeScript::fromWrapper(const QString &wrapperText, const QStringList &words, const QString &resultPath)
{
    QStringList kept;
    for (const QString &line : wrapperText.split(u'\n')) {
        if (line.startsWith(u"_mx_start="_s)) {
            break;
        }
        kept << line;
    }
    return kept.join(u'\n') + u'\n' + probeLines(words, resultPath);
}

std::optional<ProbeScript::Answer> ProbeScript::parse(const QString &text)
{
    Answer answer;
    bool complete = false;
    for (const QString &line : text.split(u'\n')) {
        const QStringList fields = line.split(u'\t');
        const QString &key = fields.first();
        if (key == u"path"_s && fields.size() == 2) {
            answer.path = fields[1];
        } else if (key == u"shell"_s && fields.size() == 2) {
            answer.shell = fields[1].trimmed();
        } else if (key == u"cwd"_s && fields.size() == 2) {
            answer.cwd = fields[1];
        } else if (key == u"word"_s && fields.size() == 3) {
            answer.resolved.insert(fields[1], fields[2]);
        } else if (key == kEnd) {
            complete = true;
        }
    }
    if (!complete) {
        return std::nullopt;
    }
    return answer;
}
