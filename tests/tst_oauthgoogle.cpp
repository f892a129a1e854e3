// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "consentbrowser.h"
#include "emulatorprocess.h"
#include "loggedrequest.h"
#include "o2settingsstore.h"
#include "oauthgoogle.h"
#include "testsettings.h"

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

QList<LoggedRequest> tokenRequests(const QJsonArray &log)
{
    QList<LoggedRequest> requests = LoggedRequest::list(log);
    requests.removeIf([](const LoggedRequest &request) {
        return request.path() != QLatin1String("/o/oauth2/token");
    });
    return requests;
}

} // namespace

// The authorisation flow against the emulator, with a stand-in browser.
class TestOAuthGoogle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void firstRunConsentsAndStoresTokens();
    void secondRunOnlyRefreshes();
    void refusedRefreshEmptiesTheTokenAndConsents();
    void isAuthenticatedWithinTheMargin();
    void brokenTokenAnswersNeverCrash_data();
    void brokenTokenAnswersNeverCrash();
    void proofKeyWithEveryConsent();

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
    const QUrlQuery asked(browser.opened().first());
    QCOMPARE(asked.queryItemValue(QStringLiteral("redirect_uri"), QUrl::FullyDecoded),
             QStringLiteral("http://127.0.0.1:5479/"));
    QCOMPARE(asked.queryItemValue(QStringLiteral("scope"), QUrl::FullyDecoded),
             QStringLiteral("https://www.googleapis.com/auth/drive.appfolder"));

    // Three entries that the store's key reads back.
    const QStringList values { flow.token(), flow.refreshToken(),
                               QString::number(flow.expirationAt().toSecsSinceEpoch()) };
    for (int i = 0; i < Keys.size(); ++i)
        QCOMPARE(stored(Keys.at(i)), values.at(i));
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
    QCOMPARE(clientIds, QStringList(clientIds.size(), QStringLiteral("gdapp-desktop-client")));
    QCOMPARE(secrets, QStringList(clientIds.size(), QStringLiteral("Xq3bTn8VwLp2KdRe5ZsYh7Ga")));
#if QT_VERSION < QT_VERSION_CHECK(6, 9, 0)
    QCOMPARE(clientIds.size(), 2); // the flow's own and the added one
#endif
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

    QTest::newRow("HTML") << json(R"({"status": 200, "body": "<html><body>hello</body></html>",
                                      "contentType": "text/html"})")
                          << true;
    QTest::newRow("server error") << json(R"({"status": 500})") << false;
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

    // These answers do not end the wait: the test does, once the answer has been handled.
    bool endedHere = false;
    connect(
            flow.networkAccessManager(), &QNetworkAccessManager::finished, &flow,
            [&] {
                endedHere = true;
                emit flow.authenticated();
            },
            Qt::QueuedConnection);
    flow.grant();
    QVERIFY(endedHere);
    QCOMPARE(browser.opened().size(), 1);
    QCOMPARE(stored(QStringLiteral("gdapp/refreshtoken")),
             refreshTokenKept ? refreshToken : QString());
}

// Whatever Qt the flow is built with, each consent carries the S256 challenge of a verifier that
// only the flow holds, fresh every time, and the code goes back with that verifier (the emulator
// refuses a code whose verifier does not match its challenge).
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
        verifiers.append(verifier);
    }
    QVERIFY(verifiers.at(0) != verifiers.at(1));
}

QTEST_MAIN(TestOAuthGoogle)
#include "tst_oauthgoogle.moc"
