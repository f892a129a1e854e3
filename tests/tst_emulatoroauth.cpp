// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "exchange.h"

#include <QRegularExpression>
#include <QtTest>

namespace {
const QString Scope = QStringLiteral("https://www.googleapis.com/auth/drive.appfolder");
// What a consent asks, with "{query}" for more.
const QString Authorize =
        QStringLiteral("GET /o/oauth2/v2/auth?response_type=code&client_id=test-client&"
                       "redirect_uri=http://127.0.0.1:5479/&scope=%1&state=s{query}")
                .arg(Scope);
const QString Verifier = QStringLiteral("v").repeated(43);

void row(const char *name, const QString &request, int status, const QString &checks = {},
         const QStringList &steps = {})
{
    Exchange::row(name, request, status, checks, steps);
}

// A token request with a form of these parameters, or of a code's exchange when there are none.
QString token(const char *parameters = "", const char *path = "/o/oauth2/token")
{
    return QStringLiteral("POST %1\nContent-Type: application/x-www-form-urlencoded\n\n").arg(path)
            + (*parameters ? QString::fromUtf8(parameters)
                           : QStringLiteral("grant_type=authorization_code&code={code}&"
                                            "client_id=test-client&client_secret=test-secret&"
                                            "redirect_uri=http://127.0.0.1:5479/"));
}

QString withCode(const char *code, const char *more = "")
{
    return token().replace(QLatin1String("{code}"), QLatin1String(code)) + QLatin1String(more);
}

QString without(const char *parameter)
{
    return token().remove(QRegularExpression(QStringLiteral("&?%1=[^&]*").arg(parameter)));
}
} // namespace

// The emulator's authorization, consent and token endpoints: every parameter and what the
// service answers to it. In the requests, {code}, {pkce} and {plain} stand for fresh codes (the
// last two with S256 and plain proof-key challenges), {consent} for a consent waiting for its
// answer, {refresh} for a refresh token.
class TestEmulatorOAuth : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void exchanges_data();
    void exchanges();

private:
    QString fresh(const QString &query, const QString &what);

    EmulatorProcess m_emulator;
    Exchange m_exchange { m_emulator };
};

void TestEmulatorOAuth::initTestCase()
{
    QVERIFY(m_emulator.start({ "--client-id", "test-client", "--client-secret", "test-secret" }));
}

void TestEmulatorOAuth::init()
{
    m_emulator.control("POST", QStringLiteral("reset"));
    m_emulator.setSettings({ { QStringLiteral("autoApprove"), false } });
    m_exchange.values = { { QStringLiteral("query"), QString() } };
}

// What a consent with the query added gives: the code of its redirect, or the consent's number.
QString TestEmulatorOAuth::fresh(const QString &query, const QString &what)
{
    m_emulator.setSettings({ { QStringLiteral("autoApprove"), what == QLatin1String("code") } });
    const auto reply = m_exchange.send(QString(Authorize).replace(QLatin1String("{query}"), query));
    m_emulator.setSettings({ { QStringLiteral("autoApprove"), false } });
    const QString text = QString::fromUtf8(reply.header("Location") + reply.body);
    const QString pattern = what == QLatin1String("code")
            ? QStringLiteral("code=([^&]+)")
            : QStringLiteral("consent\" value=\"(\\d+)");
    return QUrl::fromPercentEncoding(
            QRegularExpression(pattern).match(text).captured(1).toLatin1());
}

void TestEmulatorOAuth::exchanges_data()
{
    Exchange::addColumns();

    const QString approve = QStringLiteral(R"(POST /_emulator/settings {"autoApprove": true})");
    row("authorize: approved at once", Authorize, 302,
        "@Location~^http://127.0.0.1:5479/\\?state=s&code=4%2F0A[-_\\w]+&scope=https%3A%2F%2F",
        { approve });
    row("authorize: scopes joined by +", QString(Authorize).replace("scope=", "scope=openid+"), 302,
        "@Location~&scope=openid\\+https%3A", { approve });
    row("authorize: the consent page", Authorize, 200,
        "#~(?s)action=\"/o/oauth2/v2/consent\".*id=\"allow\".*id=\"deny\"");
    row("authorize: unknown client", QString(Authorize).replace("test-client", "other"), 401,
        "#~The OAuth client was not found.");
    row("authorize: not a loopback redirect",
        QString(Authorize).replace("http://127.0.0.1:5479/", "https://example.org/"), 400,
        "#~redirect_uri_mismatch");
    row("authorize: another response type", QString(Authorize).replace("=code", "=token"), 302,
        "@Location=http://127.0.0.1:5479/?error=unsupported_response_type&state=s");
    row("authorize: no scope", QString(Authorize).replace("scope=", "scopes="), 400,
        "#~Missing required parameter: scope");
    row("authorize: unknown scope", QString(Authorize).replace("appfolder", "everything"), 400,
        "#~invalid_scope");
    row("authorize: unknown challenge method",
        QString(Authorize).replace("{query}", "&code_challenge=x&code_challenge_method=S512"), 400,
        "#~Invalid code_challenge_method.");

    const QString consent = QStringLiteral("POST /o/oauth2/v2/consent\nContent-Type: "
                                           "application/x-www-form-urlencoded\n\nconsent=");
    row("consent: allowed", consent + "{consent}&decision=allow", 302,
        "@Location~^http://127.0.0.1:5479/\\?state=s&code=4%2F0A");
    row("consent: denied", consent + "{consent}&decision=deny", 302,
        "@Location=http://127.0.0.1:5479/?error=access_denied&state=s");
    row("consent: answered already", consent + "1000&decision=allow", 400,
        "#~expired or was already answered");

    const char *const badRequest = "error=invalid_grant; error_description=Bad Request";
    row("token: a code", token(), 200,
        "token_type=Bearer; expires_in=3599; scope=" + Scope
                + "; access_token~^ya29\\.; refresh_token~^1//");
    row("token: at the token host's path", token("", "/token"), 200, "token_type=Bearer");
    row("token: a code twice", token(), 400, badRequest, { token() });
    row("token: a code still percent-encoded", withCode("4%252F0A"), 400,
        "error=invalid_grant; error_description=Malformed auth code.");
    row("token: unknown code", withCode("4/0Anope"), 400, badRequest);
    row("token: no code", without("code"), 400,
        "error=invalid_request; error_description=Missing required parameter: code");
    row("token: another redirect", QString(token()).replace("5479", "9"), 400,
        "error=redirect_uri_mismatch; error_description=Bad Request");
    row("token: wrong secret", QString(token()).replace("test-secret", "nope"), 401,
        "error=invalid_client; error_description=Unauthorized");
    row("token: no secret", without("client_secret"), 400,
        "error=invalid_request; error_description=client_secret is missing.");
    row("token: unknown client", QString(token()).replace("client_id=test-client", "client_id=x"),
        401, "error=invalid_client; error_description=The OAuth client was not found.");
    row("token: no client", without("client_id"), 400,
        "error_description=Could not determine client ID from request.");
    row("token: another grant", QString(token()).replace("authorization_code", "password"), 400,
        "error=unsupported_grant_type; error_description=Invalid grant_type: password");
    row("token: a verifier not asked for", token() + "&code_verifier=" + Verifier, 400,
        "error_description=code_verifier or verifier is not needed.");
    row("token: the verifier", withCode("{pkce}", "&code_verifier=") + Verifier, 200,
        "token_type=Bearer");
    row("token: another verifier", withCode("{pkce}", "&code_verifier=") + Verifier.toUpper(), 400,
        "error=invalid_grant; error_description=Invalid code verifier.");
    row("token: no verifier", withCode("{pkce}"), 400,
        "error=invalid_grant; error_description=Missing code verifier.");
    row("token: a plain verifier", withCode("{plain}", "&code_verifier=") + Verifier, 200,
        "token_type=Bearer");

    const QString refresh = token("grant_type=refresh_token&refresh_token={refresh}&client_id="
                                  "test-client&client_secret=test-secret");
    const char *const revoked =
            "error=invalid_grant; error_description=Token has been expired or revoked.";
    row("refresh", refresh, 200, "token_type=Bearer; expires_in=3599; refresh_token=");
    row("refresh: unknown", QString(refresh).replace("{refresh}", "1//nope"), 400, revoked);
    row("refresh: revoked", refresh, 400, revoked, { "POST /_emulator/tokens/revoke" });
    row("refresh: no token", QString(refresh).replace("{refresh}", ""), 400,
        "error=invalid_request; error_description=Missing required parameter: refresh_token");
    row("refresh: a fault's 503", refresh, 503, "error=server_error",
        { R"(POST /_emulator/faults {"path": "/o/oauth2/token", "status": 503})" });
}

void TestEmulatorOAuth::exchanges()
{
    QMap<QString, QString> &values = m_exchange.values;
    const QByteArray challenge =
            QCryptographicHash::hash(Verifier.toLatin1(), QCryptographicHash::Sha256)
                    .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    values.insert(QStringLiteral("code"), fresh(QString(), QStringLiteral("code")));
    values.insert(QStringLiteral("pkce"),
                  fresh("&code_challenge=" + challenge + "&code_challenge_method=S256",
                        QStringLiteral("code")));
    values.insert(QStringLiteral("plain"),
                  fresh("&code_challenge=" + Verifier, QStringLiteral("code")));
    values.insert(QStringLiteral("consent"), fresh(QString(), QStringLiteral("consent")));
    m_emulator.issueAccessToken(&values[QStringLiteral("refresh")]);
    QCOMPARE(m_exchange.run(), QString());
}

QTEST_GUILESS_MAIN(TestEmulatorOAuth)
#include "tst_emulatoroauth.moc"
