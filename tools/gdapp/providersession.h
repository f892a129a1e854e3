// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef PROVIDERSESSION_H
#define PROVIDERSESSION_H

#include "consenthandler.h"
#include "exchangefailure.h"
#include "exchangewatch.h"
#include "grantwatch.h"
#include "pluginlocator.h"
#include "result.h"

#include <QUrl>

#include <memory>

class CloudFile;
class ServerInterface;

// The storage provider as a host holds it: the plug-in found and loaded on first need, consent
// requests answered the way the user chose, the settings that keep the tokens private, every
// exchange watched for stalls, the user's sign-in kept through an outage, and the plug-in's root
// object deleted before the application goes.
class ProviderSession
{
public:
    struct Options
    {
        QString pluginPath; // empty: look in the usual places
        ConsentHandler::Mode consent = ConsentHandler::Browser;
        QString browserCommand; // empty: GDAPP_BROWSER, then the desktop's browser
        QString caFile; // certificates to trust besides the system's; empty: GDAPP_CA_FILE
        int timeout = 0; // seconds an exchange may go without moving data; 0: no limit
    };

    explicit ProviderSession(const Options &options);
    ~ProviderSession();

    // A cloud file for url, authorising first when the plug-in needs to, or why there is none.
    Result<std::unique_ptr<CloudFile>> cloudFile(const QUrl &url);
    // The same after a new authorisation. The stored one is kept until the new one is granted:
    // when that fails or is abandoned, the stored tokens are put back as they were.
    Result<std::unique_ptr<CloudFile>> authoriseAgain(const QUrl &url);
    // Removes the stored tokens (the settings group of the provider's scheme).
    static Outcome forgetAuthorisation();
    // Whether the settings hold tokens of the provider's scheme.
    static bool hasStoredAuthorisation();
    ConsentHandler::Mode consent() const { return m_options.consent; }
    const ExchangeWatch &exchanges() const { return m_exchanges; }

private:
    Outcome load();
    bool trustCertificates(QString *why) const;
    // Ends every wait of the flow: no answer can come.
    void giveUp(const QString &why);

    Options m_options;
    std::unique_ptr<PluginLocator> m_locator;
    ServerInterface *m_server = nullptr;
    std::unique_ptr<ConsentHandler> m_consent;
    ExchangeWatch m_exchanges;
    GrantWatch m_grantWatch;
    QString m_consentFailure;
    ExchangeFailure m_outage;
};

#endif // PROVIDERSESSION_H
