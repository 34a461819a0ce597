#include "doctor/CommandWords.h"

#include <QRegularExpression>
#include <QSet>

using namespace Qt::StringLiterals;

namespace {

struct Token {
    enum Kind { word, control, redirection };
    Kind kind = word;
    QString text;
    bool expands = false;
};

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t';
}

bool isMeta(QChar c)
{
    return isBlank(c) || c == u'\n' || c == u'|' || c == u'&' || c == u';' || c == u'(' || c == u')' || c == u'<' ||
           c == u'>';
}

// Splits shell text into words, control operators and redirections. Here-document bodies are
// skipped; the texts of command substitutions are kept for a second pass.
class Lexer
{
public:
    explicit Lexer(const QString &text) : m_s(text) {}

    QList<Token> tokens()
    {
        QList<Token> out;
        while (skipBlanks()) {
            out.append(next());
        }
        return out;
    }

    QStringList substitutions;

private:
    bool skipBlanks()
    {
        while (m_i < m_s.size()) {
            if (isBlank(m_s[m_i])) {
                ++m_i;
            } else if (m_s[m_i] == u'\\' && m_i + 1 < m_s.size() && m_s[m_i + 1] == u'\n') {
                m_i += 2;
            } else if (m_s[m_i] == u'#') {
                while (m_i < m_s.size() && m_s[m_i] != u'\n') {
                    ++m_i;
                }
            } else {
                return true;
            }
        }
        return false;
    }

    static constexpr qsizetype kLongestRedirection = 256;

    Token next()
    {
        static const QRegularExpression redirect(u"\\G(\\d*(<<<|<<-|<<|>>|<>|>&|<&|>\\||<|>)|&>>|&>)"_s);
        static const QStringList controls{u"&&"_s, u"||"_s, u";;"_s, u";&"_s, u"|&"_s,
                                          u"|"_s,  u"&"_s,  u";"_s,  u"("_s,  u")"_s};
        if (m_s[m_i] == u'\n') {
            ++m_i;
            skipHereDocuments();
            return {Token::control, u"\n"_s, false};
        }
        // Matched against the next stretch alone: against the whole text, each token cost as much
        // as the text is long. No operator with its descriptor's digits is longer.
        const auto match = redirect.match(m_s.mid(m_i, kLongestRedirection), 0, QRegularExpression::NormalMatch,
                                          QRegularExpression::AnchorAtOffsetMatchOption);
        if (match.hasMatch()) {
            m_i += int(match.capturedLength());
            const QString op = match.captured(2);
            // The delimiter is a word; an operator there is a syntax error and delimits nothing.
            if ((op == u"<<"_s || op == u"<<-"_s) && skipBlanks() && !isMeta(m_s[m_i])) {
                m_hereDocuments.append({word().text, op == u"<<-"_s});
            }
            return {Token::redirection, match.captured(0), false};
        }
        for (const QString &control : controls) {
            if (QStringView(m_s).mid(m_i).startsWith(control)) {
                m_i += int(control.size());
                return {Token::control, control, false};
            }
        }
        return word();
    }

    Token word()
    {
        Token token;
        while (m_i < m_s.size() && !isMeta(m_s[m_i])) {
            const QChar c = m_s[m_i];
            if (c == u'\'') {
                const qsizetype end = m_s.indexOf(u'\'', m_i + 1);
                const qsizetype stop = end < 0 ? m_s.size() : end;
                token.text += m_s.mid(m_i + 1, stop - m_i - 1);
                m_i = int(stop + 1);
            } else if (c == u'"') {
                doubleQuoted(token);
            } else if (c == u'\\') {
                token.text += m_i + 1 < m_s.size() ? m_s[m_i + 1] : QChar();
                m_i += 2;
            } else if (c == u'$' || c == u'`') {
                expansion(token);
            } else {
                token.text += c;
                ++m_i;
            }
        }
        return token;
    }

    void doubleQuoted(Token &token)
    {
        ++m_i;
        while (m_i < m_s.size() && m_s[m_i] != u'"') {
            if (m_s[m_i] == u'\\' && m_i + 1 < m_s.size()) {
                token.text += m_s[m_i + 1];
                m_i += 2;
            } else if (m_s[m_i] == u'$' || m_s[m_i] == u'`') {
                expansion(token);
            } else {
                token.text += m_s[m_i++];
            }
        }
        ++m_i;
    }

    // $name, ${...}, $((...)), $(...) and `...`: the word can only be known when it runs.
    void expansion(Token &token)
    {
        token.expands = true;
        if (m_s[m_i] == u'`') {
            const qsizetype end = m_s.indexOf(u'`', m_i + 1);
            const qsizetype stop = end < 0 ? m_s.size() : end;
            substitutions.append(m_s.mid(m_i + 1, stop - m_i - 1));
            m_i = int(stop + 1);
            return;
        }
        ++m_i;
        if (m_i < m_s.size() && (m_s[m_i] == u'(' || m_s[m_i] == u'{')) {
            const bool arithmetic = m_s.mid(m_i, 2) == u"(("_s;
            const int start = m_i + 1;
            const int end = matchingClose(m_i);
            if (m_s[start - 1] == u'(' && !arithmetic) {
                substitutions.append(m_s.mid(start, end - start));
            }
            m_i = end + 1;
            return;
        }
        while (m_i < m_s.size() && (m_s[m_i].isLetterOrNumber() || m_s[m_i] == u'_')) {
            ++m_i;
        }
        if (m_i < m_s.size() && QStringView(u"?#@*$!-").contains(m_s[m_i])) {
            ++m_i;
        }
    }

    // The index of the bracket that closes the one at `open`, skipping quoted text.
    int matchingClose(int open) const
    {
        const QChar opening = m_s[open];
        const QChar closing = opening == u'(' ? u')' : u'}';
        int depth = 0;
        for (int i = open; i < m_s.size(); ++i) {
            const QChar c = m_s[i];
            if (c == u'\'' || c == u'"') {
                const qsizetype end = m_s.indexOf(c, i + 1);
                i = end < 0 ? int(m_s.size()) : int(end);
            } else if (c == u'\\') {
                ++i;
            } else if (c == opening) {
                ++depth;
            } else if (c == closing && --depth == 0) {
                return i;
            }
        }
        return int(m_s.size());
    }

    void skipHereDocuments()
    {
        for (const auto &[delimiter, stripsTabs] : std::as_const(m_hereDocuments)) {
            while (m_i < m_s.size()) {
                qsizetype end = m_s.indexOf(u'\n', m_i);
                if (end < 0) {
                    end = m_s.size();
                }
                QString line = m_s.mid(m_i, end - m_i);
                m_i = int(end + 1);
                if (stripsTabs) {
                    while (line.startsWith(u'\t')) {
                        line.remove(0, 1);
                    }
                }
                if (line == delimiter) {
                    break;
                }
            }
        }
        m_hereDocuments.clear();
    }

    const QString m_s;
    int m_i = 0;
    QList<std::pair<QString, bool>> m_hereDocuments;
};

const QSet<QString> &keywords()
{
    static const QSet<QString> set{u"if"_s,   u"then"_s,   u"else"_s,     u"elif"_s,  u"fi"_s,    u"do"_s,
                                   u"done"_s, u"case"_s,   u"esac"_s,     u"while"_s, u"until"_s, u"for"_s,
                                   u"in"_s,   u"select"_s, u"time"_s,     u"{"_s,     u"}"_s,     u"!"_s,
                                   u"[["_s,   u"]]"_s,     u"function"_s, u"coproc"_s};
    return set;
}

const QSet<QString> &builtins()
{
    static const QSet<QString> set{
        u"cd"_s,       u"export"_s,   u"echo"_s,    u"test"_s,    u"["_s,     u"printf"_s,  u"read"_s,    u"set"_s,
        u"unset"_s,    u"shift"_s,    u"return"_s,  u"exit"_s,    u"local"_s, u"declare"_s, u"typeset"_s, u"source"_s,
        u"."_s,        u"eval"_s,     u"exec"_s,    u"true"_s,    u"false"_s, u":"_s,       u"alias"_s,   u"unalias"_s,
        u"wait"_s,     u"trap"_s,     u"umask"_s,   u"ulimit"_s,  u"pwd"_s,   u"type"_s,    u"command"_s, u"builtin"_s,
        u"let"_s,      u"getopts"_s,  u"hash"_s,    u"jobs"_s,    u"fg"_s,    u"bg"_s,      u"kill"_s,    u"readonly"_s,
        u"break"_s,    u"continue"_s, u"pushd"_s,   u"popd"_s,    u"dirs"_s,  u"disown"_s,  u"shopt"_s,   u"setopt"_s,
        u"unsetopt"_s, u"autoload"_s, u"emulate"_s, u"mapfile"_s, u"times"_s, u"enable"_s,  u"caller"_s,  u"whence"_s};
    return set;
}

bool isAssignment(const QString &word)
{
    static const QRegularExpression pattern(u"^[A-Za-z_][A-Za-z0-9_]*(\\[[^]]*\\])?\\+?="_s);
    return pattern.match(word).hasMatch();
}

// Walks the tokens as a shell would read them and picks the word in command position.
class Reader
{
public:
    explicit Reader(const QList<Token> &tokens) : m_tokens(tokens) {}

    void read()
    {
        for (m_at = 0; m_at < m_tokens.size(); ++m_at) {
            const Token &token = m_tokens[m_at];
            if (token.kind == Token::redirection) {
                m_skipsTarget = !token.text.contains(u"<<"_s) || token.text == u"<<<"_s;
            } else if (token.kind == Token::control) {
                control(token.text);
            } else if (m_skipsTarget) {
                m_skipsTarget = false;
            } else {
                word(token);
            }
        }
    }

    QStringList words;
    QSet<QString> functions;

private:
    void control(const QString &text)
    {
        if (text == u";;"_s || text == u";&"_s) {
            m_inCasePatterns = true;
            m_expectsCommand = false;
        } else if (text == u")"_s) {
            m_expectsCommand = m_inCasePatterns;
            m_inCasePatterns = false;
        } else if (text == u"("_s && m_inCasePatterns) {
            return;
        } else {
            m_expectsCommand = true;
        }
    }

    void word(const Token &token)
    {
        const QString &text = token.text;
        if (m_inCasePatterns) {
            if (text == u"esac"_s && !token.expands) {
                m_inCasePatterns = false;
            }
            return;
        }
        if (m_caseSubject) {
            m_inCasePatterns = text == u"in"_s;
            m_caseSubject = !m_inCasePatterns;
            return;
        }
        if (m_inDoubleBrackets) {
            m_inDoubleBrackets = text != u"]]"_s;
            return;
        }
        if (m_namesFunction) {
            functions.insert(text);
            m_namesFunction = false;
            return;
        }
        if (!m_expectsCommand) {
            return;
        }
        if (!token.expands && keywords().contains(text)) {
            keyword(text);
            return;
        }
        if (isAssignment(text)) {
            return;
        }
        if (isFunctionDefinition()) {
            functions.insert(text);
            m_at += 2;
            return;
        }
        m_expectsCommand = (text == u"exec"_s || text == u"command"_s) && nextIsPlainWord();
        if (!token.expands && !text.isEmpty() && !builtins().contains(text) && !m_seen.contains(text)) {
            m_seen.insert(text);
            words.append(text);
        }
    }

    void keyword(const QString &text)
    {
        if (text == u"case"_s) {
            m_caseSubject = true;
        } else if (text == u"for"_s || text == u"select"_s || text == u"}"_s || text == u"fi"_s || text == u"done"_s ||
                   text == u"esac"_s || text == u"]]"_s) {
            m_expectsCommand = false;
        } else if (text == u"[["_s) {
            m_inDoubleBrackets = true;
        } else if (text == u"function"_s) {
            m_namesFunction = true;
        }
    }

    bool isFunctionDefinition() const
    {
        return m_at + 2 < m_tokens.size() && m_tokens[m_at + 1].kind == Token::control &&
               m_tokens[m_at + 1].text == u"("_s && m_tokens[m_at + 2].text == u")"_s;
    }

    // `exec prog`, `command prog`: prog is the command; `command -v prog` only asks about it.
    bool nextIsPlainWord() const
    {
        return m_at + 1 < m_tokens.size() && m_tokens[m_at + 1].kind == Token::word &&
               !m_tokens[m_at + 1].text.startsWith(u'-');
    }

    const QList<Token> &m_tokens;
    qsizetype m_at = 0;
    bool m_expectsCommand = true;
    bool m_skipsTarget = false;
    bool m_caseSubject = false;
    bool m_inCasePatterns = false;
    bool m_inDoubleBrackets = false;
    bool m_namesFunction = false;
    QSet<QString> m_seen; // the words, for finding one at once
};

void collect(const QString &text, QStringList &words, QSet<QString> &seen, QSet<QString> &functions, int depth)
{
    Lexer lexer(text);
    const QList<Token> tokens = lexer.tokens();
    Reader reader(tokens);
    reader.read();
    functions.unite(reader.functions);
    for (const QString &word : std::as_const(reader.words)) {
        if (!seen.contains(word)) {
            seen.insert(word);
            words.append(word);
        }
    }
    if (depth < 8) {
        for (const QString &inner : std::as_const(lexer.substitutions)) {
            collect(inner, words, seen, functions, depth + 1);
        }
    }
}

} // namespace

QStringList CommandWords::of(const QString &commandText)
{
    QStringList words;
    QSet<QString> seen;
    QSet<QString> functions;
    collect(commandText, words, seen, functions, 0);
    words.removeIf([&functions](const QString &word) { return functions.contains(word); });
    return words;
}

bool CommandWords::isBuiltinOrKeyword(const QString &word)
{
    return builtins().contains(word) || keywords().contains(word);
}
