#pragma once

#include <QList>

class QDialog;
class QPushButton;
class TaskFormView;

// What the add and edit sheets share: the form in a scroll area, a line, and a bar with Cancel
// (which closes the sheet, also on Escape) and the confirming button (the default, on Return).
namespace TaskSheet {

// Lays `sheet` out; `leading` (the add sheet's Test Run and Check) go at the bar's start.
void build(QDialog *sheet, TaskFormView *form, QPushButton *confirm, const QList<QPushButton *> &leading = {});

} // namespace TaskSheet
