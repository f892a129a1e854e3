// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "drivequery.h"

#include "driveentry.h"

#include <QList>

struct DriveQuery::Node
{
    enum Kind { And, Or, Not, Term } kind;
    std::shared_ptr<const Node> left;
    std::shared_ptr<const Node> right;
    // Term
    QString field;
    QString op;
    QString text;
    bool flag = false;
};

namespace {
using NodePtr = std::shared_ptr<const DriveQuery::Node>;

struct Token
{
    enum Kind { String, Word, Operator, Open, Close, End } kind;
    QString text;
};

class Tokenizer
{
public:
    explicit Tokenizer(const QString &text) : m_text(text) { }

    bool tokenize(QList<Token> &tokens, QString *error)
    {
        while (skipSpaces()) {
            const QChar c = m_text.at(m_pos);
            if (c == QLatin1Char('\'')) {
                QString value;
                if (!readString(value, error))
                    return false;
                tokens.append({ Token::String, value });
            } else if (c == QLatin1Char('(') || c == QLatin1Char(')')) {
                tokens.append({ c == QLatin1Char('(') ? Token::Open : Token::Close, c });
                ++m_pos;
            } else if (QStringLiteral("=!<>").contains(c)) {
                tokens.append({ Token::Operator, readOperator() });
            } else if (isWordCharacter(c)) {
                const int start = m_pos;
                while (m_pos < m_text.size() && isWordCharacter(m_text.at(m_pos)))
                    ++m_pos;
                tokens.append({ Token::Word, m_text.mid(start, m_pos - start) });
            } else {
                *error = QStringLiteral("unexpected character '%1'").arg(c);
                return false;
            }
        }
        tokens.append({ Token::End, QString() });
        return true;
    }

private:
    static bool isWordCharacter(QChar c)
    {
        return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('.');
    }

    bool skipSpaces()
    {
        while (m_pos < m_text.size() && m_text.at(m_pos).isSpace())
            ++m_pos;
        return m_pos < m_text.size();
    }

    bool readString(QString &value, QString *error)
    {
        ++m_pos; // opening quote
        while (m_pos < m_text.size()) {
            const QChar c = m_text.at(m_pos++);
            if (c == QLatin1Char('\''))
                return true;
            if (c == QLatin1Char('\\')) {
                if (m_pos >= m_text.size())
                    break;
                value += m_text.at(m_pos++);
            } else {
                value += c;
            }
        }
        *error = QStringLiteral("unterminated string");
        return false;
    }

    QString readOperator()
    {
        const QChar c = m_text.at(m_pos++);
        if (m_pos < m_text.size() && m_text.at(m_pos) == QLatin1Char('=')
            && c != QLatin1Char('=')) {
            ++m_pos;
            return QString(c) + QLatin1Char('=');
        }
        return QString(c);
    }

    const QString &m_text;
    int m_pos = 0;
};

class Parser
{
public:
    Parser(const QList<Token> &tokens, QString *error) : m_tokens(tokens), m_error(error) { }

    NodePtr parse()
    {
        NodePtr root = parseOr();
        if (root && peek().kind != Token::End)
            return fail(QStringLiteral("unexpected '%1'").arg(peek().text));
        return root;
    }

private:
    const Token &peek() const { return m_tokens.at(m_pos); }
    const Token &next() { return m_tokens.at(m_pos < m_tokens.size() - 1 ? m_pos++ : m_pos); }

    bool peekKeyword(const char *keyword) const
    {
        return peek().kind == Token::Word
                && peek().text.compare(QLatin1String(keyword), Qt::CaseInsensitive) == 0;
    }

    NodePtr fail(const QString &why)
    {
        if (m_error->isEmpty())
            *m_error = why;
        return nullptr;
    }

    static NodePtr combine(DriveQuery::Node::Kind kind, NodePtr left, NodePtr right)
    {
        auto node = std::make_shared<DriveQuery::Node>();
        node->kind = kind;
        node->left = std::move(left);
        node->right = std::move(right);
        return node;
    }

    NodePtr parseOr()
    {
        NodePtr left = parseAnd();
        while (left && peekKeyword("or")) {
            next();
            NodePtr right = parseAnd();
            if (!right)
                return nullptr;
            left = combine(DriveQuery::Node::Or, left, right);
        }
        return left;
    }

    NodePtr parseAnd()
    {
        NodePtr left = parseUnary();
        while (left && peekKeyword("and")) {
            next();
            NodePtr right = parseUnary();
            if (!right)
                return nullptr;
            left = combine(DriveQuery::Node::And, left, right);
        }
        return left;
    }

    NodePtr parseUnary()
    {
        if (peekKeyword("not")) {
            next();
            NodePtr operand = parseUnary();
            return operand ? combine(DriveQuery::Node::Not, operand, nullptr) : nullptr;
        }
        if (peek().kind == Token::Open) {
            next();
            NodePtr inner = parseOr();
            if (!inner)
                return nullptr;
            if (next().kind != Token::Close)
                return fail(QStringLiteral("missing ')'"));
            return inner;
        }
        return parseTerm();
    }

    NodePtr parseTerm()
    {
        auto term = std::make_shared<DriveQuery::Node>();
        term->kind = DriveQuery::Node::Term;
        const Token first = next();
        if (first.kind == Token::String) {
            // 'ID' in parents
            if (!peekKeyword("in"))
                return fail(QStringLiteral("expected 'in' after a value"));
            next();
            const Token collection = next();
            if (collection.kind != Token::Word || collection.text != QLatin1String("parents"))
                return fail(QStringLiteral("unsupported collection '%1'").arg(collection.text));
            term->field = QStringLiteral("parents");
            term->op = QStringLiteral("in");
            term->text = first.text;
            return term;
        }
        if (first.kind != Token::Word)
            return fail(QStringLiteral("expected a term"));

        term->field = first.text;
        const Token op = next();
        if (op.kind == Token::Operator)
            term->op = op.text;
        else if (op.kind == Token::Word
                 && op.text.compare(QLatin1String("contains"), Qt::CaseInsensitive) == 0)
            term->op = QStringLiteral("contains");
        else
            return fail(QStringLiteral("expected an operator after '%1'").arg(first.text));

        const Token value = next();
        if (term->field == QLatin1String("name") || term->field == QLatin1String("mimeType")) {
            if (term->op != QLatin1String("=") && term->op != QLatin1String("!=")
                && term->op != QLatin1String("contains"))
                return fail(QStringLiteral("operator '%1' not allowed here").arg(term->op));
            if (value.kind != Token::String)
                return fail(QStringLiteral("expected a quoted value"));
            term->text = value.text;
            return term;
        }
        if (term->field == QLatin1String("trashed") || term->field == QLatin1String("starred")) {
            if (term->op != QLatin1String("=") && term->op != QLatin1String("!="))
                return fail(QStringLiteral("operator '%1' not allowed here").arg(term->op));
            if (value.kind != Token::Word
                || (value.text != QLatin1String("true") && value.text != QLatin1String("false")))
                return fail(QStringLiteral("expected true or false"));
            term->flag = value.text == QLatin1String("true");
            return term;
        }
        return fail(QStringLiteral("unsupported term '%1'").arg(term->field));
    }

    const QList<Token> &m_tokens;
    QString *m_error;
    int m_pos = 0;
};

// "contains" on names matches the start of a word: "Hello" finds "HelloWorld" and
// "my Hello", "World" does not find "HelloWorld".
bool containsWordPrefix(const QString &name, const QString &value)
{
    if (value.isEmpty())
        return true;
    int from = 0;
    for (;;) {
        const int at = name.indexOf(value, from, Qt::CaseInsensitive);
        if (at < 0)
            return false;
        if (at == 0 || !name.at(at - 1).isLetterOrNumber())
            return true;
        from = at + 1;
    }
}

bool evaluate(const DriveQuery::Node &node, const DriveEntry &entry)
{
    switch (node.kind) {
    case DriveQuery::Node::And:
        return evaluate(*node.left, entry) && evaluate(*node.right, entry);
    case DriveQuery::Node::Or:
        return evaluate(*node.left, entry) || evaluate(*node.right, entry);
    case DriveQuery::Node::Not:
        return !evaluate(*node.left, entry);
    case DriveQuery::Node::Term:
        break;
    }
    const bool negate = node.op == QLatin1String("!=");
    if (node.field == QLatin1String("parents"))
        return entry.parents.contains(node.text);
    if (node.field == QLatin1String("name")) {
        if (node.op == QLatin1String("contains"))
            return containsWordPrefix(entry.name, node.text);
        return (entry.name.compare(node.text, Qt::CaseInsensitive) == 0) != negate;
    }
    if (node.field == QLatin1String("mimeType")) {
        if (node.op == QLatin1String("contains"))
            return entry.mimeType.contains(node.text, Qt::CaseInsensitive);
        return (entry.mimeType == node.text) != negate;
    }
    if (node.field == QLatin1String("trashed"))
        return (entry.trashed == node.flag) != negate;
    // starred: nothing in the emulator is starred
    return (false == node.flag) != negate;
}
} // namespace

namespace {
constexpr int MaxTokens = 1000;
} // namespace

DriveQuery::DriveQuery() = default;
DriveQuery::~DriveQuery() = default;
DriveQuery::DriveQuery(const DriveQuery &other) = default;
DriveQuery &DriveQuery::operator=(const DriveQuery &other) = default;

DriveQuery DriveQuery::parse(const QString &text, QString *error)
{
    DriveQuery query;
    error->clear();
    if (text.trimmed().isEmpty())
        return query;
    QList<Token> tokens;
    // The parser, the evaluation and the tree's destruction all recurse as deep as the query
    // nests: a bound on its size keeps a hostile query from exhausting the stack.
    if (Tokenizer(text).tokenize(tokens, error)) {
        if (tokens.size() > MaxTokens)
            *error = QStringLiteral("The query is too complex.");
        else
            query.m_root = Parser(tokens, error).parse();
    }
    query.m_valid = query.m_root != nullptr;
    return query;
}

bool DriveQuery::matches(const DriveEntry &entry) const
{
    return m_valid && (!m_root || evaluate(*m_root, entry));
}
