#include "StandInTool.h"

#include "Sandbox.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

QString shellQuote(const QString &text)
{
    QString quoted = text;
    quoted.replace(u'\'', u"'\\''"_s);
    return u'\'' % quoted % u'\'';
}

QList<QStringList> readLog(const QString &path)
{
    QList<QStringList> calls;
    const QByteArray log = Sandbox::readFile(path);
    for (const QByteArray &line : log.split('\n')) {
        if (line.isEmpty()) {
            continue;
        }
        QStringList arguments;
        for (const QByteArray &field : line.split(' ')) {
            if (field.startsWith('=')) {
                arguments << QString::fromUtf8(QByteArray::fromBase64(field.mid(1)));
            }
        }
        calls << arguments;
    }
    return calls;
}

} // namespace

StandInTool::StandInTool(const Sandbox &sandbox, const QString &systemPath)
    : m_path(sandbox.sysroot() + systemPath), m_name(QFileInfo(systemPath).fileName()),
      m_stateDir(sandbox.root() + u"/standins/"_s + m_name), m_sharedLog(sandbox.root() + u"/standins/all.log"_s)
{
    QDir().mkpath(m_stateDir);
    // Each argument is stored base64-encoded behind "=", so blanks, line breaks and empty
    // arguments survive the log.
    const QString script = uR"SH(#!/bin/bash
state=%1
shared=%2
record=""
for a in "$@"; do record+="=$(printf '%s' "$a" | base64 | tr -d '\n') "; done
printf '%s\n' "$record" >> "$state/calls.log"
printf '=%s %s\n' "$(printf '%s' %3 | base64 | tr -d '\n')" "$record" >> "$shared"
key=$(printf '%s' "${1-}" | od -An -tx1 | tr -d ' \n')
[ -f "$state/delay" ] && sleep "$(cat "$state/delay")"
if [ -f "$state/output.$key" ]; then cat "$state/output.$key"; elif [ -f "$state/output." ]; then cat "$state/output."; fi
if [ -f "$state/argument-status" ]; then
  while read -r st enc; do case " $record" in *" =$enc "*) exit "$st";; esac; done < "$state/argument-status"
fi
if [ -f "$state/status.$key" ]; then exit "$(cat "$state/status.$key")"; fi
if [ -f "$state/status." ]; then exit "$(cat "$state/status.")"; fi
exit 0
)SH"_s.arg(shellQuote(m_stateDir), shellQuote(m_sharedLog), shellQuote(m_name));
    Sandbox::writeFile(m_path, script.toUtf8(), 0755);
}

QString StandInTool::stateFile(const QString &kind, const QString &firstArgument) const
{
    return m_stateDir % u'/' % kind % u'.' % QString::fromLatin1(firstArgument.toUtf8().toHex());
}

void StandInTool::setExitStatus(int status, const QString &firstArgument) const
{
    Sandbox::writeFile(stateFile(u"status"_s, firstArgument), QByteArray::number(status));
}

void StandInTool::setExitStatusForArgument(int status, const QString &argument) const
{
    QFile file(m_stateDir + u"/argument-status"_s);
    if (file.open(QIODevice::Append)) {
        file.write(QByteArray::number(status) + ' ' + argument.toUtf8().toBase64() + '\n');
    }
}

void StandInTool::setOutput(const QByteArray &text, const QString &firstArgument) const
{
    Sandbox::writeFile(stateFile(u"output"_s, firstArgument), text);
}

void StandInTool::setDelay(double seconds) const
{
    Sandbox::writeFile(m_stateDir + u"/delay"_s, QByteArray::number(seconds));
}

void StandInTool::makeUnstartable() const
{
    QFile::setPermissions(m_path, QFile::ReadOwner | QFile::WriteOwner);
}

QList<QStringList> StandInTool::calls() const
{
    return readLog(m_stateDir + u"/calls.log"_s);
}

void StandInTool::clearCalls() const
{
    QFile::remove(m_stateDir + u"/calls.log"_s);
}

QList<QStringList> StandInTool::allCalls(const Sandbox &sandbox)
{
    return readLog(sandbox.root() + u"/standins/all.log"_s);
}
