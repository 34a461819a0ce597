#pragma once

#include <QWidget>

// One labelled path of a job's detail: the label, then the path in a selectable monospaced text.
class PathRow : public QWidget
{
    Q_OBJECT

public:
    PathRow(const QString &label, const QString &path, QWidget *parent = nullptr);
};
