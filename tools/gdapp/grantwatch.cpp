// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "grantwatch.h"

#include <QSettings>

namespace {
constexpr int CheckInterval = 100; // milliseconds
} // namespace

GrantWatch::GrantWatch(const QString &settingsGroup, QObject *parent)
    : QObject(parent), m_group(settingsGroup)
{
    m_timer.setInterval(CheckInterval);
    connect(&m_timer, &QTimer::timeout, this, &GrantWatch::check);
}

// Settings objects of one process share what was written, before it reaches the disk.
QString GrantWatch::stored(const char *key) const
{
    return QSettings().value(m_group + QLatin1Char('/') + QLatin1String(key)).toString();
}

void GrantWatch::start()
{
    rebase();
    m_timer.start();
}

void GrantWatch::stop()
{
    m_timer.stop();
}

void GrantWatch::rebase()
{
    m_token = stored("token");
    m_refreshToken = stored("refreshtoken");
}

void GrantWatch::check()
{
    if (stored("refreshtoken") == m_refreshToken || stored("token") != m_token)
        return;
    stop();
    emit tokenRequestFailed(QStringLiteral(
            "the sign-in service gave no token: it refused the request or could not be "
            "reached (a wrong client identifier or secret is the usual cause; GDAPP_CLIENT_ID "
            "sets the identifier)"));
}
