// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "consentbrowser.h"
#include "emulatorprocess.h"
#include "oauthgoogle.h"
#include "testsettings.h"

#include <QtTest>

// A token counts as valid until a minute after it expired; past that, isAuthenticated() grants
// again before answering. Proving it takes a minute of real time, so it runs on its own.
class TestOAuthExpiry : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void pastTheMarginGrantsFirst();

private:
    EmulatorProcess m_emulator;
};

void TestOAuthExpiry::initTestCase()
{
    QVERIFY(TestSettings::startForTheFlow(m_emulator, QStringLiteral("tst_oauthexpiry"),
                                          { QStringLiteral("--token-ttl"), QStringLiteral("1") }));
}

void TestOAuthExpiry::pastTheMarginGrantsFirst()
{
    ConsentBrowser browser;
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);
    const QString firstToken = flow.token();
    const QDateTime expiry = flow.expirationAt();
    const int mark = m_emulator.nextRequest();

    // Just inside the margin: no request.
    QTRY_VERIFY_WITH_TIMEOUT(expiry.addSecs(55) < QDateTime::currentDateTime(), 70000);
    QVERIFY(flow.isAuthenticated());
    QCOMPARE(m_emulator.requests(mark).size(), 0);

    // Past it: a refresh first, then the answer.
    QTRY_VERIFY_WITH_TIMEOUT(expiry.addSecs(60) <= QDateTime::currentDateTime(), 10000);
    QVERIFY(flow.isAuthenticated());
    const QJsonArray log = m_emulator.requests(mark);
    QCOMPARE(log.size(), 1);
    QCOMPARE(log.at(0).toObject().value(QStringLiteral("path")).toString(),
             QStringLiteral("/o/oauth2/token"));
    QVERIFY(flow.token() != firstToken);
    QCOMPARE(browser.opened().size(), 1);
}

QTEST_MAIN(TestOAuthExpiry)
#include "tst_oauthexpiry.moc"
