// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "fieldselection.h"

#include <QJsonArray>
#include <QRegularExpression>

namespace {
// Each level of a selection is a level of recursion, in parsing and in applying it.
constexpr int MaxDepth = 64;

bool take(const QString &text, int &pos, QLatin1Char c)
{
    while (pos < text.size() && text.at(pos).isSpace())
        ++pos;
    if (pos >= text.size() || text.at(pos) != c)
        return false;
    ++pos;
    return true;
}
} // namespace

std::optional<FieldSelection> FieldSelection::parse(const QString &text)
{
    FieldSelection selection;
    int pos = 0;
    if (!selection.parseList(text, pos, 0) || !text.mid(pos).trimmed().isEmpty())
        return std::nullopt;
    return selection;
}

// list := item (',' item)*
bool FieldSelection::parseList(const QString &text, int &pos, int depth)
{
    do {
        if (!parseItem(text, pos, depth))
            return false;
    } while (take(text, pos, QLatin1Char(',')));
    return true;
}

// item := name ('/' item | '(' list ')')?, or "*" for every member
bool FieldSelection::parseItem(const QString &text, int &pos, int depth)
{
    static const QRegularExpression name(QStringLiteral("\\G\\s*([\\w@.*]+)"),
                                         QRegularExpression::UseUnicodePropertiesOption);
    const QRegularExpressionMatch match =
            name.match(text, pos, QRegularExpression::NormalMatch,
                       QRegularExpression::DontCheckSubjectStringMatchOption);
    if (depth > MaxDepth || !match.hasMatch())
        return false;
    pos = match.capturedEnd();
    if (match.captured(1) == QLatin1String("*")) {
        m_all = true;
        return true;
    }
    FieldSelection &child = m_children[match.captured(1)];
    if (take(text, pos, QLatin1Char('/')))
        return child.parseItem(text, pos, depth + 1);
    if (take(text, pos, QLatin1Char('(')))
        return child.parseList(text, pos, depth + 1) && take(text, pos, QLatin1Char(')'));
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
