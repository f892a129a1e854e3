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
    // The tokens: quoted strings (backslash escapes), parentheses, operators and words.
    explicit Parser(const QString &text)
    {
        static const QRegularExpression token(
                QStringLiteral("\\G\\s*(?:'((?:\\\\.|[^'\\\\])*)'|\"((?:\\\\.|[^\"\\\\])*)\""
                               "|(\\()|(\\))|([=<>]=?|!=)|([\\w.]+)|(\\S))"));
        // The kind of token that each group of the expression captures.
        static const Token::Kind Kinds[] = { Token::Bad,  Token::String, Token::String,
                                             Token::Open, Token::Close,  Token::Operator,
                                             Token::Word, Token::Bad };
        static const QRegularExpression escape(QStringLiteral("\\\\(.)"));
        for (auto it = token.globalMatch(text); it.hasNext() && m_tokens.size() <= MaxTokens;) {
            const QRegularExpressionMatch match = it.next();
            const int group = match.lastCapturedIndex();
            QString captured = match.captured(group);
            m_tokens.append(Token { Kinds[group],
                                    group <= 2 ? captured.replace(escape, QStringLiteral("\\1"))
                                               : captured });
        }
        if (m_tokens.size() > MaxTokens)
            m_tokens = { Token { Token::Bad, {} } };
    }

    Predicate parse()
    {
        Predicate query = parseOr();
        return peek().kind == Token::End ? query : nullptr;
    }

private:
    Token peek() const { return m_tokens.value(m_next); }
    Token take() { return m_tokens.value(m_next++); }

    bool takeKeyword(const char *keyword)
    {
        if (peek().kind != Token::Word
            || peek().text.compare(QLatin1String(keyword), Qt::CaseInsensitive) != 0)
            return false;
        ++m_next;
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
        if (peek().kind != Token::Open)
            return parseTerm();
        ++m_next;
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

    QList<Token> m_tokens;
    qsizetype m_next = 0;
};
} // namespace

DriveQuery DriveQuery::parse(const QString &text)
{
    DriveQuery query;
    query.m_matches = text.trimmed().isEmpty() ? [](const DriveEntry &) { return true; }
                                               : Parser(text).parse();
    return query;
}
