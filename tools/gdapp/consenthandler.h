// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CONSENTHANDLER_H
#define CONSENTHANDLER_H

#include <QNetworkAccessManager>
#include <QObject>
#include <QProcess>
#include <QUrl>

#include <memory>

// Receives the consent address that the plug-in would open in the browser: prints it, then
// opens a browser (the command given, or the desktop's when there is one) or, for unattended
// runs against an emulator that approves by itself, fetches it.
//
// It also gives up, rather than let the plug-in wait for ever, when no answer can come: the
// plug-in's loopback listener could not listen, the consent was refused, or the service
// refused the authorisation codes it was given.
class ConsentHandler : public QObject
{
    Q_OBJECT

public:
    enum Mode { Browser, Fetch, Print, None };

    ConsentHandler(Mode mode, const QString &browserCommand, QObject *parent = nullptr);
    ~ConsentHandler() override;

signals:
    // A consent is under way: the address went to the user or is being fetched.
    void consentRequested();
    // No answer can come: the consent needs a person, or was refused. The caller gives up.
    void consentAbandoned(const QString &why);

public slots:
    void openUrl(const QUrl &url);
    // Gives up for the reason given: later requests are ignored.
    void abandon(const QString &why);

private:
    QString reasonToGiveUp(const QUrl &url);
    bool openInBrowser(const QUrl &url);
    bool startBrowser(const QString &program, const QStringList &arguments);
    void fetch(const QUrl &url, int redirectsLeft);

    Mode m_mode;
    QString m_browserCommand;
    QNetworkAccessManager m_manager;
    std::unique_ptr<QProcess> m_browser;
    int m_requests = 0;
    int m_firstLoopLevel = 0;
    int m_refusedCodes = 0;
    bool m_abandoned = false;
};

#endif // CONSENTHANDLER_H
