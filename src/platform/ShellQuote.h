#pragma once

#include <QString>

// Wraps text in single quotes for a POSIX shell, each single quote inside becoming '\''.
// Nothing else needs escaping between single quotes.
QString shellQuote(const QString &text);
