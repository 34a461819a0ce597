#include "cli/OptionValues.h"

std::optional<int> OptionValues::wholeNumber(const QString &text, int low, int high)
{
    const QString digits = text.trimmed();
    if (digits.isEmpty() || digits.size() > 10) {
        return std::nullopt;
    }
    qint64 value = 0;
    for (const QChar c : digits) {
        if (c < u'0' || c > u'9') {
            return std::nullopt;
        }
        value = value * 10 + (c.unicode() - u'0');
    }
    return value >= low && value <= high ? std::optional<int>(int(value)) : std::nullopt;
}
