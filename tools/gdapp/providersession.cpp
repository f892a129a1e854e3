// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "providersession.h"

#include "cloudfile.h"
#include "serverinterface.h"
#include "settingsfile.h"

#include <QCoreApplication>
#include <QSettings>
#include <QSslConfiguration>

namespace {
const QString SettingsGroup = QStringLiteral("gdapp");
// The plug-in takes the services' addresses from these as they stand.
const char *const ServiceVariables[] = { "GDAPP_DRIVE_URL", "GDAPP_OAUTH_URL" };

// Why a service's address from the environment is of no use, or nothing.
QString serviceUrlProblem(const char *variable)
{
    const QString value = qEnvironmentVariable(variable);
    if (value.isEmpty())
        return QString();
    const QUrl url(value, QUrl::StrictMode);
    const bool web =
            url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    if (url.isValid() && web && !url.host().isEmpty() && !url.hasQuery() && !url.hasFragment())
        return QString();
    return QStringLiteral("%1 is \"%2\", which is no service address: give one such as "
                          "https://host:port")
            .arg(QLatin1String(variable), value);
}
} // namespace

ProviderSession::ProviderSession(const Options &options)
    : m_options(options), m_exchanges(options.timeout), m_grantWatch(SettingsGroup)
{
}

ProviderSession::~ProviderSession()
{
    if (!m_locator)
        return;
    // The root object goes first, and with it the flow, whose settings are written as it goes.
    m_locator.reset();
    m_consent.reset();
    QString ignored;
    SettingsFile::protect(&ignored);
}

Outcome ProviderSession::load()
{
    for (const char *variable : ServiceVariables) {
        if (const QString problem = serviceUrlProblem(variable); !problem.isEmpty())
            return Outcome::failure(problem);
    }
    QString why;
    if (!SettingsFile::protect(&why) || !trustCertificates(&why))
        return Outcome::failure(why);
    m_locator = std::make_unique<PluginLocator>(m_options.pluginPath);
    m_server = m_locator->load();
    if (!m_server)
        return Outcome::failure(m_locator->errorString());
    QString browser = m_options.browserCommand;
    if (browser.isEmpty())
        browser = qEnvironmentVariable("GDAPP_BROWSER");
    m_consent = std::make_unique<ConsentHandler>(m_options.consent, browser);
    QObject::connect(m_consent.get(), &ConsentHandler::consentAbandoned,
                     [this](const QString &why) { giveUp(why); });
    QObject::connect(m_consent.get(), &ConsentHandler::consentRequested, &m_grantWatch,
                     &GrantWatch::rebase);
    QObject::connect(&m_grantWatch, &GrantWatch::tokenRequestFailed, m_consent.get(),
                     &ConsentHandler::abandon);
    return Outcome();
}

// The plug-in takes the host's TLS configuration as it stands and never ignores TLS errors: a
// host that trusts another issuer says so in Qt's default configuration, before any request.
bool ProviderSession::trustCertificates(QString *why) const
{
    QString file = m_options.caFile;
    if (file.isEmpty())
        file = qEnvironmentVariable("GDAPP_CA_FILE");
    if (file.isEmpty())
        return true;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    if (!configuration.addCaCertificates(file)) {
        *why = QStringLiteral("%1: no certificate could be read from it").arg(file);
        return false;
    }
    QSslConfiguration::setDefaultConfiguration(configuration);
    return true;
}

// The flow waits for its answer in loops of its own, which this ends all at once. A sign-in
// service that could not be reached, or failed, has refused nobody: the stored sign-in that the
// flow empties after any failed token request is put back once the flow is done with it.
void ProviderSession::giveUp(const QString &why)
{
    m_consentFailure = why;
    const ExchangeFailure failure = m_exchanges.lastFailure();
    if (failure.isOutage())
        m_outage = failure;
    QCoreApplication::exit(int(ExitCode::NotAuthorised));
}

Result<std::unique_ptr<CloudFile>> ProviderSession::cloudFile(const QUrl &url)
{
    if (!m_server) {
        if (const Outcome loaded = load(); !loaded.isDone())
            return loaded;
    }
    m_exchanges.forget();
    const bool authorised = hasStoredAuthorisation();
    m_grantWatch.start();
    std::unique_ptr<CloudFile> file(m_server->cloudFile(url));
    m_grantWatch.stop();
    if (file)
        return file;
    if (!m_outage.isNull()) {
        m_grantWatch.restore();
        return Outcome(ExitCode::ServiceError,
                       m_outage.describe(QStringLiteral("the sign-in service"))
                               + QStringLiteral("; the sign-in is kept for the next command"));
    }
    // Whatever else stands in the way, no consent was to be asked for.
    if (!authorised && m_options.consent == ConsentHandler::None) {
        return Outcome(ExitCode::NotAuthorised,
                       QStringLiteral("not signed in: run \"gdapp login\" first (--consent=none "
                                      "asks for no consent)"));
    }
    return Outcome(ExitCode::NotAuthorised,
                   QStringLiteral("not authorised: %1")
                           .arg(m_consentFailure.isEmpty()
                                        ? QStringLiteral("the authorisation did not go through")
                                        : m_consentFailure));
}

Result<std::unique_ptr<CloudFile>> ProviderSession::authoriseAgain(const QUrl &url)
{
    QString why;
    if (!SettingsFile::protect(&why))
        return Outcome::failure(why);
    QSettings settings;
    settings.beginGroup(SettingsGroup);
    QVariantMap stored;
    for (const QString &key : settings.childKeys())
        stored.insert(key, settings.value(key));
    settings.endGroup();
    if (const Outcome forgotten = forgetAuthorisation(); !forgotten.isDone())
        return forgotten;
    Result<std::unique_ptr<CloudFile>> file = cloudFile(url);
    if (file || stored.isEmpty())
        return file;
    settings.remove(SettingsGroup);
    settings.beginGroup(SettingsGroup);
    for (auto value = stored.cbegin(); value != stored.cend(); ++value)
        settings.setValue(value.key(), value.value());
    settings.endGroup();
    settings.sync();
    // An outage says so already.
    if (file.failure().code() == ExitCode::NotAuthorised)
        return Outcome(ExitCode::NotAuthorised,
                       file.failure().message()
                               + QStringLiteral("; the sign-in stored before is kept"));
    return file;
}

bool ProviderSession::hasStoredAuthorisation()
{
    QSettings settings;
    settings.beginGroup(SettingsGroup);
    return !settings.childKeys().isEmpty();
}

Outcome ProviderSession::forgetAuthorisation()
{
    QString why;
    if (!SettingsFile::protect(&why))
        return Outcome::failure(why);
    QSettings settings;
    settings.remove(SettingsGroup);
    settings.sync();
    if (settings.status() != QSettings::NoError)
        return Outcome::failure(QStringLiteral("cannot write %1").arg(settings.fileName()));
    return Outcome();
}
