// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CONSENTBROWSER_H
#define CONSENTBROWSER_H

#include <QList>
#include <QNetworkAccessManager>
#include <QObject>
#include <QUrl>

#include <functional>

// Plays the user's browser for the authorisation flow: registered as the handler of http
// addresses, it fetches the consent address, answers the consent page as told and follows the
// redirect to the loopback listener, without blocking the caller.
class ConsentBrowser : public QObject
{
    Q_OBJECT

public:
    enum Answer {
        Follow, // fetch the address and follow redirects (an emulator that approves by itself)
        Allow, // click the consent page's allow button
        Deny, // click its deny button
        Ignore // never look at the page
    };

    explicit ConsentBrowser(Answer answer = Follow, QObject *parent = nullptr);
    ~ConsentBrowser() override;

    void setAnswer(Answer answer) { m_answer = answer; }
    QList<QUrl> opened() const { return m_opened; }
    // Every redirect target seen, in order.
    QList<QUrl> redirects() const { return m_redirects; }
    // Called when an address is opened, before anything is fetched.
    std::function<void(const QUrl &)> onOpen;

public slots:
    void openUrl(const QUrl &url);

private:
    void fetch(const QByteArray &method, const QUrl &url, const QByteArray &body = QByteArray());

    Answer m_answer;
    QList<QUrl> m_opened;
    QList<QUrl> m_redirects;
    QNetworkAccessManager m_manager;
};

#endif // CONSENTBROWSER_H
