#pragma once

#include <QByteArray>
#include <QVariant>

#include <optional>

// An XML property list read back with libplist, as plain Qt values: dict -> QVariantMap,
// array -> QVariantList, string -> QString, integer -> qint64, boolean -> bool, real -> double.
// Nothing when libplist cannot parse the text or it holds a type not listed here.
namespace PlistTree {

std::optional<QVariant> fromXml(const QByteArray &xml);

} // namespace PlistTree
