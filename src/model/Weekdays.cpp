#include "model/Weekdays.h"

#include <array>
#include <cstdlib>

namespace {
constexpr std::array<const char16_t *, 7> kAbbreviations{u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"};
constexpr std::array<const char16_t *, 7> kNames{u"Sunday",   u"Monday", u"Tuesday", u"Wednesday",
                                                 u"Thursday", u"Friday", u"Saturday"};
constexpr std::array<const char16_t *, 4> kOrdinals{u"1st", u"2nd", u"3rd", u"4th"};
} // namespace

QString Weekdays::abbreviation(int weekday)
{
    return weekday >= 1 && weekday <= 7 ? QString::fromUtf16(kAbbreviations[weekday - 1]) : QStringLiteral("?");
}

QString Weekdays::fullName(int weekday)
{
    return weekday >= 1 && weekday <= 7 ? QString::fromUtf16(kNames[weekday - 1]) : QStringLiteral("Unknown");
}

QString Weekdays::ordinal(int nth)
{
    if (nth < 1 || nth > 4) {
        std::abort();
    }
    return QString::fromUtf16(kOrdinals[nth - 1]);
}
