// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef GRANTWATCH_H
#define GRANTWATCH_H

#include <QObject>
#include <QString>
#include <QTimer>

// Tells, while the plug-in authorises, that its token request failed. The flow then rewrites the
// stored refresh token alone (a grant rewrites the access token too) and, unless the service
// answered "bad request", waits for an answer that will never come. The stored values are
// enciphered, but a rewrite shows in their text; and the text as it was can be put back.
class GrantWatch : public QObject
{
    Q_OBJECT

public:
    explicit GrantWatch(const QString &settingsGroup, QObject *parent = nullptr);

    void start();
    void stop();
    // Puts the stored refresh token back as it was when the grant began (or after the last
    // rebase), enciphered text and all: the flow empties it after any failed token request.
    void restore();

signals:
    void tokenRequestFailed(const QString &why);

public slots:
    // What is stored now is the starting point: the flow starts a new consent after a refused
    // code, and has rewritten the refresh token just before.
    void rebase();

private:
    void check();
    QString key(const char *name) const;
    QString stored(const char *name) const;

    QString m_group;
    QString m_token;
    QString m_refreshToken;
    QTimer m_timer;
};

#endif // GRANTWATCH_H
