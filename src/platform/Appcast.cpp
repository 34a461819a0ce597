#include "platform/Appcast.h"

#include <QRegularExpression>
#include <QXmlStreamReader>

namespace {

const QString kSparkleNamespace = QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

// Splits "1.10b2" into 1, ".", 10, "b", 2: numbers, separators and words.
QStringList versionParts(const QString &version)
{
    static const QRegularExpression part(QStringLiteral("(\\d+|[A-Za-z]+|[^\\dA-Za-z]+)"));
    QStringList parts;
    auto it = part.globalMatch(version);
    while (it.hasNext()) {
        parts << it.next().captured(1);
    }
    return parts;
}

enum class PartKind { number, word, separator };

PartKind kindOf(const QString &part)
{
    if (part.at(0).isDigit()) {
        return PartKind::number;
    }
    return part.at(0).isLetter() ? PartKind::word : PartKind::separator;
}

} // namespace

int Appcast::compareVersions(const QString &a, const QString &b)
{
    const QStringList left = versionParts(a);
    const QStringList right = versionParts(b);
    const qsizetype n = std::max(left.size(), right.size());
    for (qsizetype i = 0; i < n; ++i) {
        if (i >= left.size() || i >= right.size()) {
            // The longer one wins when it goes on with a number ("1.0.1" > "1.0"), loses when it
            // goes on with a word ("1.0b1" < "1.0"); trailing ".0" parts count as nothing.
            const QStringList &rest = i >= left.size() ? right : left;
            const int sign = i >= left.size() ? -1 : 1;
            for (qsizetype j = i; j < rest.size(); ++j) {
                const PartKind kind = kindOf(rest.at(j));
                if (kind == PartKind::word) {
                    return -sign;
                }
                if (kind == PartKind::number && rest.at(j).toULongLong() != 0) {
                    return sign;
                }
            }
            return 0;
        }
        const QString &l = left.at(i);
        const QString &r = right.at(i);
        const PartKind lk = kindOf(l);
        const PartKind rk = kindOf(r);
        if (lk == PartKind::number && rk == PartKind::number) {
            const qulonglong ln = l.toULongLong();
            const qulonglong rn = r.toULongLong();
            if (ln != rn) {
                return ln < rn ? -1 : 1;
            }
        } else if (lk == rk) {
            const int c = QString::compare(l, r, Qt::CaseInsensitive);
            if (lk == PartKind::word && c != 0) {
                return c < 0 ? -1 : 1;
            }
        } else {
            // A number beats a word (a release beats a beta); a separator sits between them.
            const auto rank = [](PartKind k) { return k == PartKind::number ? 2 : k == PartKind::separator ? 1 : 0; };
            return rank(lk) < rank(rk) ? -1 : 1;
        }
    }
    return 0;
}

Appcast::Feed Appcast::parse(const QByteArray &xml)
{
    Feed feed;
    QXmlStreamReader reader(xml);
    bool sawChannel = false;
    std::optional<Release> current;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            const QStringView name = reader.name();
            const bool sparkle = reader.namespaceUri() == kSparkleNamespace;
            if (name == u"channel") {
                sawChannel = true;
            } else if (name == u"item") {
                current = Release();
            } else if (current && name == u"enclosure") {
                const QXmlStreamAttributes attributes = reader.attributes();
                current->downloadUrl = attributes.value(QStringLiteral("url")).toString();
                if (current->version.isEmpty()) {
                    current->version = attributes.value(kSparkleNamespace, QStringLiteral("version")).toString();
                }
                if (current->shortVersionString.isEmpty()) {
                    current->shortVersionString =
                        attributes.value(kSparkleNamespace, QStringLiteral("shortVersionString")).toString();
                }
            } else if (current && sparkle && name == u"version") {
                current->version = reader.readElementText().trimmed();
            } else if (current && sparkle && name == u"shortVersionString") {
                current->shortVersionString = reader.readElementText().trimmed();
            } else if (current && sparkle && name == u"releaseNotesLink") {
                current->releaseNotesLink = reader.readElementText().trimmed();
            } else if (current && !sparkle && name == u"title") {
                current->title = reader.readElementText().trimmed();
            } else if (current && !sparkle && name == u"link" && current->releaseNotesLink.isEmpty()) {
                current->releaseNotesLink = reader.readElementText().trimmed();
            }
        } else if (reader.isEndElement() && reader.name() == u"item" && current) {
            if (!current->version.isEmpty() || !current->shortVersionString.isEmpty()) {
                feed.releases.append(*current);
            }
            current.reset();
        }
    }
    if (reader.hasError()) {
        feed.releases.clear();
        feed.error = u"The update feed is not valid XML: " % reader.errorString() % u" (line " %
                     QString::number(reader.lineNumber()) % u").";
    } else if (!sawChannel) {
        feed.error = QStringLiteral("The update feed has no channel.");
    }
    return feed;
}

std::optional<Appcast::Release> Appcast::newest(const Feed &feed)
{
    std::optional<Release> best;
    for (const Release &release : feed.releases) {
        if (!best || compareVersions(release.displayVersion(), best->displayVersion()) > 0) {
            best = release;
        }
    }
    return best;
}
