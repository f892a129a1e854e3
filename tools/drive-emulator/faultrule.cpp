// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "faultrule.h"

#include "serviceerror.h"

#include <QRegularExpression>

#include <algorithm>
#include <iterator>

namespace {
const char *const ActionNames[] = { "answer",  "drop",     "truncate", "corrupt",
                                    "chunked", "throttle", "shortPage" };

// The keys of a rule but its action, by kind.
const std::pair<const char *, qint64 FaultRule::*> Numbers[] = {
    { "count", &FaultRule::count },
    { "status", &FaultRule::status },
    { "delayMs", &FaultRule::delayMs },
    { "truncateAt", &FaultRule::truncateAt },
    { "bytesPerSecond", &FaultRule::bytesPerSecond },
};
const std::pair<const char *, QString FaultRule::*> Texts[] = {
    { "method", &FaultRule::method }, { "path", &FaultRule::path },
    { "query", &FaultRule::query },   { "reason", &FaultRule::reason },
    { "body", &FaultRule::body },     { "contentType", &FaultRule::contentType },
};
} // namespace

bool FaultRule::matches(const HttpRequest &request) const
{
    if (!method.isEmpty()
        && method.compare(QLatin1String(request.method), Qt::CaseInsensitive) != 0)
        return false;
    if (!query.isEmpty() && !QString::fromUtf8(request.rawQuery).contains(query))
        return false;
    const QRegularExpression pattern(QRegularExpression::anchoredPattern(
            QRegularExpression::escape(path).replace(QLatin1String("\\*"), QLatin1String(".*"))));
    return pattern.match(QString::fromUtf8(request.path)).hasMatch();
}

QJsonObject FaultRule::toJson() const
{
    QJsonObject object { { QStringLiteral("action"), QLatin1String(ActionNames[action]) } };
    for (const auto &[key, member] : Numbers)
        object.insert(QLatin1String(key), double(this->*member));
    for (const auto &[key, member] : Texts)
        object.insert(QLatin1String(key), this->*member);
    return object;
}

std::optional<FaultRule> FaultRule::fromJson(const QJsonObject &object, QString *error)
{
    FaultRule rule;
    for (const auto &[key, member] : Numbers)
        rule.*member = qint64(object.value(QLatin1String(key)).toDouble(double(rule.*member)));
    for (const auto &[key, member] : Texts)
        rule.*member = object.value(QLatin1String(key)).toString(rule.*member);
    rule.method = rule.method.toUpper();
    const QString action =
            object.value(QStringLiteral("action")).toString(QStringLiteral("answer"));
    const auto known =
            std::find_if(std::begin(ActionNames), std::end(ActionNames),
                         [&action](const char *name) { return action == QLatin1String(name); });
    rule.action = Action(known - std::begin(ActionNames));
    const auto refused = [error](const QString &why) {
        *error = why;
        return std::nullopt;
    };
    if (known == std::end(ActionNames))
        return refused(QStringLiteral("unknown action %1").arg(action));
    if (rule.count == 0 || rule.count < -1 || rule.delayMs < 0
        || (rule.status != 0 && (rule.status < 100 || rule.status > 599)))
        return refused(QStringLiteral("bad count, delay or status"));
    if (!rule.reason.isEmpty() && !DriveError::forFault(int(rule.status), rule.reason)
        && !TokenError::forFault(int(rule.status), rule.reason))
        return refused(QStringLiteral("no answer with status %1 has the reason %2")
                               .arg(rule.status)
                               .arg(rule.reason));
    // A throttle is taken before the request is served, so it can answer nothing itself.
    if ((rule.action == Throttle) != (rule.bytesPerSecond > 0)
        || (rule.action == Throttle && (rule.status || rule.delayMs || !rule.body.isEmpty())))
        return refused(QStringLiteral("a throttle takes a bytesPerSecond above 0, and no status, "
                                      "delay or body; no other action takes a bytesPerSecond"));
    return rule;
}

std::optional<FaultRule> FaultRule::fromText(const QString &text, QString *error)
{
    QJsonObject object;
    for (const QString &pair : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString key = pair.section(QLatin1Char('='), 0, 0).trimmed();
        const QString value = pair.section(QLatin1Char('='), 1).trimmed();
        const auto isKey = [&key](const auto &entry) { return key == QLatin1String(entry.first); };
        bool ok = true;
        if (std::any_of(std::begin(Numbers), std::end(Numbers), isKey)) {
            object.insert(key, value.toDouble(&ok));
        } else if (key == QLatin1String("action")
                   || std::any_of(std::begin(Texts), std::end(Texts), isKey)) {
            object.insert(key, value);
        } else {
            *error = QStringLiteral("unknown key %1").arg(key);
            return std::nullopt;
        }
        if (!ok) {
            *error = QStringLiteral("%1 needs a number").arg(key);
            return std::nullopt;
        }
    }
    return fromJson(object, error);
}

std::optional<FaultRule> FaultRule::take(QList<FaultRule> &rules, const HttpRequest &request,
                                         bool throttle)
{
    for (auto it = rules.begin(); it != rules.end(); ++it) {
        if ((it->action == Throttle) != throttle || !it->matches(request))
            continue;
        const FaultRule rule = *it;
        if (it->count > 0 && --it->count == 0)
            rules.erase(it);
        return rule;
    }
    return std::nullopt;
}
