// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "fieldselection.h"

#include <QJsonArray>

namespace {
constexpr int MaxDepth = 64;

bool isNameCharacter(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('@')
            || c == QLatin1Char('.') || c == QLatin1Char('*');
}

void skipSpaces(const QString &text, int &pos)
{
    while (pos < text.size() && text.at(pos).isSpace())
        ++pos;
}
} // namespace

FieldSelection FieldSelection::parse(const QString &text, QString *error)
{
    FieldSelection selection;
    if (text.trimmed().isEmpty())
        return selection;
    selection.m_given = true;
    int pos = 0;
    if (!selection.parseList(text, pos, false, 0, error))
        return FieldSelection();
    return selection;
}

bool FieldSelection::fail(const QString &text, QString *error)
{
    *error = QStringLiteral("Invalid field selection ") + text;
    return false;
}

// list := item (',' item)*
bool FieldSelection::parseList(const QString &text, int &pos, bool nested, int depth,
                               QString *error)
{
    m_given = true;
    for (;;) {
        if (!parseItem(text, pos, depth, error))
            return false;
        skipSpaces(text, pos);
        if (pos >= text.size())
            return !nested || fail(text, error);
        const QChar c = text.at(pos);
        if (c == QLatin1Char(')'))
            return nested || fail(text, error);
        if (c != QLatin1Char(','))
            return fail(text, error);
        ++pos;
    }
}

// item := name ('/' item | '(' list ')')?
bool FieldSelection::parseItem(const QString &text, int &pos, int depth, QString *error)
{
    m_given = true;
    // Each level is a level of recursion, here and when the selection is applied.
    if (depth > MaxDepth)
        return fail(text, error);
    skipSpaces(text, pos);
    const int start = pos;
    while (pos < text.size() && isNameCharacter(text.at(pos)))
        ++pos;
    const QString name = text.mid(start, pos - start);
    if (name.isEmpty())
        return fail(text, error);
    skipSpaces(text, pos);
    if (name == QLatin1String("*")) {
        m_all = true;
        return true;
    }
    FieldSelection &child = m_children[name];
    if (pos < text.size() && text.at(pos) == QLatin1Char('/')) {
        ++pos;
        return child.parseItem(text, pos, depth + 1, error);
    }
    if (pos < text.size() && text.at(pos) == QLatin1Char('(')) {
        ++pos;
        if (!child.parseList(text, pos, true, depth + 1, error))
            return false;
        if (pos >= text.size() || text.at(pos) != QLatin1Char(')'))
            return fail(text, error);
        ++pos;
    }
    return true;
}

FieldSelection FieldSelection::child(const QString &key) const
{
    if (m_all)
        return FieldSelection();
    return m_children.value(key);
}

QJsonObject FieldSelection::apply(const QJsonObject &object) const
{
    if (!m_given || m_all)
        return object;
    QJsonObject selected;
    for (auto it = m_children.cbegin(); it != m_children.cend(); ++it) {
        if (!object.contains(it.key()))
            continue;
        const QJsonValue value = object.value(it.key());
        const FieldSelection &sub = it.value();
        if (!sub.m_given) {
            selected.insert(it.key(), value);
        } else if (value.isArray()) {
            QJsonArray items;
            for (const QJsonValue &item : value.toArray())
                items.append(item.isObject() ? QJsonValue(sub.apply(item.toObject())) : item);
            selected.insert(it.key(), items);
        } else if (value.isObject()) {
            selected.insert(it.key(), sub.apply(value.toObject()));
        } else {
            selected.insert(it.key(), value);
        }
    }
    return selected;
}
