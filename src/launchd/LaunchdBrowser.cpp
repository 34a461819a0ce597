#include "launchd/LaunchdBrowser.h"

#include "platform/AppPaths.h"
#include "platform/SystemPaths.h"

#include <QCollator>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStringDecoder>
#include <QTimeZone>

#include "launchd/PlistCompat.h"

#include <algorithm>
#include <limits>
#include <memory>

namespace {

struct PlistDeleter {
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

PlistPtr toPlist(const QVariant &value);

// XML 1.0 can carry tab, line feed, carriage return and every character from U+0020 up, apart
// from U+FFFE, U+FFFF and unpaired surrogates. Anything else (U+0000 above all, which would
// also cut the C string libplist takes) has no XML property-list form.
bool hasXmlForm(const QString &text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text.at(i).unicode();
        if (c < 0x20 && c != u'\t' && c != u'\n' && c != u'\r') {
            return false;
        }
        if (c == 0xFFFE || c == 0xFFFF) {
            return false;
        }
        if (QChar::isHighSurrogate(c)) {
            if (i + 1 == text.size() || !QChar::isLowSurrogate(text.at(i + 1).unicode())) {
                return false;
            }
            ++i;
        } else if (QChar::isLowSurrogate(c)) {
            return false;
        }
    }
    return true;
}

PlistPtr mapToDict(const QVariantMap &map)
{
    PlistPtr dict(plist_new_dict());
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        PlistPtr item = hasXmlForm(it.key()) ? toPlist(it.value()) : nullptr;
        if (!item) {
            return nullptr;
        }
        // The dictionary takes the item over.
        plist_dict_set_item(dict.get(), it.key().toUtf8().constData(), item.release());
    }
    return dict;
}

PlistPtr listToArray(const QVariantList &list)
{
    PlistPtr array(plist_new_array());
    for (const QVariant &element : list) {
        PlistPtr item = toPlist(element);
        if (!item) {
            return nullptr;
        }
        plist_array_append_item(array.get(), item.release());
    }
    return array;
}

PlistPtr toPlist(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return PlistPtr(plist_new_bool(value.toBool() ? 1 : 0));
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
        return PlistPtr(plistcompat::newInt(value.toLongLong()));
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort: {
        const qulonglong number = value.toULongLong();
        if (number > qulonglong(std::numeric_limits<qint64>::max())) {
            return nullptr;
        }
        return PlistPtr(plist_new_uint(number));
    }
    case QMetaType::Double:
    case QMetaType::Float:
        return PlistPtr(plist_new_real(value.toDouble()));
    case QMetaType::QString: {
        const QString text = value.toString();
        if (!hasXmlForm(text)) {
            return nullptr;
        }
        return PlistPtr(plist_new_string(text.toUtf8().constData()));
    }
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return PlistPtr(plist_new_data(bytes.constData(), uint64_t(bytes.size())));
    }
    case QMetaType::QDateTime: {
        const QDateTime date = value.toDateTime();
        if (!date.isValid()) {
            return nullptr;
        }
        const qint64 msecs = QDateTime(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc()).msecsTo(date);
        // Floor division, so times before the epoch keep a non-negative fraction.
        qint64 seconds = msecs / 1000;
        qint64 remainder = msecs % 1000;
        if (remainder < 0) {
            --seconds;
            remainder += 1000;
        }
        if (seconds < std::numeric_limits<int32_t>::min() || seconds > std::numeric_limits<int32_t>::max()) {
            return nullptr;
        }
        return PlistPtr(plistcompat::newDate(int32_t(seconds), int32_t(remainder * 1000)));
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return listToArray(value.toList());
    case QMetaType::QVariantMap:
        return mapToDict(value.toMap());
    default:
        return nullptr;
    }
}

} // namespace

LaunchdBrowser::LaunchdBrowser()
    : m_folders{{AppPaths::userLaunchAgentsDir(), LaunchdJob::Source::userAgents},
                {SystemPaths::globalAgentsDir(), LaunchdJob::Source::globalAgents},
                {SystemPaths::globalDaemonsDir(), LaunchdJob::Source::globalDaemons}}
{
}

QList<LaunchdJob> LaunchdBrowser::scan() const
{
    QList<LaunchdJob> jobs;
    for (const Folder &folder : m_folders) {
        const QDir dir(folder.path);
        // Sorted by name so that equal labels come out the same way on every run.
        const QStringList names =
            dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString &name : names) {
            if (QFileInfo(name).suffix() != u"plist") {
                continue;
            }
            std::optional<LaunchdJob> job = LaunchdJob::fromFile(dir.filePath(name), folder.source);
            if (job && !job->label.startsWith(u"com.moxley.")) {
                jobs.append(std::move(*job));
            }
        }
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(jobs.begin(), jobs.end(), [&collator](const LaunchdJob &a, const LaunchdJob &b) {
        return collator.compare(a.label, b.label) < 0;
    });
    return jobs;
}

std::optional<QString> LaunchdBrowser::rawXml(const QVariantMap &raw)
{
    const PlistPtr root = mapToDict(raw);
    if (!root) {
        return std::nullopt;
    }
    char *xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    if (!xml) {
        return std::nullopt;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    QString text = decoder.decode(QByteArrayView(xml, qsizetype(length)));
    plistcompat::freeXml(xml);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}
