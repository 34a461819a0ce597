#pragma once

#include <QString>
#include <QWidget>

// The child widget of that object name; a test that asks for one that is not there stops at once.
template <typename T> T *child(const QWidget &parent, const QString &name)
{
    T *found = parent.findChild<T *>(name);
    if (!found) {
        qFatal("no child named %s", qPrintable(name));
    }
    return found;
}
