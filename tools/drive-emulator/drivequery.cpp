// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "drivequery.h"

#include "driveentry.h"

#include <QRegularExpression>

struct DriveQuery::Node
{
    enum Kind { And, Or, Not, Term } kind = Term;
    std::shared_ptr<const Node> left;
    std::shared_ptr<const Node> right;
    // Term
    QString field;
    QString op;
    QString text;
    bool flag = false;
};

namespace {
using Node = DriveQuery::Node;
using NodePtr = std::shared_ptr<const Node>;

// The parser, the evaluation and the tree's destruction all recurse as deep as the query nests:
// a bound on its length keeps a hostile query from exhausting the stack.
constexpr int MaxTokens = 1000;

struct Token
{
    enum Kind { String, Word, Operator, Open, Close, End, Bad } kind = End;
    QString text;
};

// Recursive descent with one token of look-ahead; a null tree for anything outside the language.
class Parser
{
public:
    explicit Parser(const QString &text) : m_text(text) { advance(); }

    NodePtr parse()
    {
        NodePtr root = parseOr();
        return m_token.kind == Token::End ? root : nullptr;
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

    static NodePtr combine(Node::Kind kind, NodePtr left, NodePtr right = nullptr)
    {
        if (!left || (kind != Node::Not && !right))
            return nullptr;
        auto node = std::make_shared<Node>();
        node->kind = kind;
        node->left = std::move(left);
        node->right = std::move(right);
        return node;
    }

    NodePtr parseOr()
    {
        NodePtr left = parseAnd();
        while (left && takeKeyword("or"))
            left = combine(Node::Or, left, parseAnd());
        return left;
    }

    NodePtr parseAnd()
    {
        NodePtr left = parseUnary();
        while (left && takeKeyword("and"))
            left = combine(Node::And, left, parseUnary());
        return left;
    }

    NodePtr parseUnary()
    {
        if (takeKeyword("not"))
            return combine(Node::Not, parseUnary());
        if (m_token.kind != Token::Open)
            return parseTerm();
        advance();
        NodePtr inner = parseOr();
        return take().kind == Token::Close ? inner : nullptr;
    }

    NodePtr parseTerm()
    {
        auto term = std::make_shared<Node>();
        const Token first = take();
        if (first.kind == Token::String) { // 'ID' in parents
            const bool in = takeKeyword("in");
            const Token collection = take();
            if (!in || collection.kind != Token::Word
                || collection.text != QLatin1String("parents"))
                return nullptr;
            term->field = collection.text;
            term->text = first.text;
            return term;
        }
        const Token op = take();
        const Token value = take();
        term->field = first.text;
        term->op = op.kind == Token::Operator ? op.text : op.text.toLower();
        term->text = value.text;
        const bool equality = term->op == QLatin1String("=") || term->op == QLatin1String("!=");
        if (first.kind != Token::Word || (op.kind != Token::Operator && term->op != "contains"))
            return nullptr;
        if (term->field == QLatin1String("name") || term->field == QLatin1String("mimeType"))
            return (equality || term->op == QLatin1String("contains"))
                            && value.kind == Token::String
                    ? term
                    : nullptr;
        term->flag = value.text == QLatin1String("true");
        const bool boolean = value.kind == Token::Word && (term->flag || value.text == "false");
        return term->field == QLatin1String("trashed") && equality && boolean ? term : nullptr;
    }

    const QString &m_text;
    int m_pos = 0;
    int m_count = 0;
    Token m_token;
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

bool evaluate(const Node &node, const DriveEntry &entry)
{
    switch (node.kind) {
    case Node::And:
        return evaluate(*node.left, entry) && evaluate(*node.right, entry);
    case Node::Or:
        return evaluate(*node.left, entry) || evaluate(*node.right, entry);
    case Node::Not:
        return !evaluate(*node.left, entry);
    case Node::Term:
        break;
    }
    const bool negate = node.op == QLatin1String("!=");
    if (node.field == QLatin1String("parents"))
        return entry.parents.contains(node.text);
    if (node.field == QLatin1String("trashed"))
        return (entry.trashed == node.flag) != negate;
    if (node.field == QLatin1String("name"))
        return node.op == QLatin1String("contains")
                ? containsWordPrefix(entry.name, node.text)
                : (entry.name.compare(node.text, Qt::CaseInsensitive) == 0) != negate;
    return node.op == QLatin1String("contains")
            ? entry.mimeType.contains(node.text, Qt::CaseInsensitive)
            : (entry.mimeType == node.text) != negate;
}
} // namespace

DriveQuery DriveQuery::parse(const QString &text)
{
    DriveQuery query;
    if (!text.trimmed().isEmpty()) {
        query.m_root = Parser(text).parse();
        query.m_valid = query.m_root != nullptr;
    }
    return query;
}

bool DriveQuery::matches(const DriveEntry &entry) const
{
    return m_valid && (!m_root || evaluate(*m_root, entry));
}
