// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "drivequery.h"

#include "driveentry.h"

#include <QRegularExpression>

namespace {
using Predicate = DriveQuery::Predicate;

// The parser, the evaluation and the predicates' destruction all recurse as deep as the query
// nests: a bound on its length keeps a hostile query from exhausting the stack.
constexpr int MaxTokens = 1000;

struct Token
{
    enum Kind { String, Word, Operator, Open, Close, End, Bad } kind = End;
    QString text;
};

// "contains" on names matches the start of a word: "Hello" finds "HelloWorld" and
// "my Hello", "World" does not find "HelloWorld".
bool containsWordPrefix(const QString &name, const QString &value)
{
    for (int at = name.indexOf(value, 0, Qt::CaseInsensitive); at >= 0;
         at = name.indexOf(value, at + 1, Qt::CaseInsensitive)) {
        if (at == 0 || !name.at(at - 1).isLetterOrNumber())
            return true;
    }
    return value.isEmpty();
}

// Recursive descent with one token of look-ahead, into predicates; an empty one for anything
// outside the language.
class Parser
{
public:
    explicit Parser(const QString &text) : m_text(text) { advance(); }

    Predicate parse()
    {
        Predicate query = parseOr();
        return m_token.kind == Token::End ? query : nullptr;
    }

private:
    // One token: a quoted string (backslash escapes), a parenthesis, an operator or a word.
    void advance()
    {
        static const QRegularExpression token(
                QStringLiteral("\\G\\s*(?:'((?:\\\\.|[^'\\\\])*)'|\"((?:\\\\.|[^\"\\\\])*)\"|([()])"
                               "|([=<>]=?|!=)|([\\w.]+)|(\\S))"));
        const QRegularExpressionMatch match =
                token.match(m_text, m_pos, QRegularExpression::NormalMatch,
                            QRegularExpression::DontCheckSubjectStringMatchOption);
        m_pos = qMax(m_pos, match.capturedEnd());
        if (++m_count > MaxTokens || match.hasCaptured(6) || !match.hasMatch())
            m_token = { match.hasMatch() || m_count > MaxTokens ? Token::Bad : Token::End, {} };
        else if (match.hasCaptured(1) || match.hasCaptured(2))
            m_token = { Token::String,
                        match.captured(match.hasCaptured(1) ? 1 : 2)
                                .replace(QRegularExpression(QStringLiteral("\\\\(.)")),
                                         QStringLiteral("\\1")) };
        else if (match.hasCaptured(3))
            m_token = { match.captured(3) == QLatin1String("(") ? Token::Open : Token::Close, {} };
        else
            m_token = { match.hasCaptured(4) ? Token::Operator : Token::Word,
                        match.captured(match.hasCaptured(4) ? 4 : 5) };
    }

    Token take()
    {
        const Token token = m_token;
        advance();
        return token;
    }

    bool takeKeyword(const char *keyword)
    {
        if (m_token.kind != Token::Word
            || m_token.text.compare(QLatin1String(keyword), Qt::CaseInsensitive) != 0)
            return false;
        advance();
        return true;
    }

    // "and" when all, "or" otherwise; empty when a side is.
    static Predicate combine(Predicate left, Predicate right, bool all)
    {
        if (!left || !right)
            return nullptr;
        return [all, left = std::move(left), right = std::move(right)](const DriveEntry &e) {
            return all ? left(e) && right(e) : left(e) || right(e);
        };
    }

    Predicate parseOr()
    {
        Predicate left = parseAnd();
        while (left && takeKeyword("or"))
            left = combine(std::move(left), parseAnd(), false);
        return left;
    }

    Predicate parseAnd()
    {
        Predicate left = parseUnary();
        while (left && takeKeyword("and"))
            left = combine(std::move(left), parseUnary(), true);
        return left;
    }

    Predicate parseUnary()
    {
        if (takeKeyword("not")) {
            Predicate inner = parseUnary();
            if (!inner)
                return nullptr;
            return [inner = std::move(inner)](const DriveEntry &e) { return !inner(e); };
        }
        if (m_token.kind != Token::Open)
            return parseTerm();
        advance();
        Predicate inner = parseOr();
        return take().kind == Token::Close ? inner : nullptr;
    }

    Predicate parseTerm()
    {
        const Token first = take();
        if (first.kind == Token::String) { // 'ID' in parents
            const bool in = takeKeyword("in");
            const Token collection = take();
            if (!in || collection.kind != Token::Word
                || collection.text != QLatin1String("parents"))
                return nullptr;
            return [id = first.text](const DriveEntry &e) { return e.parents.contains(id); };
        }
        const Token op = take();
        const Token value = take();
        const QString name = op.kind == Token::Operator ? op.text : op.text.toLower();
        const bool negate = name == QLatin1String("!=");
        const bool contains = op.kind == Token::Word && name == QLatin1String("contains");
        if (first.kind != Token::Word || !(negate || name == QLatin1String("=") || contains))
            return nullptr;
        const QString text = value.text;
        if (first.text == QLatin1String("name") && value.kind == Token::String)
            return [=](const DriveEntry &e) {
                return contains ? containsWordPrefix(e.name, text)
                                : (e.name.compare(text, Qt::CaseInsensitive) == 0) != negate;
            };
        if (first.text == QLatin1String("mimeType") && value.kind == Token::String)
            return [=](const DriveEntry &e) {
                return contains ? e.mimeType.contains(text, Qt::CaseInsensitive)
                                : (e.mimeType == text) != negate;
            };
        const bool flag = text == QLatin1String("true");
        if (first.text != QLatin1String("trashed") || contains || value.kind != Token::Word
            || !(flag || text == QLatin1String("false")))
            return nullptr;
        return [=](const DriveEntry &e) { return (e.trashed == flag) != negate; };
    }

    const QString &m_text;
    int m_pos = 0;
    int m_count = 0;
    Token m_token;
};
} // namespace

DriveQuery DriveQuery::parse(const QString &text)
{
    DriveQuery query;
    query.m_matches = text.trimmed().isEmpty() ? [](const DriveEntry &) { return true; }
                                               : Parser(text).parse();
    return query;
}
