// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "exchangetest.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QtTest>

namespace {
// The values at a path of keys and indexes, "*" standing for every item of an array.
QStringList valuesAt(const QJsonValue &value, QStringList path)
{
    if (path.isEmpty() && !value.isArray()) {
        if (value.isUndefined())
            return {};
        return { value.isObject() ? QStringLiteral("(object)") : value.toVariant().toString() };
    }
    const QString step = path.isEmpty() ? QStringLiteral("*") : path.takeFirst();
    if (step == QLatin1String(":keys"))
        return value.toObject().keys();
    if (step != QLatin1String("*"))
        return valuesAt(value.isArray() ? value[step.toInt()] : value[step], path);
    QStringList all;
    for (const QJsonValue &item : value.toArray())
        all += valuesAt(item, path);
    return all;
}
} // namespace

void ExchangeTest::addColumns()
{
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("request");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("checks");
}

void ExchangeTest::row(const char *name, const QString &request, int status, const QString &checks,
                       const QStringList &steps)
{
    QTest::newRow(name) << steps << request << status << checks;
}

QString ExchangeTest::run()
{
    QFETCH(QStringList, steps);
    QFETCH(QString, request);
    QFETCH(int, status);
    QFETCH(QString, checks);
    for (const QString &step : steps)
        send(step);
    const BlockingHttpClient::Reply reply = send(request);
    if (reply.status != status)
        return QStringLiteral("%1 %2").arg(reply.status).arg(QString::fromUtf8(reply.body));
    return mismatches(reply, checks).join(QLatin1String("; "));
}

BlockingHttpClient::Reply ExchangeTest::send(const QString &text)
{
    const QString request = substituted(text);
    const qsizetype blank = request.indexOf(QLatin1String("\n\n"));
    QStringList lines = request.left(blank).split(QLatin1Char('\n'));
    const QString first = lines.takeFirst();
    const QByteArray body =
            (blank < 0 ? first.section(QLatin1Char(' '), 2) : request.mid(blank + 2)).toUtf8();
    if (!body.isEmpty())
        lines.prepend(QStringLiteral("Content-Type: application/json"));
    BlockingHttpClient::Headers headers = defaults;
    for (const QString &line : lines) {
        const QByteArray name = line.section(QLatin1Char(':'), 0, 0).toLatin1();
        const QByteArray value = line.section(QLatin1Char(':'), 1).trimmed().toUtf8();
        headers.removeIf([&name](const auto &header) { return header.first == name; });
        if (!value.isEmpty())
            headers.append({ name, value });
    }
    const BlockingHttpClient::Reply reply =
            m_http.send(first.section(QLatin1Char(' '), 0, 0).toLatin1(),
                        emulator.url(first.section(QLatin1Char(' '), 1, 1)), headers, body);
    const QJsonObject answer = reply.json();
    for (auto it = answer.begin(); it != answer.end(); ++it) {
        if (it->isString() || it->isDouble())
            values.insert(it.key(), it->toVariant().toString());
    }
    return reply;
}

QStringList ExchangeTest::mismatches(const BlockingHttpClient::Reply &reply,
                                     const QString &checks) const
{
    static const QRegularExpression step(QStringLiteral("\\.|(?=:)"));
    QStringList failed;
    for (const QString &check : checks.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const qsizetype operation = check.indexOf(QRegularExpression(QStringLiteral("[=~]")));
        const QString path = check.left(operation).trimmed();
        const QString expected = substituted(check.mid(operation + 1).trimmed());
        QString actual;
        if (path == QLatin1String("#"))
            actual = QString::fromUtf8(reply.body);
        else if (path.startsWith(QLatin1Char('@')))
            actual = QString::fromUtf8(reply.header(path.mid(1).toLatin1()));
        else
            actual = valuesAt(reply.json(), path.split(step, Qt::SkipEmptyParts))
                             .join(QLatin1Char(','));
        const bool matches = check.at(operation) == QLatin1Char('=')
                ? actual == expected
                : QRegularExpression(expected).match(actual).hasMatch();
        if (!matches)
            failed.append(QStringLiteral("%1: %2, not %3").arg(path, actual, expected));
    }
    return failed;
}

QString ExchangeTest::substituted(QString text) const
{
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        text.replace(QLatin1Char('{') + it.key() + QLatin1Char('}'), it.value());
    return text;
}
