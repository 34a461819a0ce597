#include "platform/ShellQuote.h"

QString shellQuote(const QString &text)
{
    QString inner = text;
    inner.replace(u'\'', QStringLiteral("'\\''"));
    return u'\'' % inner % u'\'';
}
