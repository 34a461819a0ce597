#pragma once

#include <QStringList>

// The programs a task's command text calls: the first word of each simple command, with shell
// keywords, builtins, assignments and the functions the text defines left out. Words that need
// expanding ($VAR, `...`) cannot be resolved before the run and are left out too. Commands inside
// $(...) and backticks count. Each word once, in the order it first appears, quotes removed.
namespace CommandWords {
QStringList of(const QString &commandText);
bool isBuiltinOrKeyword(const QString &word);
} // namespace CommandWords
