#include "launchd/LaunchdJob.h"

#include <QDateTime>
#include <QFile>
#include <QSet>
#include <QTimeZone>
#include <QVariantList>

#include "launchd/PlistCompat.h"
#include "platform/SystemFile.h"

#include <cstdlib>
#include <limits>
#include <memory>

namespace {

struct PlistDeleter {
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// Property-list dates count seconds from 2001-01-01 00:00 UTC.
QDateTime plistEpoch()
{
    return QDateTime(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc());
}

QString stringValue(plist_t node)
{
    uint64_t length = 0;
    const char *text = plist_get_string_ptr(node, &length);
    return text ? QString::fromUtf8(text, qsizetype(length)) : QString();
}

// Integers are stored unsigned; negative ones come back in two's complement.
qint64 integerValue(plist_t node)
{
    uint64_t value = 0;
    plist_get_uint_val(node, &value);
    return static_cast<qint64>(value);
}

QVariant toVariant(plist_t node);

QVariantMap dictToMap(plist_t dict)
{
    QVariantMap map;
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(dict, &iter);
    if (!iter) {
        return map;
    }
    for (;;) {
        char *key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(dict, iter, &key, &value);
        if (!value) {
            std::free(key);
            break;
        }
        // A binary list may repeat a key; the first one counts, as in the typed fields
        // (plist_dict_get_item finds the first).
        if (key && !map.contains(QString::fromUtf8(key))) {
            map.insert(QString::fromUtf8(key), toVariant(value));
        }
        std::free(key);
    }
    std::free(iter);
    return map;
}

QVariant toVariant(plist_t node)
{
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return QVariant(value != 0);
    }
    case PLIST_UINT:
        return QVariant(integerValue(node));
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return QVariant(value);
    }
    case PLIST_STRING:
        return QVariant(stringValue(node));
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t size = plist_array_get_size(node);
        list.reserve(size);
        for (uint32_t i = 0; i < size; ++i) {
            list.append(toVariant(plist_array_get_item(node, i)));
        }
        return list;
    }
    case PLIST_DICT:
        return dictToMap(node);
    case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t micros = 0;
        plistcompat::dateValue(node, &seconds, &micros);
        return plistEpoch().addMSecs(qint64(seconds) * 1000 + micros / 1000);
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char *bytes = plist_get_data_ptr(node, &length);
        return QByteArray(bytes, qsizetype(length));
    }
    case PLIST_UID: {
        // The form the XML writer gives a keyed-archive reference.
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return QVariantMap{{QStringLiteral("CF$UID"), QVariant(static_cast<qint64>(value))}};
    }
    default:
        return {};
    }
}

// libplist stops the program (a failed assertion) when a dictionary key that holds U+0000 is
// read, and a binary property list can carry one. Its XML writer copes and writes such a key
// whole, so the keys are looked at in that form before any is read.
bool hasKeyHoldingNul(plist_t root)
{
    char *xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root, &xml, &length);
    if (!xml) {
        return true;
    }
    const QByteArray text = QByteArray::fromRawData(xml, qsizetype(length));
    bool found = false;
    // Text inside the document is escaped, so "<key>" and "</key>" only ever mark keys.
    for (qsizetype nul = text.indexOf('\0'); nul >= 0 && !found; nul = text.indexOf('\0', nul + 1)) {
        found = text.lastIndexOf("<key>", nul) > text.lastIndexOf("</key>", nul);
    }
    plistcompat::freeXml(xml);
    return found;
}

plist_t item(plist_t dict, const char *key, plist_type type)
{
    plist_t node = plist_dict_get_item(dict, key);
    return node && plist_get_node_type(node) == type ? node : nullptr;
}

std::optional<QString> optionalString(plist_t dict, const char *key)
{
    if (plist_t node = item(dict, key, PLIST_STRING)) {
        return stringValue(node);
    }
    return std::nullopt;
}

bool flag(plist_t dict, const char *key)
{
    plist_t node = item(dict, key, PLIST_BOOLEAN);
    if (!node) {
        return false;
    }
    uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return value != 0;
}

std::optional<QStringList> stringArray(plist_t dict, const char *key)
{
    plist_t node = item(dict, key, PLIST_ARRAY);
    if (!node) {
        return std::nullopt;
    }
    QStringList list;
    const uint32_t size = plist_array_get_size(node);
    for (uint32_t i = 0; i < size; ++i) {
        plist_t element = plist_array_get_item(node, i);
        if (plist_get_node_type(element) != PLIST_STRING) {
            return std::nullopt;
        }
        list.append(stringValue(element));
    }
    return list;
}

// Only a single dictionary counts; several calendar times (an array) leave the field absent.
std::optional<QMap<QString, qint64>> calendarInterval(plist_t dict)
{
    plist_t node = item(dict, "StartCalendarInterval", PLIST_DICT);
    if (!node) {
        return std::nullopt;
    }
    QMap<QString, qint64> entries;
    QSet<QString> seen;
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    if (!iter) {
        return entries;
    }
    for (;;) {
        char *key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iter, &key, &value);
        if (!value) {
            std::free(key);
            break;
        }
        // The first of repeated keys counts, integer or not, as in the raw dictionary.
        if (key && !seen.contains(QString::fromUtf8(key))) {
            seen.insert(QString::fromUtf8(key));
            if (plist_get_node_type(value) == PLIST_UINT) {
                entries.insert(QString::fromUtf8(key), integerValue(value));
            }
        }
        std::free(key);
    }
    std::free(iter);
    return entries;
}

// libplist reads nested arrays and dictionaries by recursion: a file nested some ten thousand deep
// ends the program, and the app scans on a thread, whose stack is 512 KiB on macOS. No job nests
// more than a few deep; kMostNesting is far beyond any and far below what a stack holds.
constexpr int kMostNesting = 256;

bool xmlNestedTooDeep(const QByteArray &bytes)
{
    int depth = 0;
    for (qsizetype at = bytes.indexOf('<'); at >= 0; at = bytes.indexOf('<', at + 1)) {
        const QByteArrayView rest = QByteArrayView(bytes).sliced(at + 1);
        if (rest.startsWith("array") || rest.startsWith("dict")) {
            const qsizetype end = bytes.indexOf('>', at);
            if (end < 0 || bytes.at(end - 1) != '/') {
                if (++depth > kMostNesting) {
                    return true;
                }
            }
        } else if (rest.startsWith("/array") || rest.startsWith("/dict")) {
            --depth;
        }
    }
    return false;
}

// A binary list cannot nest deeper than it has arrays, sets and dictionaries; they are counted from
// its offset table. A table that does not fit the file is left to libplist to refuse.
bool binaryNestedTooDeep(const QByteArray &bytes)
{
    constexpr qsizetype kTrailer = 32;
    if (bytes.size() < 8 + kTrailer) {
        return false;
    }
    const auto *data = reinterpret_cast<const uchar *>(bytes.constData());
    const uchar *trailer = data + bytes.size() - kTrailer;
    const auto bigEndian = [](const uchar *p, int size) {
        quint64 value = 0;
        for (int i = 0; i < size; ++i) {
            value = value << 8 | p[i];
        }
        return value;
    };
    const int offsetSize = trailer[6];
    const quint64 objects = bigEndian(trailer + 8, 8);
    const quint64 table = bigEndian(trailer + 24, 8);
    const quint64 end = quint64(bytes.size() - kTrailer);
    if (offsetSize < 1 || offsetSize > 8 || table > end || objects > (end - table) / quint64(offsetSize)) {
        return false;
    }
    int containers = 0;
    for (quint64 i = 0; i < objects; ++i) {
        const quint64 offset = bigEndian(data + table + i * quint64(offsetSize), offsetSize);
        const int type = offset < end ? data[offset] >> 4 : 0;
        if ((type == 0xA || type == 0xB || type == 0xC || type == 0xD) && ++containers > kMostNesting) {
            return true;
        }
    }
    return false;
}

bool nestedTooDeep(const QByteArray &bytes)
{
    return bytes.startsWith("bplist") ? binaryNestedTooDeep(bytes) : xmlNestedTooDeep(bytes);
}

} // namespace

QString LaunchdJob::sourceTitle(Source source)
{
    switch (source) {
    case Source::userAgents:
        return QStringLiteral("User Agents");
    case Source::globalAgents:
        return QStringLiteral("Global Agents");
    case Source::globalDaemons:
        return QStringLiteral("Global Daemons");
    }
    return {};
}

std::optional<LaunchdJob> LaunchdJob::fromFile(const QString &path, Source source)
{
    const std::optional<QByteArray> bytes = SystemFile::read(path);
    if (!bytes) {
        return std::nullopt;
    }
    return fromData(*bytes, path, source);
}

std::optional<LaunchdJob> LaunchdJob::fromData(const QByteArray &bytes, const QString &path, Source source)
{
    if (bytes.isEmpty() || bytes.size() > qsizetype(std::numeric_limits<uint32_t>::max()) || nestedTooDeep(bytes)) {
        return std::nullopt;
    }
    plist_t parsed = nullptr;
    plistcompat::fromMemory(bytes.constData(), uint32_t(bytes.size()), &parsed);
    const PlistPtr root(parsed);
    if (!parsed || plist_get_node_type(parsed) != PLIST_DICT || hasKeyHoldingNul(parsed)) {
        return std::nullopt;
    }
    const std::optional<QString> label = optionalString(parsed, "Label");
    if (!label) {
        return std::nullopt;
    }

    LaunchdJob job;
    job.id = path;
    job.label = *label;
    job.url = path;
    job.source = source;
    job.programArguments = stringArray(parsed, "ProgramArguments");
    job.program = optionalString(parsed, "Program");
    if (plist_t interval = item(parsed, "StartInterval", PLIST_UINT)) {
        job.startInterval = integerValue(interval);
    }
    job.startCalendarInterval = calendarInterval(parsed);
    job.standardOutPath = optionalString(parsed, "StandardOutPath");
    job.standardErrorPath = optionalString(parsed, "StandardErrorPath");
    job.disabled = flag(parsed, "Disabled");
    job.runAtLoad = flag(parsed, "RunAtLoad");
    // A dictionary of conditions is not a plain "always" and counts as false.
    job.keepAlive = flag(parsed, "KeepAlive");
    job.raw = dictToMap(parsed);
    return job;
}

QString LaunchdJob::scheduleSummary() const
{
    if (startInterval) {
        const qint64 seconds = *startInterval;
        if (seconds < 60) {
            return u"Every " % QString::number(seconds) % u" sec";
        }
        return u"Every " % QString::number(seconds / 60) % u" min";
    }
    if (startCalendarInterval) {
        const QMap<QString, qint64> &calendar = *startCalendarInterval;
        QStringList parts;
        const QString day = QStringLiteral("Day");
        const QString weekday = QStringLiteral("Weekday");
        const QString hour = QStringLiteral("Hour");
        const QString minute = QStringLiteral("Minute");
        if (calendar.contains(day)) {
            parts << QString(u"Day " % QString::number(calendar.value(day)));
        }
        if (calendar.contains(weekday)) {
            parts << QString(u"Weekday " % QString::number(calendar.value(weekday)));
        }
        if (calendar.contains(hour)) {
            const qint64 minutes = calendar.value(minute, 0);
            parts << QString::asprintf("%lld:%02lld", static_cast<long long>(calendar.value(hour)),
                                       static_cast<long long>(minutes));
        }
        return parts.isEmpty() ? QStringLiteral("Calendar interval") : parts.join(u", ");
    }
    if (runAtLoad) {
        return QStringLiteral("Run at load");
    }
    if (keepAlive) {
        return QStringLiteral("Keep alive");
    }
    return QStringLiteral("Manual");
}

QString LaunchdJob::commandLine() const
{
    if (programArguments) {
        return programArguments->join(u' ');
    }
    if (program) {
        return *program;
    }
    return QStringLiteral("(unknown)");
}
