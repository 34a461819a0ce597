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
    // A script's process is named after the script, not its shell: the shells say who they are.
    lines << u"if [ -n \"$ZSH_VERSION\" ]; then _mx_shell=zsh; elif [ -n \"$BASH_VERSION\" ]; then _mx_shell=bash; "
             "else _mx_shell=$(ps -o comm= -p $$ 2>/dev/null); fi"_s;
    lines << u"printf 'shell\\t%s\\n' \"$_mx_shell\""_s;
    lines << u"printf 'cwd\\t%s\\n' \"$PWD\""_s;
    for (const QString &word : words) {
        const QString quoted = shellQuote(word);
        lines << u"printf 'word\\t%s\\t%s\\n' "_s % quoted % u" \"$(command -v -- "_s % quoted % u" 2>/dev/null)\""_s;
    }
    lines << u"echo "_s % kEnd;
    lines << u"} > "_s % partial % u" && mv "_s % partial % u" "_s % shellQuote(resultPath);
    return lines.join(u'\n') + u'\n';
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
