// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "emulatorprocess.h"

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

// A multipart body, its boundary quoted as client libraries write it.
QString multipart(const char *metadata, const char *media)
{
    return QStringLiteral("\nContent-Type: multipart/related; boundary=\"b\"\n\n--b\n"
                          "Content-Type: application/json\n\n%1\n--b\nContent-Type: text/csv\n\n"
                          "%2\n--b--\n")
            .arg(QLatin1String(metadata), QLatin1String(media));
}

const QString Authorize = QStringLiteral(
        "GET /o/oauth2/v2/auth?response_type=code&client_id=test-client&redirect_uri=http://"
        "127.0.0.1:5479/&scope=https://www.googleapis.com/auth/drive.appfolder&state=s");
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

} // namespace

// The emulator's endpoints over HTTP (Drive, control, authorization, consent and token): what the
// service answers to the requests and parameters that the plug-in, gdapp and the authorisation
// flow never send or never look at the answer of (their own suites prove the rest through the
// emulator), and that a refusal changes nothing.
//
// The exchanges are written as text, in tables that read as what is sent and what comes back. A
// request is its method, its target (spaces written "+", as forms do) and perhaps a body on the
// first line, then header lines, and perhaps a blank line and a body (which may then span lines):
//     R"(PATCH /drive/v3/files/{a}?addParents={docs} {"name": "b.txt"})"
//     "GET /drive/v3/files/{a}?alt=media\nRange: bytes=1-"
// A header given here replaces the default of its name (written alike), and one given empty
// removes it. A body goes as application/json unless a type is given. The checks of an answer are
// "path=value; ...": JSON paths with "*" over an array's items (their values joined by ","),
// ":keys" for an object's keys (sorted), "@Name" for a header, "#" for the body; an empty value
// for something absent; "path~expression" for a regular expression that matches.
//
// Names in braces, in requests and checks, are values: the top-level texts and numbers of the
// JSON answers so far, and {a}, {docs} and {b} for a.txt ("abc"), docs/ and docs/b.txt ("b") in
// the application-data folder; {code}, {pkce} and {plain} for fresh codes (the last two with S256
// and plain proof-key challenges), {refresh} for a refresh token. Consents are approved at once.
class TestEmulatorEndpoints : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_emulator.start(
                { "--client-id", "test-client", "--client-secret", "test-secret" }));
    }
    void init();
    void exchanges_data();
    void exchanges();

private:
    // A request and what answers it, after steps whose answers are not looked at.
    static void row(const char *name, const QString &request, int status,
                    const QString &checks = {}, const QStringList &steps = {})
    {
        QTest::newRow(name) << steps << request << status << checks;
    }
    static void driveRows();
    static void oauthRows();
    QString consent(const QString &query);
    BlockingHttpClient::Reply send(const QString &text);
    QStringList mismatches(const BlockingHttpClient::Reply &reply, const QString &checks) const;
    QString substituted(QString text) const;

    EmulatorProcess m_emulator;
    BlockingHttpClient m_http;
    QMap<QString, QString> m_values;
    BlockingHttpClient::Headers m_defaults;
};

void TestEmulatorEndpoints::init()
{
    m_emulator.control("POST", QStringLiteral("reset"));
    m_emulator.setSettings(json(R"({"tokenTtl": 3599, "logBodies": 1000, "autoApprove": true})"));
    QString refresh;
    m_defaults = { { "Authorization",
                     "Bearer " + m_emulator.issueAccessToken(&refresh).toUtf8() } };
    m_values = { { QStringLiteral("a"), idOf(m_emulator.seedFile("/a.txt", "abc")) },
                 { QStringLiteral("docs"), idOf(m_emulator.seedFolder("/docs")) },
                 { QStringLiteral("b"), idOf(m_emulator.seedFile("/docs/b.txt", "b")) },
                 { QStringLiteral("refresh"), refresh } };
    m_values.insert(QStringLiteral("code"), consent(QString()));
    m_values.insert(QStringLiteral("pkce"),
                    consent("&code_challenge=" + Challenge + "&code_challenge_method=S256"));
    m_values.insert(QStringLiteral("plain"), consent("&code_challenge=" + Verifier));
}

// The code of the redirect of a consent with the query added.
QString TestEmulatorEndpoints::consent(const QString &query)
{
    const QUrl redirect(QString::fromUtf8(send(Authorize + query).header("Location")));
    return QUrlQuery(redirect).queryItemValue(QStringLiteral("code"), QUrl::FullyDecoded);
}

void TestEmulatorEndpoints::exchanges_data()
{
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("request");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("checks");
    driveRows();
    oauthRows();
}

void TestEmulatorEndpoints::driveRows()
{
    const char *const appData = "GET /drive/v3/files?spaces=appDataFolder";
    const QString fileList = QStringLiteral("GET /drive/v3/files?spaces=appDataFolder&pageSize=2");
    row("list: default keys", appData, 200,
        "files.*.name=a.txt,docs,b.txt; files.0:keys=id,kind,mimeType,name; nextPageToken=");
    row("list: a page", fileList, 200, "files.*.name=a.txt,docs; nextPageToken={nextPageToken}");
    row("list: the next page", "GET /drive/v3/files?spaces=appDataFolder&pageToken={nextPageToken}",
        200, "files.*.name=b.txt; nextPageToken=", { fileList });
    row("list: by time", "GET /drive/v3/files?spaces=appDataFolder&orderBy=modifiedTime+desc", 200,
        "files.2.name=a.txt",
        { R"(PATCH /drive/v3/files/{a} {"modifiedTime": "2001-01-01T00:00:00.000Z"})" });
    row("list: fields",
        "GET /drive/v3/files?spaces=appDataFolder&pageSize=1&fields=files(name,size),nextPageToken",
        200, ":keys=files,nextPageToken; files.0:keys=name,size; files.0.size=3");

    row("get: unknown", "GET /drive/v3/files/nope", 404,
        "error.message=File not found: nope.; error.errors.0.location=fileId");
    row("get: from an offset", "GET /drive/v3/files/{a}?alt=media\nRange: bytes=1-", 206,
        "#=bc; @Content-Range=bytes 1-2/3");

    row("create: unknown parent", R"(POST /drive/v3/files {"parents": ["nope"]})", 404,
        "error.message=File not found: nope.");
    row("create: a document in the folder",
        R"(POST /drive/v3/files {"parents": ["{docs}"], "mimeType": "application/vnd.google-apps.document"})",
        403, "error.message=Method not supported for files within the Application Data folder.");

    row("update: move",
        "PATCH /drive/v3/files/{a}?addParents={docs}&removeParents=appDataFolder&fields=parents {}",
        200, "parents.0={docs}");
    row("update: trash in the folder", R"(PATCH /drive/v3/files/{a} {"trashed": true})", 403,
        "error.errors.0.reason=notSupportedForAppDataFolderFiles; "
        "error.message=Files within the Application Data folder cannot be trashed.");

    row("delete: the folder itself", "DELETE /drive/v3/files/appDataFolder", 403,
        "error.errors.0.reason=insufficientFilePermissions");

    row("copy: beside the source", "POST /drive/v3/files/{b}/copy?fields=name,parents", 200,
        "name=Copy of b.txt; parents.0={docs}");
    row("copy: a folder", "POST /drive/v3/files/{docs}/copy", 403,
        "error.message=This file cannot be copied by the user.");

    const QString replace = QStringLiteral("PATCH /upload/drive/v3/files/{a}");
    row("upload: multipart",
        ("POST /upload/drive/v3/files?uploadType=multipart&fields=name,mimeType,parents,size"
         + multipart(R"({"name": "m", "parents": ["{docs}"]})", "x,y")),
        200, "name=m; mimeType=text/csv; parents.0={docs}; size=3");
    row("replace: multipart",
        replace + "?uploadType=multipart&fields=name,mimeType"
                + multipart(R"({"name": "n", "mimeType": "t/x"})", "x"),
        200, "name=n; mimeType=t/x");
    row("replace: multipart of another kind",
        (replace + "?uploadType=multipart\nContent-Type: text/plain\n\nx"), 400,
        "error.errors.0.reason=badContent; error.message=Unsupported content with type: "
        "text/plain");
    row("replace: a folder", "PATCH /upload/drive/v3/files/{docs}?uploadType=media x", 400,
        "error.message=This type of file cannot hold content.");

    row("no token", "GET /drive/v3/files\nAuthorization:", 401,
        "error.errors.0.reason=required; error.status=UNAUTHENTICATED; "
        "error.details.0.reason=CREDENTIALS_MISSING; error.message=Request is missing required "
        "authentication credential. Expected OAuth 2 access token, login cookie or other valid "
        "authentication credential. See https://developers.google.com/identity/sign-in/web/"
        "devconsole-project.");

    row("fault: an internal error", appData, 500,
        "error.errors.0.reason=internalError; error.message=Internal Error",
        { R"(POST /_emulator/faults {"status": 500, "reason": "internalError"})" });
    row("fault: chunked", appData, 200, "@Transfer-Encoding=chunked; @Content-Length=",
        { R"(POST /_emulator/faults {"action": "chunked"})" });
    row("control: no requests", "GET /_emulator/requests", 200,
        "requests=", { "GET /drive/v3/files", "DELETE /_emulator/requests" });
    row("control: a request's body", "GET /_emulator/requests/{next}/body", 200, "#={}",
        { "GET /_emulator/requests?since=0", "PATCH /drive/v3/files/{a} {}" });
    row("control: a fault refused", R"(POST /_emulator/faults {"status": 500, "reason": "no"})",
        400);
    row("control: a throttle without pace", R"(POST /_emulator/faults {"action": "throttle"})",
        400);
}

void TestEmulatorEndpoints::oauthRows()
{
    row("authorize: scopes joined by +", with(Authorize, "scope=", "scope=openid+"), 302,
        "@Location~&scope=openid\\+https%3A");
    row("authorize: unknown client", with(Authorize, "test-client", "other"), 401,
        "#~The OAuth client was not found.");
    row("authorize: not a loopback redirect",
        with(Authorize, "http://127.0.0.1:5479/", "https://example.org/"), 400,
        "#~redirect_uri_mismatch");
    row("authorize: unknown scope", with(Authorize, "appfolder", "everything"), 400,
        "#~invalid_scope");

    row("consent: answered already",
        "POST /o/oauth2/v2/consent\nContent-Type: application/x-www-form-urlencoded\n\n"
        "consent=1000&decision=allow",
        400, "#~expired or was already answered");

    row("token: at the token host's path", with(Token, "/o/oauth2/token", "/token"), 200,
        "token_type=Bearer");
    row("token: a code twice", Token, 400, "error=invalid_grant; error_description=Bad Request",
        { Token });
    row("token: a code still percent-encoded", with(Token, "{code}", "4%252F0A"), 400,
        "error=invalid_grant; error_description=Malformed auth code.");
    row("token: another redirect", with(Token, "5479", "9"), 400,
        "error=redirect_uri_mismatch; error_description=Bad Request");
    row("token: wrong secret", with(Token, "test-secret", "nope"), 401,
        "error=invalid_client; error_description=Unauthorized");
    row("token: unknown client", with(Token, "client_id=test-client", "client_id=x"), 401,
        "error=invalid_client; error_description=The OAuth client was not found.");
    row("token: another verifier",
        with(Token, "{code}", "{pkce}") + "&code_verifier=" + Verifier.toUpper(), 400,
        "error=invalid_grant; error_description=Invalid code verifier.");
    row("token: no verifier", with(Token, "{code}", "{pkce}"), 400,
        "error=invalid_grant; error_description=Missing code verifier.");
    row("token: a plain verifier", with(Token, "{code}", "{plain}") + "&code_verifier=" + Verifier,
        200, "token_type=Bearer");

    row("refresh",
        tokenRequest("grant_type=refresh_token&refresh_token={refresh}&client_id=test-client&"
                     "client_secret=test-secret"),
        200, "token_type=Bearer; expires_in=3599; refresh_token=");
}

// Refused requests change nothing.
void TestEmulatorEndpoints::exchanges()
{
    QFETCH(QStringList, steps);
    QFETCH(QString, request);
    QFETCH(int, status);
    QFETCH(QString, checks);
    const QJsonArray before = m_emulator.files();
    for (const QString &step : steps)
        send(step);
    const BlockingHttpClient::Reply reply = send(request);
    QVERIFY2(reply.status == status, reply.body.constData());
    QCOMPARE(mismatches(reply, checks).join(QLatin1String("; ")), QString());
    if (status >= 400 && steps.isEmpty())
        QCOMPARE(m_emulator.files(), before);
}

BlockingHttpClient::Reply TestEmulatorEndpoints::send(const QString &text)
{
    const QString request = substituted(text);
    const qsizetype blank = request.indexOf(QLatin1String("\n\n"));
    QStringList lines = request.left(blank).split(QLatin1Char('\n'));
    const QString first = lines.takeFirst();
    const QByteArray body =
            (blank < 0 ? first.section(QLatin1Char(' '), 2) : request.mid(blank + 2)).toUtf8();
    if (!body.isEmpty())
        lines.prepend(QStringLiteral("Content-Type: application/json"));
    BlockingHttpClient::Headers headers = m_defaults;
    for (const QString &line : lines) {
        const QByteArray name = line.section(QLatin1Char(':'), 0, 0).toLatin1();
        const QByteArray value = line.section(QLatin1Char(':'), 1).trimmed().toUtf8();
        headers.removeIf([&name](const auto &header) { return header.first == name; });
        if (!value.isEmpty())
            headers.append({ name, value });
    }
    const BlockingHttpClient::Reply reply =
            m_http.send(first.section(QLatin1Char(' '), 0, 0).toLatin1(),
                        m_emulator.url(first.section(QLatin1Char(' '), 1, 1)), headers, body);
    const QJsonObject answer = reply.json();
    for (auto it = answer.begin(); it != answer.end(); ++it) {
        if (it->isString() || it->isDouble())
            m_values.insert(it.key(), it->toVariant().toString());
    }
    return reply;
}

QStringList TestEmulatorEndpoints::mismatches(const BlockingHttpClient::Reply &reply,
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

QString TestEmulatorEndpoints::substituted(QString text) const
{
    for (auto it = m_values.cbegin(); it != m_values.cend(); ++it)
        text.replace(QLatin1Char('{') + it.key() + QLatin1Char('}'), it.value());
    return text;
}

QTEST_GUILESS_MAIN(TestEmulatorEndpoints)
#include "tst_emulatorendpoints.moc"
