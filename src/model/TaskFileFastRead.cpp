#include "model/TaskFileFastRead.h"

#include "model/TaskJson.h"
#include "model/TaskMigration.h"

#include <algorithm>
#include <array>

namespace {

using Key = QByteArrayView;

// A strict reader of the JSON this program writes. Each call returns false for what it does not
// take, and the whole read then gives up: nothing here names an error, the full reader does.
class Scanner
{
public:
    explicit Scanner(QByteArrayView bytes) : m_at(bytes.data()), m_end(bytes.data() + bytes.size()) {}

    bool take(char c)
    {
        space();
        if (m_at < m_end && *m_at == c) {
            ++m_at;
            return true;
        }
        return false;
    }

    bool atEnd()
    {
        space();
        return m_at == m_end;
    }

    // Calls member(key) for each member; the key is plain ASCII without escapes, the value the
    // member's to read.
    template <typename Member> bool object(Member &&member)
    {
        if (!take('{')) {
            return false;
        }
        if (take('}')) {
            return true;
        }
        do {
            Key key;
            if (!plainKey(&key) || !take(':') || !member(key)) {
                return false;
            }
        } while (take(','));
        return take('}');
    }

    template <typename Item> bool array(Item &&item)
    {
        if (!take('[')) {
            return false;
        }
        if (take(']')) {
            return true;
        }
        do {
            if (!item()) {
                return false;
            }
        } while (take(','));
        return take(']');
    }

    bool boolean(bool *out)
    {
        if (word("true")) {
            *out = true;
            return true;
        }
        if (word("false")) {
            *out = false;
            return true;
        }
        return false;
    }

    bool null() { return word("null"); }

    bool peekNull()
    {
        space();
        return m_end - m_at >= 4 && Key(m_at, 4) == "null";
    }

    // Whole numbers only, as JSON spells them; fractions and exponents are the full reader's.
    bool integer(TaskJson::Range range, int *out)
    {
        space();
        const char *at = m_at;
        const bool negative = at < m_end && *at == '-';
        at += negative ? 1 : 0;
        const char *const digits = at;
        qint64 value = 0;
        while (at < m_end && *at >= '0' && *at <= '9' && at - digits < 12) {
            value = value * 10 + (*at - '0');
            ++at;
        }
        const qsizetype count = at - digits;
        if (count == 0 || count >= 12 || (count > 1 && *digits == '0') ||
            (at < m_end && (*at == '.' || *at == 'e' || *at == 'E' || (*at >= '0' && *at <= '9')))) {
            return false;
        }
        value = negative ? -value : value;
        if (!range.contains(value)) {
            return false;
        }
        m_at = at;
        *out = int(value);
        return true;
    }

    bool string(QString *out)
    {
        space();
        if (m_at == m_end || *m_at != '"') {
            return false;
        }
        const char *const start = ++m_at;
        bool ascii = true;
        bool escaped = false;
        while (m_at < m_end && *m_at != '"') {
            const auto c = static_cast<unsigned char>(*m_at);
            if (c < 0x20) {
                return false;
            }
            if (c == '\\') {
                escaped = true;
                m_at += m_end - m_at >= 2 ? 2 : 1;
                continue;
            }
            ascii = ascii && c < 0x80;
            ++m_at;
        }
        if (m_at == m_end) {
            return false;
        }
        const QByteArrayView raw(start, m_at - start);
        ++m_at;
        if (ascii && !escaped) {
            *out = QString::fromLatin1(raw);
            return true;
        }
        QByteArray utf8;
        if (escaped && !unescape(raw, &utf8)) {
            return false;
        }
        return fromUtf8(escaped ? QByteArrayView(utf8) : raw, out);
    }

private:
    void space()
    {
        while (m_at < m_end && (*m_at == ' ' || *m_at == '\n' || *m_at == '\r' || *m_at == '\t')) {
            ++m_at;
        }
    }

    bool word(QByteArrayView text)
    {
        space();
        if (m_end - m_at < text.size() || Key(m_at, text.size()) != text) {
            return false;
        }
        m_at += text.size();
        return true;
    }

    bool plainKey(Key *out)
    {
        space();
        if (m_at == m_end || *m_at != '"') {
            return false;
        }
        const char *const start = ++m_at;
        while (m_at < m_end && *m_at != '"') {
            const auto c = static_cast<unsigned char>(*m_at);
            if (c < 0x20 || c >= 0x80 || c == '\\') {
                return false;
            }
            ++m_at;
        }
        if (m_at == m_end) {
            return false;
        }
        *out = Key(start, m_at - start);
        ++m_at;
        return true;
    }

    // Invalid UTF-8, and a U+FEFF that begins the text (which Qt's own reader treats apart),
    // are the full reader's.
    static bool fromUtf8(QByteArrayView utf8, QString *out)
    {
        if (utf8.startsWith("\xEF\xBB\xBF")) {
            return false;
        }
        *out = QString::fromUtf8(utf8);
        return !out->contains(QChar::ReplacementCharacter);
    }

    static int hexDigit(char c)
    {
        if (c >= '0' && c <= '9') {
            return c - '0';
        }
        if (c >= 'a' && c <= 'f') {
            return c - 'a' + 10;
        }
        if (c >= 'A' && c <= 'F') {
            return c - 'A' + 10;
        }
        return -1;
    }

    static bool hex4(QByteArrayView raw, qsizetype at, char32_t *out)
    {
        if (raw.size() - at < 4) {
            return false;
        }
        char32_t value = 0;
        for (qsizetype i = at; i < at + 4; ++i) {
            const int digit = hexDigit(raw.at(i));
            if (digit < 0) {
                return false;
            }
            value = value * 16 + char32_t(digit);
        }
        *out = value;
        return true;
    }

    // By hand: Qt's conversions from UTF-32 take a U+FEFF for a byte-order mark and drop it.
    static void appendUtf8(char32_t code, QByteArray *out)
    {
        if (code < 0x80) {
            out->append(char(code));
            return;
        }
        const int tail = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        static constexpr std::array<unsigned char, 4> lead{0x00, 0xC0, 0xE0, 0xF0};
        out->append(char(lead[size_t(tail)] | (code >> (6 * tail))));
        for (int i = tail - 1; i >= 0; --i) {
            out->append(char(0x80 | ((code >> (6 * i)) & 0x3F)));
        }
    }

    static bool unescape(QByteArrayView raw, QByteArray *out)
    {
        out->reserve(raw.size());
        for (qsizetype i = 0; i < raw.size(); ++i) {
            if (raw.at(i) != '\\') {
                out->append(raw.at(i));
                continue;
            }
            if (++i == raw.size()) {
                return false;
            }
            static constexpr std::array<std::pair<char, char>, 8> simple{{{'"', '"'},
                                                                          {'\\', '\\'},
                                                                          {'/', '/'},
                                                                          {'b', '\b'},
                                                                          {'f', '\f'},
                                                                          {'n', '\n'},
                                                                          {'r', '\r'},
                                                                          {'t', '\t'}}};
            const char c = raw.at(i);
            const auto found =
                std::find_if(simple.cbegin(), simple.cend(), [c](const auto &e) { return e.first == c; });
            if (found != simple.cend()) {
                out->append(found->second);
                continue;
            }
            char32_t code = 0;
            if (c != 'u' || !hex4(raw, i + 1, &code)) {
                return false;
            }
            i += 4;
            if (code >= 0xDC00 && code <= 0xDFFF) {
                return false;
            }
            if (code >= 0xD800 && code <= 0xDBFF) {
                char32_t low = 0;
                if (raw.size() - i < 7 || raw.at(i + 1) != '\\' || raw.at(i + 2) != 'u' || !hex4(raw, i + 3, &low) ||
                    low < 0xDC00 || low > 0xDFFF) {
                    return false;
                }
                i += 6;
                code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
            }
            appendUtf8(code, out);
        }
        return true;
    }

    const char *m_at;
    const char *const m_end;
};

// Each key once: a repeated key is the full reader's to settle.
class Seen
{
public:
    bool first(int bit)
    {
        const bool seen = m_bits & (1u << bit);
        m_bits |= 1u << bit;
        return !seen;
    }
    bool all(unsigned bits) const { return (m_bits & bits) == bits; }

private:
    unsigned m_bits = 0;
};

bool times(Scanner &in, QList<TimeOfDay> *out)
{
    return in.array([&] {
        TimeOfDay time;
        Seen seen;
        const bool read = in.object([&](Key key) {
            if (key == "hour") {
                return seen.first(0) && in.integer(TaskJson::kHour, &time.hour);
            }
            if (key == "minute") {
                return seen.first(1) && in.integer(TaskJson::kMinute, &time.minute);
            }
            return false;
        });
        out->append(time);
        return read && seen.all(0b11);
    });
}

// The payload under the kind's name: each kind's own keys, all of them.
bool payload(Scanner &in, TaskSchedule::Kind kind, TaskSchedule *out)
{
    using K = TaskSchedule::Kind;
    int number = 0;
    int weekday = 0;
    QList<int> weekdays;
    QList<TimeOfDay> timesRead;
    Seen seen;
    const bool read = in.object([&](Key key) {
        const bool hasTimes = kind != K::interval && kind != K::runAtLoad;
        if (key == "times" && hasTimes) {
            return seen.first(0) && times(in, &timesRead);
        }
        if (key == "minutes" && kind == K::interval) {
            return seen.first(1) && in.integer(TaskJson::kIntervalMinutes, &number);
        }
        if (key == "day" && kind == K::monthly) {
            return seen.first(1) && in.integer(TaskJson::kDayOfMonth, &number);
        }
        if (key == "nth" && kind == K::monthlyNthWeekday) {
            return seen.first(1) && in.integer(TaskJson::kNthWeek, &number);
        }
        if (key == "weekday" && kind == K::monthlyNthWeekday) {
            return seen.first(2) && in.integer(TaskJson::kWeekday, &weekday);
        }
        if (key == "weekdays" && kind == K::weekly) {
            return seen.first(2) && in.array([&] {
                int day = 0;
                if (!in.integer(TaskJson::kWeekday, &day)) {
                    return false;
                }
                weekdays.append(day);
                return true;
            });
        }
        return false;
    });
    if (!read) {
        return false;
    }
    switch (kind) {
    case K::interval:
        *out = TaskSchedule::interval(number);
        return seen.all(0b010);
    case K::daily:
        *out = TaskSchedule::daily(std::move(timesRead));
        return seen.all(0b001);
    case K::weekly:
        *out = TaskSchedule::weekly(std::move(weekdays), std::move(timesRead));
        return seen.all(0b101);
    case K::monthly:
        *out = TaskSchedule::monthly(number, std::move(timesRead));
        return seen.all(0b011);
    case K::monthlyLastDay:
        *out = TaskSchedule::monthlyLastDay(std::move(timesRead));
        return seen.all(0b001);
    case K::monthlyNthWeekday:
        *out = TaskSchedule::monthlyNthWeekday(number, weekday, std::move(timesRead));
        return seen.all(0b111);
    case K::runAtLoad:
        *out = TaskSchedule::runAtLoad();
        return true;
    }
    return false;
}

std::optional<TaskSchedule::Kind> kindNamed(Key key)
{
    static const std::array<QByteArray, 7> names = [] {
        std::array<QByteArray, 7> result;
        for (int kind = 0; kind < 7; ++kind) {
            result[size_t(kind)] = TaskSchedule::kindName(TaskSchedule::Kind(kind)).toLatin1();
        }
        return result;
    }();
    for (size_t kind = 0; kind < names.size(); ++kind) {
        if (key == names[kind]) {
            return TaskSchedule::Kind(kind);
        }
    }
    return std::nullopt;
}

// Exactly one member, named for its kind.
bool schedule(Scanner &in, TaskSchedule *out)
{
    int members = 0;
    return in.object([&](Key key) {
        const auto kind = kindNamed(key);
        return ++members == 1 && kind && payload(in, *kind, out);
    }) && members == 1;
}

bool optionalString(Scanner &in, std::optional<QString> *out)
{
    if (in.peekNull()) {
        out->reset();
        return in.null();
    }
    QString text;
    if (!in.string(&text)) {
        return false;
    }
    *out = std::move(text);
    return true;
}

bool task(Scanner &in, ScheduledTask *out)
{
    enum Bit { id, name, command, loginShell, schedule_, enabled, logs, wake, directory, envFile };
    Seen seen;
    out->wakeBeforeRun = false; // files written before the option existed have none
    const bool read = in.object([&](Key key) {
        if (key == "id") {
            QString text;
            if (!seen.first(id) || !in.string(&text)) {
                return false;
            }
            const auto parsed = ScheduledTask::parseId(text);
            out->id = parsed.value_or(QUuid());
            return parsed.has_value();
        }
        if (key == "name") {
            return seen.first(name) && in.string(&out->name);
        }
        if (key == "command") {
            return seen.first(command) && in.string(&out->command);
        }
        if (key == "useLoginShell") {
            return seen.first(loginShell) && in.boolean(&out->useLoginShell);
        }
        if (key == "isEnabled") {
            return seen.first(enabled) && in.boolean(&out->isEnabled);
        }
        if (key == "wakeBeforeRun") {
            out->wakeBeforeRun = false;
            return seen.first(wake) && (in.null() || in.boolean(&out->wakeBeforeRun));
        }
        if (key == "schedule") {
            return seen.first(schedule_) && schedule(in, &out->schedule);
        }
        if (key == "workingDirectory") {
            return seen.first(directory) && optionalString(in, &out->workingDirectory);
        }
        if (key == "envFilePath") {
            return seen.first(envFile) && optionalString(in, &out->envFilePath);
        }
        // Past runs kept in the file are rare: any there, and the full reader reads them.
        if (key == "logs") {
            return seen.first(logs) && in.array([] { return false; });
        }
        return false;
    });
    const unsigned required = (1u << id) | (1u << name) | (1u << command) | (1u << loginShell) | (1u << schedule_) |
                              (1u << enabled) | (1u << logs);
    return read && seen.all(required);
}

} // namespace

std::optional<QList<ScheduledTask>> TaskFileFastRead::read(QByteArrayView bytes)
{
    Scanner in(bytes);
    QList<ScheduledTask> tasks;
    Seen seen;
    const bool read = in.object([&](Key key) {
        if (key == "version") {
            int version = 0;
            return seen.first(0) &&
                   in.integer({TaskMigration::kCurrentVersion, TaskMigration::kCurrentVersion}, &version);
        }
        if (key == "tasks") {
            return seen.first(1) && in.array([&] {
                tasks.append(ScheduledTask());
                return task(in, &tasks.last());
            });
        }
        return false;
    });
    if (!read || !seen.all(0b11) || !in.atEnd()) {
        return std::nullopt;
    }
    return tasks;
}
