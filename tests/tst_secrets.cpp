// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"
#include "gdapprunner.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

// Access and refresh tokens never reach the command-line host's output, nor the plug-in's messages,
// which it passes on with --verbose, whatever happens in a session.
class TestSecrets : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void commandLineSessionKeepsTokensOutOfItsOutput();

private:
    // Every token the service handed out or received, as the request log shows them.
    QStringList tokensSeen();
    static QStringList leaks(const QString &text, const QStringList &tokens);

    EmulatorProcess m_emulator;
};

void TestSecrets::initTestCase()
{
    QVERIFY(m_emulator.start({ QStringLiteral("--auto-approve") }));
}

QStringList TestSecrets::tokensSeen()
{
    static const QRegularExpression bearer(QStringLiteral("^Bearer (.+)$"));
    static const QRegularExpression refresh(QStringLiteral("\"refresh_token\"\\s*:\\s*\"([^\"]+)\"|"
                                                           "refresh_token=([^&]+)"));
    QStringList tokens;
    for (const QJsonValue &value : m_emulator.requests()) {
        const QJsonObject entry = value.toObject();
        for (const QJsonValue &header : entry.value(QStringLiteral("headers")).toArray()) {
            const QRegularExpressionMatch match = bearer.match(header.toArray().at(1).toString());
            if (match.hasMatch())
                tokens.append(match.captured(1));
        }
        const QString body = QString::fromUtf8(
                QByteArray::fromBase64(entry.value(QStringLiteral("body")).toString().toLatin1()));
        const QRegularExpressionMatch match = refresh.match(body);
        if (match.hasMatch())
            tokens.append(
                    QUrl::fromPercentEncoding((match.captured(1) + match.captured(2)).toUtf8()));
    }
    tokens.removeDuplicates();
    tokens.removeAll(QString());
    return tokens;
}

QStringList TestSecrets::leaks(const QString &text, const QStringList &tokens)
{
    QStringList found = tokens;
    found.removeIf([&text](const QString &token) { return !text.contains(token); });
    return found;
}

void TestSecrets::commandLineSessionKeepsTokensOutOfItsOutput()
{
    QTemporaryDir config;
    QTemporaryDir work;
    GdappRunner gdapp(QStringLiteral(GDAPP_PROGRAM));
    gdapp.setEnvironment(GdappRunner::environmentFor(m_emulator.url(), config.path()));
    const QString local = work.filePath(QStringLiteral("local.txt"));
    QFile file(local);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("local content");
    file.close();

    m_emulator.clearRequests();
    // The plug-in writes a diagnostic for the failed removal, the host its own message for both.
    m_emulator.addFault(
            json(R"({"method": "DELETE", "path": "/drive/v3/files/*", "status": 401})"));
    const QList<QStringList> session {
        { "login" },
        { "put", local, "gdapp:/" },
        { "ls", "gdapp:/" },
        { "stat", "gdapp:/local.txt" },
        { "get", "gdapp:/local.txt", work.filePath(QStringLiteral("back.txt")) },
        { "rm", "gdapp:/local.txt" },
        { "get", "gdapp:/missing.txt", work.filePath(QStringLiteral("missing.txt")) },
    };
    QByteArray output;
    QList<int> exitCodes;
    for (const QStringList &command : session) {
        const GdappRunner::Run run =
                gdapp.run(QStringList { QStringLiteral("--verbose") } + command);
        exitCodes.append(run.exitCode);
        output += run.out + run.err;
    }
    QCOMPARE(exitCodes, (QList<int> { 0, 0, 0, 0, 0, 4, 3 }));

    const QStringList tokens = tokensSeen();
    QVERIFY2(tokens.size() >= 2, "an access and a refresh token at least");
    QVERIFY(output.contains("GoogleFile::remove") && output.contains("no such file or folder"));
    QCOMPARE(leaks(QString::fromUtf8(output), tokens), QStringList());

    // The stored tokens are enciphered, not written out as they are.
    QFile settings(config.filePath(QStringLiteral("Tarnwick/gdapp.conf")));
    QVERIFY(settings.open(QIODevice::ReadOnly));
    QCOMPARE(leaks(QString::fromUtf8(settings.readAll()), tokens), QStringList());
}

QTEST_MAIN(TestSecrets)
#include "tst_secrets.moc"
