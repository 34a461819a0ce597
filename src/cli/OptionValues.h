#pragma once

#include <QString>

#include <optional>

// Values of options, read by one rule: blanks around a value are ignored, the rest must be exact.
namespace OptionValues {

// A whole number from `low` to `high`, in digits only (no sign).
std::optional<int> wholeNumber(const QString &text, int low, int high);

} // namespace OptionValues
