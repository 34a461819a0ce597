// The command words of a task's command text (what the doctor checks are found when the task is
// scheduled): any text is read without a fault, and the words keep their shape.
#include "doctor/CommandWords.h"

#include <QSet>
#include <QString>

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool ok)
{
    if (!ok) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const QStringList words = CommandWords::of(text);
    // Each word once, none empty, none that the shell answers itself.
    check(QSet<QString>(words.cbegin(), words.cend()).size() == words.size());
    for (const QString &word : words) {
        check(!word.isEmpty() && !CommandWords::isBuiltinOrKeyword(word));
    }
    return 0;
}
