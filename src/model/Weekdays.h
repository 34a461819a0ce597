#pragma once

#include <QString>

// Weekday numbers are 1 = Sunday ... 7 = Saturday throughout the model.
namespace Weekdays {
// "Sun" ... "Sat"; "?" outside 1-7.
QString abbreviation(int weekday);
// "Sunday" ... "Saturday"; "Unknown" outside 1-7.
QString fullName(int weekday);
// "1st" ... "4th"; an nth outside 1-4 is a programming error and aborts.
QString ordinal(int nth);
} // namespace Weekdays
