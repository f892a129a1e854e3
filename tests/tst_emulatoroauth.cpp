// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"

#include <QCryptographicHash>
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

    void authorizeRefusesWithoutRedirect_data();
    void authorizeRefusesWithoutRedirect();
    void exchangeCode();
    void tokenErrors_data();
    void tokenErrors();
    void pkce_data();
    void pkce();
    void refresh_data();
    void refresh();

private:
    QUrl authorizeUrl(const QList<QPair<QString, QString>> &override = {}) const;
    QString approvedCode(const QList<QPair<QString, QString>> &extra = {});
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

// The consent address as a client makes it; a null value in override removes that item.
QUrl TestEmulatorOAuth::authorizeUrl(const QList<QPair<QString, QString>> &override) const
{
    QUrlQuery query({ { QStringLiteral("response_type"), QStringLiteral("code") },
                      { QStringLiteral("client_id"), ClientId },
                      { QStringLiteral("redirect_uri"), Redirect },
                      { QStringLiteral("scope"), Scope },
                      { QStringLiteral("state"), QStringLiteral("st4te") } });
    for (const auto &[key, value] : override) {
        query.removeAllQueryItems(key);
        if (!value.isNull())
            query.addQueryItem(key, QString::fromLatin1(QUrl::toPercentEncoding(value)));
    }
    QUrl url = m_emulator.url(QStringLiteral("/o/oauth2/v2/auth"));
    url.setQuery(query);
    return url;
}

QString TestEmulatorOAuth::approvedCode(const QList<QPair<QString, QString>> &extra)
{
    m_emulator.setSettings({ { QStringLiteral("autoApprove"), true } });
    const auto reply = m_http.get(authorizeUrl(extra));
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

void TestEmulatorOAuth::authorizeRefusesWithoutRedirect_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("error");

    QTest::newRow("no client") << "client_id" << QString() << 401 << "invalid_client";
    QTest::newRow("unknown client") << "client_id"
                                    << "someone-else" << 401 << "invalid_client";
    QTest::newRow("remote redirect") << "redirect_uri"
                                     << "http://example.org/" << 400 << "redirect_uri_mismatch";
    QTest::newRow("https loopback") << "redirect_uri"
                                    << "https://127.0.0.1:5479/" << 400 << "redirect_uri_mismatch";
    QTest::newRow("no scope") << "scope" << QString() << 400 << "invalid_request";
    QTest::newRow("unknown scope")
            << "scope"
            << "https://www.googleapis.com/auth/gmail" << 400 << "invalid_scope";
}

void TestEmulatorOAuth::authorizeRefusesWithoutRedirect()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QString, error);
    const auto reply = m_http.get(authorizeUrl({ { key, value } }));
    QTEST(reply.status, "status");
    QVERIFY(reply.header("Location").isEmpty());
    QVERIFY(reply.header("Content-Type").startsWith("text/html"));
    QVERIFY(reply.body.contains(error.toUtf8()));
}

QList<QPair<QString, QString>> TestEmulatorOAuth::codeGrant(const QString &code)
{
    return { { QStringLiteral("grant_type"), QStringLiteral("authorization_code") },
             { QStringLiteral("code"), code },
             { QStringLiteral("client_id"), ClientId },
             { QStringLiteral("client_secret"), Secret },
             { QStringLiteral("redirect_uri"), Redirect } };
}

void TestEmulatorOAuth::exchangeCode()
{
    const QString code = approvedCode();
    // Real codes hold a slash.
    QVERIFY2(code.startsWith(QLatin1String("4/")), qPrintable(code));
    const auto reply = token(codeGrant(code));
    QCOMPARE(reply.status, 200);
    const QJsonObject answer = reply.json();
    QVERIFY(answer.value(QStringLiteral("access_token"))
                    .toString()
                    .startsWith(QLatin1String("ya29.")));
    QVERIFY(answer.value(QStringLiteral("refresh_token"))
                    .toString()
                    .startsWith(QLatin1String("1//")));
    QCOMPARE(answer.value(QStringLiteral("expires_in")).toInt(), 3599);
    QCOMPARE(answer.value(QStringLiteral("token_type")).toString(), QStringLiteral("Bearer"));
    QCOMPARE(answer.value(QStringLiteral("scope")).toString(), Scope);

    // The access token opens the Drive endpoints.
    const auto files = m_http.get(
            m_emulator.url(QStringLiteral("/drive/v3/files")),
            { { "Authorization",
                "Bearer " + answer.value(QStringLiteral("access_token")).toString().toUtf8() } });
    QCOMPARE(files.status, 200);
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

void TestEmulatorOAuth::pkce_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QString>("verifier");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("description");

    const QString right = QStringLiteral("a-verifier-of-enough-length-0123456789abcdef");
    QTest::newRow("S256") << "S256" << right << 200 << QString();
    QTest::newRow("plain") << "plain" << right << 200 << QString();
    QTest::newRow("wrong verifier") << "S256"
                                    << "another-verifier" << 400 << "Invalid code verifier.";
    QTest::newRow("missing verifier") << "S256" << QString() << 400 << "Missing code verifier.";
}

void TestEmulatorOAuth::pkce()
{
    QFETCH(QString, method);
    QFETCH(QString, verifier);
    const QString right = QStringLiteral("a-verifier-of-enough-length-0123456789abcdef");
    const QString challenge = method == QLatin1String("S256")
            ? QString::fromLatin1(
                    QCryptographicHash::hash(right.toLatin1(), QCryptographicHash::Sha256)
                            .toBase64(QByteArray::Base64UrlEncoding
                                      | QByteArray::OmitTrailingEquals))
            : right;
    const QString code = approvedCode({ { QStringLiteral("code_challenge"), challenge },
                                        { QStringLiteral("code_challenge_method"), method } });
    QList<QPair<QString, QString>> parameters = codeGrant(code);
    if (!verifier.isNull())
        parameters.append({ QStringLiteral("code_verifier"), verifier });
    const auto reply = token(parameters);
    QTEST(reply.status, "status");
    QTEST(reply.json().value(QStringLiteral("error_description")).toString(), "description");
}

// A refresh answers with an access token only; a revoked refresh token is refused. Clients may
// repeat parameters.
void TestEmulatorOAuth::refresh_data()
{
    QTest::addColumn<bool>("revoked");
    QTest::newRow("valid") << false;
    QTest::newRow("revoked") << true;
}

void TestEmulatorOAuth::refresh()
{
    QFETCH(bool, revoked);
    QString refresh;
    m_emulator.issueAccessToken(&refresh);
    if (revoked)
        m_emulator.control("POST", QStringLiteral("tokens/revoke"));
    const auto reply =
            token({ { QStringLiteral("grant_type"), QStringLiteral("refresh_token") },
                    { QStringLiteral("refresh_token"), refresh },
                    { QStringLiteral("client_id"), QStringLiteral("gdapp-desktop-client") },
                    { QStringLiteral("client_id"), ClientId },
                    { QStringLiteral("client_secret"), Secret } });
    QVERIFY(!reply.json().contains(QStringLiteral("refresh_token")));
    if (revoked) {
        QCOMPARE(reply.status, 400);
        QCOMPARE(reply.json().value(QStringLiteral("error")).toString(),
                 QStringLiteral("invalid_grant"));
        QCOMPARE(reply.json().value(QStringLiteral("error_description")).toString(),
                 QStringLiteral("Token has been expired or revoked."));
    } else {
        QCOMPARE(reply.status, 200);
        QVERIFY(reply.json()
                        .value(QStringLiteral("access_token"))
                        .toString()
                        .startsWith(QLatin1String("ya29.")));
    }
}

QTEST_GUILESS_MAIN(TestEmulatorOAuth)
#include "tst_emulatoroauth.moc"
