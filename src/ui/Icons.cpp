#include "ui/Icons.h"

#include <QFile>

QIcon Icons::symbol(const QString &name)
{
    const QString path = u":/icons/" % name % u".svg";
    return QFile::exists(path) ? QIcon(path) : QIcon();
}
