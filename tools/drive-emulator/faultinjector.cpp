// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "faultinjector.h"

#include "serviceerror.h"

#include <iterator>

namespace {
const char *const ActionNames[] = { "answer",  "drop",     "truncate", "corrupt",
                                    "chunked", "throttle", "shortPage" };
} // namespace

bool FaultRule::matches(const HttpRequest &request) const
{
    if (!method.isEmpty() && method.compare(request.method, Qt::CaseInsensitive) != 0)
        return false;
    if (!queryContains.isEmpty() && !QString::fromUtf8(request.rawQuery).contains(queryContains))
        return false;
    const QRegularExpression pattern(QRegularExpression::anchoredPattern(
            QRegularExpression::escape(path).replace(QLatin1String("\\*"), QLatin1String(".*"))));
    return pattern.match(QString::fromUtf8(request.path)).hasMatch();
}

QJsonObject FaultRule::toJson() const
{
    QJsonObject object { { QStringLiteral("method"), QString::fromLatin1(method) },
                         { QStringLiteral("path"), path },
                         { QStringLiteral("count"), count },
                         { QStringLiteral("action"), QLatin1String(ActionNames[action]) } };
    if (!queryContains.isEmpty())
        object.insert(QStringLiteral("query"), queryContains);
    if (status)
        object.insert(QStringLiteral("status"), status);
    if (!reason.isEmpty())
        object.insert(QStringLiteral("reason"), reason);
    if (delayMs)
        object.insert(QStringLiteral("delayMs"), delayMs);
    if (truncateAt >= 0)
        object.insert(QStringLiteral("truncateAt"), truncateAt);
    if (bytesPerSecond)
        object.insert(QStringLiteral("bytesPerSecond"), bytesPerSecond);
    if (!body.isEmpty())
        object.insert(QStringLiteral("body"), QString::fromUtf8(body));
    return object;
}

std::optional<FaultRule> FaultRule::fromJson(const QJsonObject &object, QString *error)
{
    FaultRule rule;
    rule.method = object.value(QStringLiteral("method")).toString().toLatin1().toUpper();
    rule.path = object.value(QStringLiteral("path")).toString(QStringLiteral("*"));
    rule.queryContains = object.value(QStringLiteral("query")).toString();
    rule.count = object.value(QStringLiteral("count")).toInt(1);
    rule.status = object.value(QStringLiteral("status")).toInt(0);
    rule.reason = object.value(QStringLiteral("reason")).toString();
    rule.delayMs = object.value(QStringLiteral("delayMs")).toInt(0);
    rule.truncateAt = qint64(object.value(QStringLiteral("truncateAt")).toDouble(-1));
    rule.bytesPerSecond = qint64(object.value(QStringLiteral("bytesPerSecond")).toDouble(0));
    rule.body = object.value(QStringLiteral("body")).toString().toUtf8();
    rule.contentType = object.value(QStringLiteral("contentType")).toString().toUtf8();
    const QString action =
            object.value(QStringLiteral("action")).toString(QStringLiteral("answer"));
    bool known = false;
    for (int i = 0; i < int(std::size(ActionNames)); ++i) {
        if (action == QLatin1String(ActionNames[i])) {
            rule.action = Action(i);
            known = true;
        }
    }
    if (!known) {
        *error = QStringLiteral("unknown action %1").arg(action);
        return std::nullopt;
    }
    if (rule.count == 0 || rule.count < -1 || rule.delayMs < 0
        || (rule.status != 0 && (rule.status < 100 || rule.status > 599))) {
        *error = QStringLiteral("bad count, delay or status");
        return std::nullopt;
    }
    if (!rule.reason.isEmpty() && !DriveError::forFault(rule.status, rule.reason)
        && !TokenError::forFault(rule.status, rule.reason)) {
        *error = QStringLiteral("no answer with status %1 has the reason %2")
                         .arg(rule.status)
                         .arg(rule.reason);
        return std::nullopt;
    }
    // A throttle is taken before the request is served, so it can answer nothing itself.
    if ((rule.action == Throttle) != (rule.bytesPerSecond > 0)
        || (rule.action == Throttle && (rule.status || rule.delayMs || !rule.body.isEmpty()))) {
        *error = QStringLiteral("a throttle takes a bytesPerSecond above 0, and no status, delay "
                                "or body; no other action takes a bytesPerSecond");
        return std::nullopt;
    }
    return rule;
}

std::optional<FaultRule> FaultRule::fromText(const QString &text, QString *error)
{
    QJsonObject object;
    for (const QString &pair : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const int equals = pair.indexOf(QLatin1Char('='));
        const QString key = pair.left(equals).trimmed();
        const QString value = equals < 0 ? QString() : pair.mid(equals + 1).trimmed();
        static const QStringList numbers { QStringLiteral("count"), QStringLiteral("status"),
                                           QStringLiteral("delayMs"), QStringLiteral("truncateAt"),
                                           QStringLiteral("bytesPerSecond") };
        static const QStringList texts { QStringLiteral("method"), QStringLiteral("path"),
                                         QStringLiteral("query"),  QStringLiteral("action"),
                                         QStringLiteral("body"),   QStringLiteral("contentType"),
                                         QStringLiteral("reason") };
        if (numbers.contains(key)) {
            bool ok = false;
            object.insert(key, value.toDouble(&ok));
            if (!ok) {
                *error = QStringLiteral("%1 needs a number").arg(key);
                return std::nullopt;
            }
        } else if (texts.contains(key)) {
            object.insert(key, value);
        } else {
            *error = QStringLiteral("unknown key %1").arg(key);
            return std::nullopt;
        }
    }
    return fromJson(object, error);
}

QJsonArray FaultInjector::rules() const
{
    QJsonArray array;
    for (const FaultRule &rule : m_rules)
        array.append(rule.toJson());
    return array;
}

std::optional<FaultRule> FaultInjector::takeFirst(const HttpRequest &request, bool throttle)
{
    for (auto it = m_rules.begin(); it != m_rules.end(); ++it) {
        if ((it->action == FaultRule::Throttle) != throttle || !it->matches(request))
            continue;
        const FaultRule rule = *it;
        if (it->count > 0 && --it->count == 0)
            m_rules.erase(it);
        return rule;
    }
    return std::nullopt;
}
