// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "blockinghttpclient.h"
#include "consentbrowser.h"
#include "emulatorprocess.h"
#include "loggedrequest.h"
#include "o2settingsstore.h"
#include "oauthgoogle.h"
#include "testsettings.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>
#include <QtTest>

namespace {
const QString PassPhrase = QStringLiteral("K72R31D48P06");
const QStringList Keys { QStringLiteral("gdapp/token"), QStringLiteral("gdapp/refreshtoken"),
                         QStringLiteral("gdapp/expires") };

QString stored(const QString &key)
{
    return O2SettingsStore(PassPhrase, nullptr).value(key, QStringLiteral("<absent>"));
}

QUrlQuery formOf(const LoggedRequest &request)
{
    return QUrlQuery(QString::fromUtf8(request.body().replace('+', ' ')));
}

QString challengeOf(const QString &verifier)
{
    return QString::fromLatin1(
            QCryptographicHash::hash(verifier.toLatin1(), QCryptographicHash::Sha256)
                    .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QList<LoggedRequest> tokenRequests(const QJsonArray &log)
{
    QList<LoggedRequest> requests = LoggedRequest::list(log);
    requests.removeIf([](const LoggedRequest &request) {
        return request.path() != QLatin1String("/o/oauth2/token");
    });
    return requests;
}

// Ends a wait that the flow itself would never end, so the test can look at what happened.
class Watchdog
{
public:
    Watchdog(OAuthGoogle *flow, int milliseconds)
    {
        QTimer::singleShot(milliseconds, &m_context, [this, flow] {
            m_fired = true;
            emit flow->authenticated();
        });
    }
    bool fired() const { return m_fired; }

private:
    QObject m_context;
    bool m_fired = false;
};
} // namespace

// The authorisation flow against the emulator, with a stand-in browser.
class TestOAuthGoogle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void firstRunConsentsAndStoresTokens();
    void secondRunOnlyRefreshes();
    void refusedRefreshEmptiesTheTokenAndConsents();
    void deniedConsentEndsTheWait();
    void redirectWithAnotherStateIsIgnored();
    void isAuthenticatedWithinTheMargin();
    void brokenTokenAnswersNeverCrash_data();
    void brokenTokenAnswersNeverCrash();
    void unreachableTokenEndpointKeepsWaiting();
    void proofKeyWithEveryConsent();
    void caughtCodeIsWorthless_data();
    void caughtCodeIsWorthless();

private:
    std::unique_ptr<OAuthGoogle> consent();

    EmulatorProcess m_emulator;
};

void TestOAuthGoogle::initTestCase()
{
    QVERIFY(TestSettings::startForTheFlow(m_emulator, QStringLiteral("tst_oauthgoogle")));
}

void TestOAuthGoogle::init()
{
    QSettings().clear();
    m_emulator.control("POST", QStringLiteral("reset"));
    m_emulator.setSettings(
            { { QStringLiteral("autoApprove"), true }, { QStringLiteral("tokenTtl"), 3599 } });
}

void TestOAuthGoogle::cleanup()
{
    QSettings().clear();
}

std::unique_ptr<OAuthGoogle> TestOAuthGoogle::consent()
{
    ConsentBrowser browser;
    return std::make_unique<OAuthGoogle>(QStringLiteral("gdapp"), nullptr);
}

void TestOAuthGoogle::firstRunConsentsAndStoresTokens()
{
    ConsentBrowser browser;
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);

    QVERIFY(flow.isAuthenticated());
    QCOMPARE(browser.opened().size(), 1);
    const QUrl opened = browser.opened().first();
    QCOMPARE(opened.path(), QStringLiteral("/o/oauth2/v2/auth"));
    const QUrlQuery asked(opened);
    QCOMPARE(asked.queryItemValue(QStringLiteral("response_type")), QStringLiteral("code"));
    QCOMPARE(asked.queryItemValue(QStringLiteral("client_id")),
             QStringLiteral("gdapp-desktop-client"));
    QCOMPARE(asked.queryItemValue(QStringLiteral("redirect_uri"), QUrl::FullyDecoded),
             QStringLiteral("http://127.0.0.1:5479/"));
    QCOMPARE(asked.queryItemValue(QStringLiteral("scope"), QUrl::FullyDecoded),
             QStringLiteral("https://www.googleapis.com/auth/drive.appfolder"));

    // Three entries, enciphered, that the store's key reads back.
    for (const QString &key : Keys)
        QVERIFY(!QSettings().value(key).toString().contains(stored(key)));
    QCOMPARE(stored(QStringLiteral("gdapp/token")), flow.token());
    QCOMPARE(stored(QStringLiteral("gdapp/refreshtoken")), flow.refreshToken());
    QVERIFY(flow.refreshToken().startsWith(QLatin1String("1//")));
    QCOMPARE(stored(QStringLiteral("gdapp/expires")),
             QString::number(flow.expirationAt().toSecsSinceEpoch()));

    // The code came percent-encoded in the redirect and reached the token request decoded once.
    QCOMPARE(browser.redirects().size(), 1);
    const QString redirected = browser.redirects().first().query(QUrl::FullyEncoded);
    const QString encodedCode =
            QUrlQuery(redirected).queryItemValue(QStringLiteral("code"), QUrl::FullyEncoded);
    QVERIFY2(encodedCode.startsWith(QLatin1String("4%2F")), qPrintable(encodedCode));
    const QList<LoggedRequest> requests = tokenRequests(m_emulator.requests());
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests.first().status(), 200);
    const QUrlQuery form = formOf(requests.first());
    QCOMPARE(form.queryItemValue(QStringLiteral("grant_type")),
             QStringLiteral("authorization_code"));
    QCOMPARE(form.queryItemValue(QStringLiteral("code"), QUrl::FullyDecoded),
             QUrl::fromPercentEncoding(encodedCode.toLatin1()));
}

void TestOAuthGoogle::secondRunOnlyRefreshes()
{
    const QString refreshToken = consent()->refreshToken();
    const int mark = m_emulator.nextRequest();

    ConsentBrowser browser(ConsentBrowser::Ignore);
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);
    QVERIFY(flow.isAuthenticated());
    QVERIFY(browser.opened().isEmpty());

    const QList<LoggedRequest> log = LoggedRequest::list(m_emulator.requests(mark));
    QCOMPARE(log.size(), 1);
    const QUrlQuery form = formOf(log.first());
    QCOMPARE(form.queryItemValue(QStringLiteral("grant_type")), QStringLiteral("refresh_token"));
    QCOMPARE(form.queryItemValue(QStringLiteral("refresh_token"), QUrl::FullyDecoded),
             refreshToken);
    // The client is added to the refresh even where the flow already put it in.
    const QStringList clientIds = form.allQueryItemValues(QStringLiteral("client_id"));
    const QStringList secrets = form.allQueryItemValues(QStringLiteral("client_secret"));
    QVERIFY(!clientIds.isEmpty());
    QCOMPARE(clientIds, QStringList(clientIds.size(), QStringLiteral("gdapp-desktop-client")));
    QCOMPARE(secrets, QStringList(clientIds.size(), QStringLiteral("Xq3bTn8VwLp2KdRe5ZsYh7Ga")));
#if QT_VERSION < QT_VERSION_CHECK(6, 9, 0)
    QCOMPARE(clientIds.size(), 2); // the flow's own and the added one
#endif
    // A refresh answer carries no refresh token: the stored one stays.
    QCOMPARE(stored(QStringLiteral("gdapp/refreshtoken")), refreshToken);
    QCOMPARE(stored(QStringLiteral("gdapp/token")), flow.token());
}

void TestOAuthGoogle::refusedRefreshEmptiesTheTokenAndConsents()
{
    const QString revoked = consent()->refreshToken();
    m_emulator.control("POST", QStringLiteral("tokens/revoke"));

    ConsentBrowser browser;
    QString storedWhenAsked = QStringLiteral("<not asked>");
    QString rawWhenAsked;
    browser.onOpen = [&](const QUrl &) {
        storedWhenAsked = stored(QStringLiteral("gdapp/refreshtoken"));
        rawWhenAsked = QSettings().value(QStringLiteral("gdapp/refreshtoken")).toString();
    };
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);

    // The refusal emptied the stored token (an enciphered empty value), then the consent ran
    // inside the first wait; both waits ended.
    QCOMPARE(browser.opened().size(), 1);
    QCOMPARE(storedWhenAsked, QString());
    QVERIFY(!rawWhenAsked.isEmpty());
    QVERIFY(flow.isAuthenticated());
    const QString fresh = stored(QStringLiteral("gdapp/refreshtoken"));
    QVERIFY(fresh.startsWith(QLatin1String("1//")));
    QVERIFY(fresh != revoked);
}

void TestOAuthGoogle::deniedConsentEndsTheWait()
{
    m_emulator.setSettings({ { QStringLiteral("autoApprove"), false } });
    ConsentBrowser browser(ConsentBrowser::Deny);
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);
    QCOMPARE(browser.opened().size(), 1);
    QVERIFY(browser.redirects().last().query().contains(QLatin1String("error=access_denied")));

    // Not granted: asking again runs another consent, denied again.
    QVERIFY(!flow.isAuthenticated());
    QCOMPARE(browser.opened().size(), 2);
    QVERIFY(!QSettings().contains(QStringLiteral("gdapp/token")));
}

// The listener takes only the redirect that carries the state the flow sent: another one, forged
// or stale, is never exchanged for a token, and the wait goes on.
void TestOAuthGoogle::redirectWithAnotherStateIsIgnored()
{
    ConsentBrowser browser;
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);
    m_emulator.control("POST", QStringLiteral("tokens/revoke"));

    QNetworkAccessManager manager;
    QUrl forged;
    browser.setAnswer(ConsentBrowser::Ignore);
    browser.onOpen = [&](const QUrl &consent) {
        const QString state = QUrlQuery(consent).queryItemValue(QStringLiteral("state"));
        forged =
                QUrl(QStringLiteral("http://127.0.0.1:5479/?state=%1x&code=4%2Fforged").arg(state));
        manager.get(QNetworkRequest(forged));
    };
    const int mark = m_emulator.nextRequest();
    Watchdog watchdog(&flow, 1500);
    flow.grant();
    QVERIFY(watchdog.fired());
    QCOMPARE(browser.opened().size(), 2);
    QVERIFY(forged.isValid());

    // Only the refused refresh reached the token endpoint.
    const QList<LoggedRequest> requests = tokenRequests(m_emulator.requests(mark));
    QCOMPARE(requests.size(), 1);
    QCOMPARE(formOf(requests.first()).queryItemValue(QStringLiteral("grant_type")),
             QStringLiteral("refresh_token"));
    QCOMPARE(stored(QStringLiteral("gdapp/refreshtoken")), QString());
}

void TestOAuthGoogle::isAuthenticatedWithinTheMargin()
{
    m_emulator.setSettings({ { QStringLiteral("tokenTtl"), 1 } });
    ConsentBrowser browser;
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);
    const int mark = m_emulator.nextRequest();

    // Wait until the token has expired; the minute after its expiry still counts.
    QTRY_VERIFY_WITH_TIMEOUT(flow.expirationAt() < QDateTime::currentDateTime(), 5000);
    QVERIFY(flow.isAuthenticated());
    QCOMPARE(m_emulator.requests(mark).size(), 0);
    QCOMPARE(browser.opened().size(), 1);
}

void TestOAuthGoogle::brokenTokenAnswersNeverCrash_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<bool>("refreshTokenKept");

    QTest::newRow("garbage") << json(R"({"status": 200, "body": "\u0001\u0002garbage{",
                                         "contentType": "application/json"})")
                             << true;
    QTest::newRow("HTML") << json(R"({"status": 200, "body": "<html><body>hello</body></html>",
                                      "contentType": "text/html"})")
                          << true;
    QTest::newRow("empty body") << json(
            R"({"status": 200, "body": "", "contentType": "application/json"})")
                                << true;
    QTest::newRow("server error") << json(R"({"status": 500})") << false;
    QTest::newRow("truncated") << json(R"({"action": "truncate"})") << false;
    QTest::newRow("dropped") << json(R"({"action": "drop", "count": 3})") << false;
}

void TestOAuthGoogle::brokenTokenAnswersNeverCrash()
{
    QFETCH(QJsonObject, fault);
    QFETCH(bool, refreshTokenKept);

    ConsentBrowser browser;
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);
    const QString refreshToken = flow.refreshToken();
    fault.insert(QStringLiteral("path"), QStringLiteral("/o/oauth2/token"));
    m_emulator.addFault(fault);

    // These answers do not end the wait: the watchdog does.
    Watchdog watchdog(&flow, 1500);
    flow.grant();
    QVERIFY(watchdog.fired());
    QCOMPARE(browser.opened().size(), 1);
    QCOMPARE(stored(QStringLiteral("gdapp/refreshtoken")),
             refreshTokenKept ? refreshToken : QString());
}

void TestOAuthGoogle::unreachableTokenEndpointKeepsWaiting()
{
    ConsentBrowser browser;
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);
    quint16 deadPort = 0;
    {
        EmulatorProcess gone;
        QVERIFY(gone.start());
        deadPort = gone.port();
    }
    const QUrl nowhere(QStringLiteral("http://127.0.0.1:%1/o/oauth2/token").arg(deadPort));
#if QT_VERSION >= QT_VERSION_CHECK(6, 9, 0)
    flow.setTokenUrl(nowhere);
#else
    flow.setAccessTokenUrl(nowhere);
#endif

    Watchdog watchdog(&flow, 1500);
    flow.grant();
    QVERIFY(watchdog.fired());
    QCOMPARE(stored(QStringLiteral("gdapp/refreshtoken")), QString());
    QCOMPARE(browser.opened().size(), 1);
}

// Whatever Qt the flow is built with, each consent carries the S256 challenge of a verifier that
// only the flow holds, fresh every time, and the code goes back with that verifier.
void TestOAuthGoogle::proofKeyWithEveryConsent()
{
    const QRegularExpression verifierSyntax(QStringLiteral("^[A-Za-z0-9._~-]{43,128}$"));
    ConsentBrowser browser;
    const int mark = m_emulator.nextRequest();
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);
    QSettings().clear();
    flow.grant(); // a second consent of the same flow
    QVERIFY(flow.isAuthenticated());

    const QList<LoggedRequest> requests = tokenRequests(m_emulator.requests(mark));
    QCOMPARE(browser.opened().size(), 2);
    QCOMPARE(requests.size(), 2);
    QStringList verifiers;
    for (int consent = 0; consent < 2; ++consent) {
        const QUrlQuery asked(browser.opened().at(consent));
        QCOMPARE(asked.queryItemValue(QStringLiteral("code_challenge_method")),
                 QStringLiteral("S256"));
        const QString verifier =
                formOf(requests.at(consent))
                        .queryItemValue(QStringLiteral("code_verifier"), QUrl::FullyDecoded);
        QVERIFY2(verifierSyntax.match(verifier).hasMatch(), qPrintable(verifier));
        QCOMPARE(asked.queryItemValue(QStringLiteral("code_challenge")), challengeOf(verifier));
        verifiers.append(verifier);
    }
    QVERIFY(verifiers.at(0) != verifiers.at(1));
}

void TestOAuthGoogle::caughtCodeIsWorthless_data()
{
    QTest::addColumn<QString>("verifier");
    QTest::newRow("without a verifier") << QString();
    QTest::newRow("with a verifier of its own") << QStringLiteral("w").repeated(43);
}

// Another program that catches a code of the flow's consent (on its way to the loopback
// listener, say) cannot exchange it; the flow, with its verifier, is granted with another code of
// the same consent.
void TestOAuthGoogle::caughtCodeIsWorthless()
{
    QFETCH(QString, verifier);
    ConsentBrowser browser;
    BlockingHttpClient::Reply stolen;
    browser.onOpen = [&](const QUrl &consent) {
        BlockingHttpClient http;
        const QUrl redirect(QString::fromUtf8(http.get(consent).header("Location")));
        QUrlQuery form;
        const auto add = [&form](const QString &key, const QString &value) {
            form.addQueryItem(key, QString::fromLatin1(QUrl::toPercentEncoding(value)));
        };
        add(QStringLiteral("grant_type"), QStringLiteral("authorization_code"));
        add(QStringLiteral("code"),
            QUrlQuery(redirect).queryItemValue(QStringLiteral("code"), QUrl::FullyDecoded));
        add(QStringLiteral("client_id"), QStringLiteral("gdapp-desktop-client"));
        add(QStringLiteral("client_secret"), QStringLiteral("Xq3bTn8VwLp2KdRe5ZsYh7Ga"));
        add(QStringLiteral("redirect_uri"),
            QUrlQuery(consent).queryItemValue(QStringLiteral("redirect_uri"), QUrl::FullyDecoded));
        if (!verifier.isEmpty())
            add(QStringLiteral("code_verifier"), verifier);
        stolen = http.send("POST", m_emulator.url(QStringLiteral("/o/oauth2/token")),
                           { { "Content-Type", "application/x-www-form-urlencoded" } },
                           form.query(QUrl::FullyEncoded).toLatin1());
    };
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);

    QCOMPARE(stolen.status, 400);
    QCOMPARE(stolen.json().value(QStringLiteral("error")).toString(),
             QStringLiteral("invalid_grant"));
    QVERIFY(flow.isAuthenticated());
}

QTEST_MAIN(TestOAuthGoogle)
#include "tst_oauthgoogle.moc"
