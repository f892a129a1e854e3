// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "exchangetest.h"

#include <QRegularExpression>
#include <QtTest>

namespace {
const QString Scope = QStringLiteral("https://www.googleapis.com/auth/drive.appfolder");
const QString Authorize =
        QStringLiteral("GET /o/oauth2/v2/auth?response_type=code&client_id=test-client&"
                       "redirect_uri=http://127.0.0.1:5479/&scope=%1&state=s")
                .arg(Scope);
const QString Verifier = QStringLiteral("v").repeated(43);
// The verifier's S256 challenge.
const QString Challenge = QStringLiteral("7w_YNF9DSfIdPf_pRjSq646_kPr-2-o9NAl16JGghdM");

// A form sent to the token endpoint, and the exchange of a code.
QString tokenRequest(const QString &form)
{
    return "POST /o/oauth2/token\nContent-Type: application/x-www-form-urlencoded\n\n" + form;
}
const QString Token = tokenRequest("grant_type=authorization_code&code={code}&client_id="
                                   "test-client&client_secret=test-secret&redirect_uri="
                                   "http://127.0.0.1:5479/");

QString with(QString text, const QString &from, const QString &to)
{
    return text.replace(from, to);
}

QString without(const char *parameter)
{
    return QString(Token).remove(QRegularExpression(QStringLiteral("&?%1=[^&]*").arg(parameter)));
}
} // namespace

// The emulator's authorization, consent and token endpoints: every parameter and what the
// service answers to it. In the requests, {code}, {pkce} and {plain} stand for fresh codes (the
// last two with S256 and plain proof-key challenges), {consent} for a consent waiting for its
// answer, {refresh} for a refresh token.
class TestEmulatorOAuth : public ExchangeTest
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(emulator.start({ "--client-id", "test-client", "--client-secret", "test-secret" }));
    }
    void init();
    void exchanges_data();
    void exchanges() { QCOMPARE(run(), QString()); }

private:
    QString consent(const QString &query);
};

void TestEmulatorOAuth::init()
{
    emulator.control("POST", QStringLiteral("reset"));
    emulator.setSettings(json(R"({"autoApprove": true})"));
    values.insert(QStringLiteral("code"), consent(QString()));
    values.insert(QStringLiteral("pkce"),
                  consent("&code_challenge=" + Challenge + "&code_challenge_method=S256"));
    values.insert(QStringLiteral("plain"), consent("&code_challenge=" + Verifier));
    emulator.setSettings(json(R"({"autoApprove": false})"));
    values.insert(QStringLiteral("consent"), consent(QString()));
    emulator.issueAccessToken(&values[QStringLiteral("refresh")]);
}

// What a consent with the query added gives: the code of its redirect when it is approved at
// once, else the number of the consent that its page asks.
QString TestEmulatorOAuth::consent(const QString &query)
{
    static const QRegularExpression answer(QStringLiteral("code=([^&]+)|consent\" value=\"(\\d+)"));
    const BlockingHttpClient::Reply reply = send(Authorize + query);
    const auto match = answer.match(QString::fromUtf8(reply.header("Location") + reply.body));
    return QUrl::fromPercentEncoding((match.captured(1) + match.captured(2)).toLatin1());
}

void TestEmulatorOAuth::exchanges_data()
{
    addColumns();

    const QString approve = QStringLiteral(R"(POST /_emulator/settings {"autoApprove": true})");
    row("authorize: approved at once", Authorize, 302,
        "@Location~^http://127.0.0.1:5479/\\?state=s&code=4%2F0A[-_\\w]+&scope=https%3A%2F%2F",
        { approve });
    row("authorize: scopes joined by +", with(Authorize, "scope=", "scope=openid+"), 302,
        "@Location~&scope=openid\\+https%3A", { approve });
    row("authorize: the consent page", Authorize, 200,
        "#~(?s)action=\"/o/oauth2/v2/consent\".*id=\"allow\".*id=\"deny\"");
    row("authorize: unknown client", with(Authorize, "test-client", "other"), 401,
        "#~The OAuth client was not found.");
    row("authorize: not a loopback redirect",
        with(Authorize, "http://127.0.0.1:5479/", "https://example.org/"), 400,
        "#~redirect_uri_mismatch");
    row("authorize: another response type", with(Authorize, "=code", "=token"), 302,
        "@Location=http://127.0.0.1:5479/?error=unsupported_response_type&state=s");
    row("authorize: no scope", with(Authorize, "scope=", "scopes="), 400,
        "#~Missing required parameter: scope");
    row("authorize: unknown scope", with(Authorize, "appfolder", "everything"), 400,
        "#~invalid_scope");
    row("authorize: unknown challenge method",
        Authorize + "&code_challenge=x&code_challenge_method=S512", 400,
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
    row("token: a code", Token, 200,
        "token_type=Bearer; expires_in=3599; scope=" + Scope
                + "; access_token~^ya29\\.; refresh_token~^1//");
    row("token: at the token host's path", with(Token, "/o/oauth2/token", "/token"), 200,
        "token_type=Bearer");
    row("token: a code twice", Token, 400, badRequest, { Token });
    row("token: a code still percent-encoded", with(Token, "{code}", "4%252F0A"), 400,
        "error=invalid_grant; error_description=Malformed auth code.");
    row("token: unknown code", with(Token, "{code}", "4/0Anope"), 400, badRequest);
    row("token: no code", without("code"), 400,
        "error=invalid_request; error_description=Missing required parameter: code");
    row("token: another redirect", with(Token, "5479", "9"), 400,
        "error=redirect_uri_mismatch; error_description=Bad Request");
    row("token: wrong secret", with(Token, "test-secret", "nope"), 401,
        "error=invalid_client; error_description=Unauthorized");
    row("token: no secret", without("client_secret"), 400,
        "error=invalid_request; error_description=client_secret is missing.");
    row("token: unknown client", with(Token, "client_id=test-client", "client_id=x"), 401,
        "error=invalid_client; error_description=The OAuth client was not found.");
    row("token: no client", without("client_id"), 400,
        "error_description=Could not determine client ID from request.");
    row("token: another grant", with(Token, "authorization_code", "password"), 400,
        "error=unsupported_grant_type; error_description=Invalid grant_type: password");
    row("token: a verifier not asked for", Token + "&code_verifier=" + Verifier, 400,
        "error_description=code_verifier or verifier is not needed.");
    row("token: the verifier", with(Token, "{code}", "{pkce}") + "&code_verifier=" + Verifier, 200,
        "token_type=Bearer");
    row("token: another verifier",
        with(Token, "{code}", "{pkce}") + "&code_verifier=" + Verifier.toUpper(), 400,
        "error=invalid_grant; error_description=Invalid code verifier.");
    row("token: no verifier", with(Token, "{code}", "{pkce}"), 400,
        "error=invalid_grant; error_description=Missing code verifier.");
    row("token: a plain verifier", with(Token, "{code}", "{plain}") + "&code_verifier=" + Verifier,
        200, "token_type=Bearer");

    const QString refresh =
            tokenRequest("grant_type=refresh_token&refresh_token={refresh}&client_id="
                         "test-client&client_secret=test-secret");
    const char *const revoked =
            "error=invalid_grant; error_description=Token has been expired or revoked.";
    row("refresh", refresh, 200, "token_type=Bearer; expires_in=3599; refresh_token=");
    row("refresh: unknown", with(refresh, "{refresh}", "1//nope"), 400, revoked);
    row("refresh: revoked", refresh, 400, revoked, { "POST /_emulator/tokens/revoke" });
    row("refresh: no token", with(refresh, "{refresh}", ""), 400,
        "error=invalid_request; error_description=Missing required parameter: refresh_token");
    row("refresh: a fault's 503", refresh, 503, "error=server_error",
        { R"(POST /_emulator/faults {"path": "/o/oauth2/token", "status": 503})" });
}

QTEST_GUILESS_MAIN(TestEmulatorOAuth)
#include "tst_emulatoroauth.moc"
