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

std::optional<FieldSelection> FieldSelection::parse(const QString &text)
{
    FieldSelection selection;
    int pos = 0;
    if (!selection.parseList(text, pos, false, 0))
        return std::nullopt;
    return selection;
}

// list := item (',' item)*
bool FieldSelection::parseList(const QString &text, int &pos, bool nested, int depth)
{
    for (;;) {
        if (!parseItem(text, pos, depth))
            return false;
        skipSpaces(text, pos);
        if (pos >= text.size())
            return !nested;
        const QChar c = text.at(pos);
        if (c == QLatin1Char(')'))
            return nested;
        if (c != QLatin1Char(','))
            return false;
        ++pos;
    }
}

// item := name ('/' item | '(' list ')')?
bool FieldSelection::parseItem(const QString &text, int &pos, int depth)
{
    // Each level is a level of recursion, here and when the selection is applied.
    if (depth > MaxDepth)
        return false;
    skipSpaces(text, pos);
    const int start = pos;
    while (pos < text.size() && isNameCharacter(text.at(pos)))
        ++pos;
    const QString name = text.mid(start, pos - start);
    if (name.isEmpty())
        return false;
    skipSpaces(text, pos);
    if (name == QLatin1String("*")) {
        m_all = true;
        return true;
    }
    FieldSelection &child = m_children[name];
    if (pos < text.size() && text.at(pos) == QLatin1Char('/')) {
        ++pos;
        return child.parseItem(text, pos, depth + 1);
    }
    if (pos < text.size() && text.at(pos) == QLatin1Char('(')) {
        ++pos;
        if (!child.parseList(text, pos, true, depth + 1))
            return false;
        if (pos >= text.size() || text.at(pos) != QLatin1Char(')'))
            return false;
        ++pos;
    }
    return true;
}

QString FieldSelection::unknownIn(const QJsonObject &shape) const
{
    for (auto it = m_children.cbegin(); it != m_children.cend() && !m_all; ++it) {
        const QJsonValue value = shape.value(it.key());
        if (value.isUndefined())
            return it.key();
        const QJsonValue item = value.isArray() ? value.toArray().at(0) : value;
        const QString unknown = item.isObject() ? it->unknownIn(item.toObject()) : QString();
        if (!unknown.isNull())
            return unknown;
    }
    return QString();
}

QJsonObject FieldSelection::apply(const QJsonObject &object) const
{
    if (m_all || m_children.isEmpty())
        return object;
    QJsonObject selected;
    for (auto it = m_children.cbegin(); it != m_children.cend(); ++it) {
        const QJsonValue value = object.value(it.key());
        if (value.isArray()) {
            QJsonArray items;
            for (const QJsonValue &item : value.toArray())
                items.append(item.isObject() ? QJsonValue(it->apply(item.toObject())) : item);
            selected.insert(it.key(), items);
        } else if (!value.isUndefined()) {
            selected.insert(it.key(),
                            value.isObject() ? QJsonValue(it->apply(value.toObject())) : value);
        }
    }
    return selected;
}
