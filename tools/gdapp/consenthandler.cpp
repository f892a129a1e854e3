// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "consenthandler.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QNetworkReply>
#include <QProcess>
#include <QStandardPaths>
#include <QTextStream>
#include <QThread>
#include <QUrlQuery>

namespace {
constexpr int MaxRedirects = 5;
constexpr int LoopbackPort = GDAPP_LOOPBACK_PORT;
// A first refused code may have been a stale one; a second means the client is not recognised.
constexpr int RefusedCodesAccepted = 1;

bool isLoopbackListener(const QUrl &url)
{
    return url.host() == QLatin1String("127.0.0.1") && url.port() == LoopbackPort;
}

// The plug-in's listener names its own port in the redirect address; one that could not listen
// names another.
bool listenerIsListening(const QUrl &consentUrl)
{
    const QUrl redirect(
            QUrlQuery(consentUrl)
                    .queryItemValue(QStringLiteral("redirect_uri"), QUrl::FullyDecoded));
    return redirect.port() == LoopbackPort;
}
} // namespace

ConsentHandler::ConsentHandler(Mode mode, const QString &browserCommand, QObject *parent)
    : QObject(parent), m_mode(mode), m_browserCommand(browserCommand)
{
    QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "openUrl");
    QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "openUrl");
}

ConsentHandler::~ConsentHandler()
{
    // Only the shell goes, not the browser it started; and that is no failure of the browser.
    if (m_browser) {
        m_browser->disconnect(this);
        m_browser->kill();
        m_browser->waitForFinished();
    }
    QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
}

void ConsentHandler::openUrl(const QUrl &url)
{
    if (m_abandoned)
        return;
    if (m_mode == None) {
        abandon(QStringLiteral("an authorisation is needed, and --consent=none asks for none"));
        return;
    }
    const QString why = reasonToGiveUp(url);
    if (!why.isEmpty()) {
        abandon(why);
        return;
    }
    emit consentRequested();
    QTextStream err(stderr);
    if (m_refusedCodes > 0)
        err << "The service refused the authorisation code; asking once more." << Qt::endl;
    err << "Authorisation needed. Open this address to give gdapp access:\n  "
        << url.toString(QUrl::FullyEncoded) << Qt::endl;
    switch (m_mode) {
    case Fetch:
        fetch(url, MaxRedirects);
        return;
    case Browser:
        if (openInBrowser(url))
            err << "Opening it in the browser; waiting for the answer..." << Qt::endl;
        else
            err << "No browser to open it with: open it yourself. Waiting for the answer..."
                << Qt::endl;
        return;
    case Print:
    case None:
        err << "Waiting for the answer..." << Qt::endl;
        return;
    }
}

// The flow asks for a consent when it has no usable token. It asks again, from inside the wait
// for the last answer, when the service refused the code that consent gave; and, after that
// wait has ended, when the consent was refused in the browser (or the sign-in page reported an
// error). Asking the user again helps in neither case.
QString ConsentHandler::reasonToGiveUp(const QUrl &url)
{
    if (!listenerIsListening(url))
        return QStringLiteral("cannot listen on 127.0.0.1:%1 for the browser's answer: another "
                              "program holds that port (another gdapp login, perhaps); end it "
                              "and try again")
                .arg(LoopbackPort);
    const int loopLevel = QThread::currentThread()->loopLevel();
    if (m_requests++ == 0) {
        m_firstLoopLevel = loopLevel;
        return QString();
    }
    if (loopLevel <= m_firstLoopLevel)
        return QStringLiteral("the authorisation was refused in the browser");
    if (++m_refusedCodes > RefusedCodesAccepted)
        return QStringLiteral("the service refused the authorisation code twice: the client "
                              "identifier or secret that gdapp uses is likely wrong "
                              "(GDAPP_CLIENT_ID sets the identifier)");
    return QString();
}

bool ConsentHandler::openInBrowser(const QUrl &url)
{
    if (!m_browserCommand.isEmpty()) {
        QStringList command = QProcess::splitCommand(m_browserCommand);
        if (command.isEmpty())
            return false;
        if (QStandardPaths::findExecutable(command.first()).isEmpty()
            && !QFileInfo(command.first()).isExecutable()) {
            QTextStream(stderr) << "The browser command \"" << command.first()
                                << "\" was not found." << Qt::endl;
            return false;
        }
        return startBrowser(command.takeFirst(), command << url.toString(QUrl::FullyEncoded));
    }
    // Inside this handler the desktop services go to the platform's own opener.
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return QDesktopServices::openUrl(url);
    const bool desktop =
            qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
    const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    return desktop && !opener.isEmpty()
            && startBrowser(opener, { url.toString(QUrl::FullyEncoded) });
}

// The browser outlives gdapp: it must not hold gdapp's output open, or whatever reads that
// output (a pipe, a script) would wait for the browser to close; and it must not end with gdapp.
// A shell between them waits for it, so that a browser command that fails is told, and is the
// one that goes when gdapp ends.
bool ConsentHandler::startBrowser(const QString &program, const QStringList &arguments)
{
    m_browser = std::make_unique<QProcess>();
    m_browser->setProgram(QStringLiteral("/bin/sh"));
    m_browser->setArguments(QStringList { QStringLiteral("-c"), QStringLiteral("\"$@\"; exit $?"),
                                          QStringLiteral("sh"), program }
                            + arguments);
    m_browser->setStandardInputFile(QProcess::nullDevice());
    m_browser->setStandardOutputFile(QProcess::nullDevice());
    m_browser->setStandardErrorFile(QProcess::nullDevice());
    connect(m_browser.get(), &QProcess::finished, this,
            [program](int exitCode, QProcess::ExitStatus status) {
                if (status == QProcess::NormalExit && exitCode == 0)
                    return;
                QTextStream err(stderr);
                err << "The browser command \"" << program << "\" failed (";
                if (status == QProcess::NormalExit)
                    err << "exit status " << exitCode;
                else
                    err << "it crashed";
                err << "): open the address yourself. Still waiting for the answer..." << Qt::endl;
            });
    m_browser->start();
    return m_browser->waitForStarted();
}

// Follows redirects until the loopback listener has the answer. Without a server that approves
// by itself, a consent page needs a person: say so rather than wait for ever.
void ConsentHandler::fetch(const QUrl &url, int redirectsLeft)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *reply = m_manager.get(request);
    connect(reply, &QNetworkReply::finished, this, [this, reply, url, redirectsLeft] {
        reply->deleteLater();
        if (isLoopbackListener(url))
            return; // the flow has its answer
        const QUrl next =
                url.resolved(reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl());
        if (reply->error() == QNetworkReply::NoError && next.isValid() && next != url
            && redirectsLeft > 0) {
            fetch(next, redirectsLeft - 1);
            return;
        }
        const QString why = reply->error() != QNetworkReply::NoError
                ? reply->errorString()
                : QStringLiteral("the consent page asks for a person (use --consent=browser)");
        abandon(why);
    });
}

void ConsentHandler::abandon(const QString &why)
{
    if (m_abandoned)
        return;
    m_abandoned = true;
    emit consentAbandoned(why);
}
