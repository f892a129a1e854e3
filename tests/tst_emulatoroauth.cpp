// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"

#include <QtTest>

namespace {
const QString ClientId = QStringLiteral("test-client");
const QString Secret = QStringLiteral("test-secret");
const QString Redirect = QStringLiteral("http://127.0.0.1:5479/");
const QString Scope = QStringLiteral("https://www.googleapis.com/auth/drive.appfolder");

QUrlQuery redirectQuery(const BlockingHttpClient::Reply &reply)
{
    return QUrlQuery(QUrl(QString::fromUtf8(reply.header("Location"))).query(QUrl::FullyEncoded));
}
} // namespace

// The emulator's authorization and token endpoints.
class TestEmulatorOAuth : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void tokenErrors_data();
    void tokenErrors();
    void proofKeyMustMatch_data();
    void proofKeyMustMatch();

private:
    QString approvedCode(const QString &challenge = QString());
    static QList<QPair<QString, QString>> codeGrant(const QString &code);
    BlockingHttpClient::Reply token(const QList<QPair<QString, QString>> &parameters);

    EmulatorProcess m_emulator;
    BlockingHttpClient m_http;
};

void TestEmulatorOAuth::initTestCase()
{
    QVERIFY(m_emulator.start({ QStringLiteral("--client-id"), ClientId,
                               QStringLiteral("--client-secret"), Secret }));
}

void TestEmulatorOAuth::init()
{
    m_emulator.control("POST", QStringLiteral("reset"));
    m_emulator.setSettings({ { QStringLiteral("autoApprove"), false } });
}

// A code from a consent the emulator approves by itself, as a client receives it; with an S256
// proof-key challenge when one is given.
QString TestEmulatorOAuth::approvedCode(const QString &challenge)
{
    m_emulator.setSettings({ { QStringLiteral("autoApprove"), true } });
    QUrl url = m_emulator.url(QStringLiteral("/o/oauth2/v2/auth"));
    QUrlQuery query({ { QStringLiteral("response_type"), QStringLiteral("code") },
                      { QStringLiteral("client_id"), ClientId },
                      { QStringLiteral("redirect_uri"), Redirect },
                      { QStringLiteral("scope"), Scope } });
    if (!challenge.isEmpty()) {
        query.addQueryItem(QStringLiteral("code_challenge"), challenge);
        query.addQueryItem(QStringLiteral("code_challenge_method"), QStringLiteral("S256"));
    }
    url.setQuery(query);
    const auto reply = m_http.get(url);
    return QUrl::fromPercentEncoding(
            redirectQuery(reply)
                    .queryItemValue(QStringLiteral("code"), QUrl::FullyEncoded)
                    .toLatin1());
}

BlockingHttpClient::Reply TestEmulatorOAuth::token(const QList<QPair<QString, QString>> &parameters)
{
    QUrlQuery form;
    for (const auto &pair : parameters)
        form.addQueryItem(pair.first, QString::fromLatin1(QUrl::toPercentEncoding(pair.second)));
    return m_http.send("POST", m_emulator.url(QStringLiteral("/o/oauth2/token")),
                       { { "Content-Type", "application/x-www-form-urlencoded" } },
                       form.query(QUrl::FullyEncoded).toLatin1());
}

QList<QPair<QString, QString>> TestEmulatorOAuth::codeGrant(const QString &code)
{
    return { { QStringLiteral("grant_type"), QStringLiteral("authorization_code") },
             { QStringLiteral("code"), code },
             { QStringLiteral("client_id"), ClientId },
             { QStringLiteral("client_secret"), Secret },
             { QStringLiteral("redirect_uri"), Redirect } };
}

// A code exchange with one parameter changed ("" removes it).
void TestEmulatorOAuth::tokenErrors_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("description");

    QTest::newRow("code used twice") << "code"
                                     << "USED" << 400 << "invalid_grant"
                                     << "Bad Request";
    QTest::newRow("still percent-encoded code") << "code"
                                                << "ENCODED" << 400 << "invalid_grant"
                                                << "Malformed auth code.";
    QTest::newRow("unknown code") << "code"
                                  << "4/unknown" << 400 << "invalid_grant"
                                  << "Bad Request";
    QTest::newRow("other redirect") << "redirect_uri"
                                    << "http://127.0.0.1:9/" << 400 << "redirect_uri_mismatch"
                                    << "Bad Request";
    QTest::newRow("wrong secret") << "client_secret"
                                  << "nope" << 401 << "invalid_client"
                                  << "Unauthorized";
    QTest::newRow("no secret") << "client_secret"
                               << "" << 400 << "invalid_request"
                               << "client_secret is missing.";
    QTest::newRow("unknown client") << "client_id"
                                    << "other" << 401 << "invalid_client"
                                    << "The OAuth client was not found.";
    QTest::newRow("bad grant type") << "grant_type"
                                    << "password" << 400 << "unsupported_grant_type"
                                    << "Invalid grant_type: password";
}

void TestEmulatorOAuth::tokenErrors()
{
    QFETCH(QString, key);
    QFETCH(QString, value);

    const QString code = approvedCode();
    if (value == QLatin1String("USED"))
        QCOMPARE(token(codeGrant(code)).status, 200);
    else if (value == QLatin1String("ENCODED"))
        value = QString::fromLatin1(QUrl::toPercentEncoding(code));
    QList<QPair<QString, QString>> parameters = codeGrant(code);
    for (auto &pair : parameters) {
        if (pair.first == key && value != QLatin1String("USED"))
            pair.second = value;
    }
    parameters.removeIf([](const auto &pair) { return pair.second.isEmpty(); });
    const auto reply = token(parameters);
    QTEST(reply.status, "status");
    QTEST(reply.json().value(QStringLiteral("error")).toString(), "error");
    QTEST(reply.json().value(QStringLiteral("error_description")).toString(), "description");
}

// Newer Qt flows send a proof key (S256) with every consent: the exchange passes only with the
// verifier that made the challenge, as at the real service.
void TestEmulatorOAuth::proofKeyMustMatch_data()
{
    QTest::addColumn<QString>("verifier");
    QTest::addColumn<int>("status");

    QTest::newRow("the verifier") << QStringLiteral("v").repeated(43) << 200;
    QTest::newRow("another verifier") << QStringLiteral("w").repeated(43) << 400;
    QTest::newRow("none") << QString() << 400;
}

void TestEmulatorOAuth::proofKeyMustMatch()
{
    QFETCH(QString, verifier);
    const QByteArray challenge =
            QCryptographicHash::hash(QByteArray("v").repeated(43), QCryptographicHash::Sha256)
                    .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    QList<QPair<QString, QString>> parameters =
            codeGrant(approvedCode(QString::fromLatin1(challenge)));
    if (!verifier.isEmpty())
        parameters.append({ QStringLiteral("code_verifier"), verifier });
    const auto reply = token(parameters);
    QTEST(reply.status, "status");
    if (reply.status != 200)
        QCOMPARE(reply.json().value(QStringLiteral("error")).toString(),
                 QStringLiteral("invalid_grant"));
}

QTEST_GUILESS_MAIN(TestEmulatorOAuth)
#include "tst_emulatoroauth.moc"
